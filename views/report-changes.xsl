<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- A kept file as plain lines for show-changes, their fields separated by tabs:

       word     ID  TEXT                         for each word that show-changes needs
       run      SECONDS  KIND                    of the kind inspection, upgrade or report
       service  ID  STATE  CODE  TITLE  REASON   unless the service was not checked

     SECONDS count from 1970. The kept file is an inspection, or a report of version 1.0.0, which
     names only the services that are down.

     Parameters: time, the time of a report in UTC, such as 2026-11-22T00:20:11Z; language
     (parts/words.xsl). -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/strings.xsl"/>
  <xsl:include href="parts/time.xsl"/>
  <xsl:include href="parts/words.xsl"/>

  <xsl:output method="text" encoding="UTF-8"/>

  <xsl:param name="time"/>

  <xsl:template match="/">
    <xsl:if test="not(inspection[@version = '1'] or keldoctl)">
      <xsl:message terminate="yes">neither an inspection nor a report of keldoctl</xsl:message>
    </xsl:if>
    <xsl:apply-templates select="$words[starts-with(@id, 'change-')]"/>
    <xsl:apply-templates select="inspection | keldoctl"/>
  </xsl:template>

  <xsl:template match="word">
    <xsl:value-of select="concat('word&#9;', substring-after(@id, 'change-'), '&#9;', ., '&#10;')"/>
  </xsl:template>

  <xsl:template match="inspection">
    <xsl:call-template name="run">
      <xsl:with-param name="time" select="@started"/>
      <xsl:with-param name="is-upgrade" select="@verdict = 'upgrade'"/>
      <xsl:with-param name="kind" select="'inspection'"/>
    </xsl:call-template>
    <xsl:for-each select="services/service[@state != 'unchecked']">
      <xsl:call-template name="service">
        <xsl:with-param name="id" select="@id"/>
        <xsl:with-param name="state" select="@state"/>
        <xsl:with-param name="code" select="reason/@code"/>
        <xsl:with-param name="title" select="title"/>
        <xsl:with-param name="reason" select="reason"/>
      </xsl:call-template>
    </xsl:for-each>
  </xsl:template>

  <xsl:template match="keldoctl">
    <xsl:call-template name="run">
      <xsl:with-param name="time" select="$time"/>
      <xsl:with-param name="is-upgrade" select="boolean(problem[@id = 'upgrade'])"/>
      <xsl:with-param name="kind" select="'report'"/>
    </xsl:call-template>
    <xsl:for-each select="problem[starts-with(@id, 'service-down:')]">
      <xsl:call-template name="service">
        <xsl:with-param name="id" select="substring-after(@id, ':')"/>
        <xsl:with-param name="state" select="'down'"/>
        <xsl:with-param name="reason" select="message"/>
      </xsl:call-template>
    </xsl:for-each>
  </xsl:template>

  <xsl:template name="run">
    <xsl:param name="time"/>
    <xsl:param name="is-upgrade"/>
    <xsl:param name="kind"/>
    <!-- changes.awk would never end with a time that is not a number. -->
    <xsl:if test="translate($time, '123456789', '000000000') != '0000-00-00T00:00:00Z'">
      <xsl:message terminate="yes">the time is missing or wrong</xsl:message>
    </xsl:if>
    <xsl:text>run&#9;</xsl:text>
    <xsl:call-template name="unix-time">
      <xsl:with-param name="time" select="$time"/>
    </xsl:call-template>
    <xsl:text>&#9;</xsl:text>
    <xsl:choose>
      <xsl:when test="$is-upgrade">upgrade</xsl:when>
      <xsl:otherwise><xsl:value-of select="$kind"/></xsl:otherwise>
    </xsl:choose>
    <xsl:text>&#10;</xsl:text>
  </xsl:template>

  <xsl:template name="service">
    <xsl:param name="id"/>
    <xsl:param name="state"/>
    <xsl:param name="code"/>
    <xsl:param name="title"/>
    <xsl:param name="reason"/>
    <!-- No field contains a tab or a line feed, because those separate fields and lines. -->
    <xsl:value-of select="translate(
        concat('service&#9;', normalize-space($id), '&#9;', normalize-space($state), '&#9;',
            normalize-space($code), '&#9;', normalize-space($title), '&#9;',
            normalize-space($reason), '&#10;'),
        $controls, $replacements)"/>
  </xsl:template>

</xsl:stylesheet>
