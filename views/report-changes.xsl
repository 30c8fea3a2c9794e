<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The differences between an older report and this one, as plain text: problems that are new,
     gone, changed in severity and unchanged.

     Parameters: older, the absolute address of the older report; language (parts/words.xsl). -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/report.xsl"/>
  <xsl:include href="parts/text.xsl"/>
  <xsl:include href="parts/words.xsl"/>

  <xsl:output method="text" encoding="UTF-8"/>

  <xsl:param name="older"/>

  <xsl:variable name="older-problems" select="document($older)/keldoctl/problem"/>
  <xsl:variable name="added" select="$problems[not(@id = $older-problems/@id)]"/>
  <xsl:variable name="missing" select="$older-problems[not(@id = $problems/@id)]"/>
  <!-- A report during an upgrade contains only the upgrade, so the state of the services is
       unknown: other problems are neither gone during the upgrade nor new after it. -->
  <xsl:variable name="was-upgrade" select="boolean($older-problems[@id = 'upgrade'])"/>
  <xsl:variable name="new" select="$added[not($was-upgrade)]"/>
  <xsl:variable name="not-checked-before" select="$added[$was-upgrade]"/>
  <xsl:variable name="gone" select="$missing[not($is-upgrade)]"/>
  <xsl:variable name="not-checked" select="$missing[$is-upgrade]"/>

  <xsl:variable name="common" select="$problems[@id = $older-problems/@id]"/>
  <xsl:variable name="unchanged" select="
      $common[severity = 'critical' and @id = $older-problems[severity = 'critical']/@id]
      | $common[severity = 'major' and @id = $older-problems[severity = 'major']/@id]
      | $common[severity = 'minor' and @id = $older-problems[severity = 'minor']/@id]
      | $common[not(severity) and @id = $older-problems[not(severity)]/@id]"/>
  <xsl:variable name="changed" select="$common[not(@id = $unchanged/@id)]"/>

  <xsl:template match="keldoctl">
    <xsl:if test="not(document($older)/keldoctl)">
      <xsl:message terminate="yes">the older document is not a report of keldoctl</xsl:message>
    </xsl:if>
    <xsl:call-template name="group">
      <xsl:with-param name="word" select="'new'"/>
      <xsl:with-param name="items" select="$new"/>
    </xsl:call-template>
    <xsl:call-template name="group">
      <xsl:with-param name="word" select="'gone'"/>
      <xsl:with-param name="items" select="$gone"/>
    </xsl:call-template>
    <xsl:if test="$changed">
      <xsl:call-template name="group">
        <xsl:with-param name="word" select="'changed'"/>
        <xsl:with-param name="items" select="$changed"/>
      </xsl:call-template>
    </xsl:if>
    <xsl:call-template name="group">
      <xsl:with-param name="word" select="'unchanged'"/>
      <xsl:with-param name="items" select="$unchanged"/>
    </xsl:call-template>
    <xsl:if test="$not-checked-before">
      <xsl:call-template name="group">
        <xsl:with-param name="word" select="'not-checked-before'"/>
        <xsl:with-param name="items" select="$not-checked-before"/>
      </xsl:call-template>
    </xsl:if>
    <xsl:if test="$not-checked">
      <xsl:call-template name="group">
        <xsl:with-param name="word" select="'not-checked'"/>
        <xsl:with-param name="items" select="$not-checked"/>
      </xsl:call-template>
    </xsl:if>
  </xsl:template>

  <xsl:template name="group">
    <xsl:param name="word"/>
    <xsl:param name="items"/>
    <xsl:call-template name="count">
      <xsl:with-param name="word" select="$word"/>
      <xsl:with-param name="items" select="$items"/>
    </xsl:call-template>
    <xsl:apply-templates select="$items"/>
  </xsl:template>

  <xsl:template match="problem">
    <xsl:variable name="id" select="@id"/>
    <xsl:variable name="severity"><xsl:apply-templates select="." mode="severity"/></xsl:variable>
    <!-- Empty if the problem is new. -->
    <xsl:variable name="older-severity">
      <xsl:apply-templates select="$older-problems[@id = $id][1]" mode="severity"/>
    </xsl:variable>
    <xsl:text>  </xsl:text>
    <xsl:call-template name="item">
      <xsl:with-param name="word" select="string($severity)"/>
      <xsl:with-param name="older-word">
        <xsl:if test="string($older-severity) != string($severity)">
          <xsl:value-of select="$older-severity"/>
        </xsl:if>
      </xsl:with-param>
    </xsl:call-template>
  </xsl:template>

</xsl:stylesheet>
