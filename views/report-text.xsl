<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- A report as plain text for a terminal: first the repairs with their output, then each problem
     with the commands that solve it.

     Parameters: language (parts/words.xsl), command (parts/report.xsl). -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/report.xsl"/>
  <xsl:include href="parts/text.xsl"/>
  <xsl:include href="parts/words.xsl"/>

  <xsl:output method="text" encoding="UTF-8"/>

  <xsl:template match="keldoctl">
    <xsl:if test="$repairs">
      <xsl:call-template name="count">
        <xsl:with-param name="word" select="'repairs'"/>
        <xsl:with-param name="items" select="$repairs"/>
      </xsl:call-template>
      <xsl:apply-templates select="$repairs"/>
      <xsl:text>&#10;</xsl:text>
    </xsl:if>
    <xsl:choose>
      <xsl:when test="$problems">
        <xsl:call-template name="count">
          <xsl:with-param name="word" select="'problems'"/>
          <xsl:with-param name="items" select="$problems"/>
        </xsl:call-template>
        <xsl:call-template name="problems"/>
        <xsl:call-template name="notes"/>
      </xsl:when>
      <xsl:otherwise>
        <xsl:value-of select="$words[@id = 'well']"/>
        <xsl:text>&#10;</xsl:text>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <xsl:template match="problem">
    <xsl:text>&#10;</xsl:text>
    <xsl:call-template name="item">
      <xsl:with-param name="word"><xsl:apply-templates select="." mode="severity"/></xsl:with-param>
    </xsl:call-template>
    <xsl:apply-templates select="solutions/action">
      <xsl:sort select="@default = 'true'" order="descending"/>
    </xsl:apply-templates>
  </xsl:template>

  <!-- A proposed action. -->
  <xsl:template match="solutions/action">
    <xsl:text>    </xsl:text>
    <xsl:call-template name="lines">
      <xsl:with-param name="text">
        <xsl:apply-templates select="(. | key('action', @id))[last()]" mode="text"/>
        <xsl:if test="@default = 'true' and count(../action) &gt; 1">
          <xsl:text> (</xsl:text>
          <xsl:value-of select="$words[@id = 'recommended']"/>
          <xsl:text>)</xsl:text>
        </xsl:if>
      </xsl:with-param>
    </xsl:call-template>
    <xsl:text>        </xsl:text>
    <xsl:call-template name="command-line">
      <xsl:with-param name="actions" select="."/>
    </xsl:call-template>
  </xsl:template>

  <!-- An action that was carried out, with its output. -->
  <xsl:template match="keldoctl/action">
    <xsl:text>&#10;</xsl:text>
    <xsl:call-template name="item">
      <xsl:with-param name="word" select="string(status)"/>
    </xsl:call-template>
    <xsl:if test="string(log)">
      <xsl:text>    </xsl:text>
      <xsl:call-template name="lines"><xsl:with-param name="text" select="log"/></xsl:call-template>
    </xsl:if>
  </xsl:template>

  <!-- The notes about all problems together. -->
  <xsl:template name="notes">
    <xsl:if test="$is-upgrade">
      <xsl:text>&#10;</xsl:text>
      <xsl:value-of select="$words[@id = 'unchecked']"/>
      <xsl:text>&#10;</xsl:text>
    </xsl:if>
    <xsl:if test="count($defaults) &gt; 1">
      <xsl:text>&#10;</xsl:text>
      <xsl:value-of select="$words[@id = 'repair-all']"/>
      <xsl:text>:&#10;    </xsl:text>
      <xsl:call-template name="command-line">
        <xsl:with-param name="actions" select="$defaults"/>
      </xsl:call-template>
    </xsl:if>
  </xsl:template>

  <xsl:template name="command-line">
    <xsl:param name="actions"/>
    <xsl:call-template name="one-line">
      <xsl:with-param name="text">
        <xsl:call-template name="repair-command">
          <xsl:with-param name="actions" select="$actions"/>
        </xsl:call-template>
      </xsl:with-param>
    </xsl:call-template>
    <xsl:text>&#10;</xsl:text>
  </xsl:template>

</xsl:stylesheet>
