<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- A report as the one line of a Nagios plugin: the state, the worst problems, performance data.

     Parameters: warning and critical, each the mildest severity (minor, major, critical) that gives
     that state, or none. check_keldoctl turns the state into its exit status. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/report.xsl"/>

  <xsl:output method="text" encoding="UTF-8"/>

  <xsl:param name="warning" select="'minor'"/>
  <xsl:param name="critical" select="'major'"/>

  <!-- Monitors cut long lines. These limits keep the performance data, which come last. -->
  <xsl:variable name="most-problems" select="8"/>
  <xsl:variable name="most-characters" select="120"/>

  <xsl:variable name="severities" select="'minor major critical none'"/>
  <xsl:variable name="critical-problems" select="$problems[
      string-length(substring-before($severities, $critical))
      &lt;= string-length(substring-before($severities, severity))]"/>
  <xsl:variable name="warning-problems" select="$problems[
      string-length(substring-before($severities, $warning))
      &lt;= string-length(substring-before($severities, severity))]"/>

  <xsl:template match="keldoctl">
    <xsl:text>KELDOCTL </xsl:text>
    <xsl:choose>
      <xsl:when test="$critical-problems">CRITICAL</xsl:when>
      <xsl:when test="$warning-problems">WARNING</xsl:when>
      <xsl:otherwise>OK</xsl:otherwise>
    </xsl:choose>
    <xsl:text> - </xsl:text>
    <xsl:call-template name="summary"/>
    <xsl:value-of select="concat(' | problems=', count($problems), ';;;0')"/>
    <xsl:call-template name="performance">
      <xsl:with-param name="severity" select="'minor'"/>
    </xsl:call-template>
    <xsl:call-template name="performance">
      <xsl:with-param name="severity" select="'major'"/>
    </xsl:call-template>
    <xsl:call-template name="performance">
      <xsl:with-param name="severity" select="'critical'"/>
    </xsl:call-template>
    <xsl:text>&#10;</xsl:text>
  </xsl:template>

  <xsl:template name="summary">
    <xsl:choose>
      <xsl:when test="not($problems)">no problems</xsl:when>
      <xsl:when test="count($problems) = 1">1 problem:</xsl:when>
      <xsl:otherwise><xsl:value-of select="concat(count($problems), ' problems:')"/></xsl:otherwise>
    </xsl:choose>
    <xsl:call-template name="problems"/>
    <xsl:if test="count($problems) &gt; $most-problems">
      <xsl:value-of select="concat(' and ', count($problems) - $most-problems, ' more')"/>
    </xsl:if>
  </xsl:template>

  <xsl:template match="problem">
    <xsl:if test="position() &lt;= $most-problems">
      <xsl:text> [</xsl:text>
      <xsl:apply-templates select="." mode="severity"/>
      <xsl:text>] </xsl:text>
      <xsl:call-template name="neutral">
        <xsl:with-param name="text"><xsl:apply-templates select="." mode="text"/></xsl:with-param>
      </xsl:call-template>
    </xsl:if>
  </xsl:template>

  <!-- Writes the beginning of $text without the characters that monitors give a meaning: a bar
       begins the performance data, a line feed the details. -->
  <xsl:template name="neutral">
    <xsl:param name="text"/>
    <xsl:variable name="line" select="normalize-space(translate($text, concat('|', $controls),
        concat('&#xa6;', $replacements)))"/>
    <xsl:choose>
      <xsl:when test="string-length($line) &gt; $most-characters">
        <xsl:value-of select="concat(substring($line, 1, $most-characters - 1), '&#x2026;')"/>
      </xsl:when>
      <xsl:otherwise><xsl:value-of select="$line"/></xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- " LABEL=VALUE;WARN;CRIT;MIN". The threshold is 0 if a problem of this severity gives the
       state. -->
  <xsl:template name="performance">
    <xsl:param name="severity"/>
    <xsl:variable name="rank" select="string-length(substring-before($severities, $severity))"/>
    <xsl:variable name="number" select="count($problems[severity = $severity])"/>
    <xsl:value-of select="concat(' ', $severity, '=', $number, ';')"/>
    <xsl:if test="string-length(substring-before($severities, $warning)) &lt;= $rank">0</xsl:if>
    <xsl:text>;</xsl:text>
    <xsl:if test="string-length(substring-before($severities, $critical)) &lt;= $rank">0</xsl:if>
    <xsl:text>;0</xsl:text>
  </xsl:template>

</xsl:stylesheet>
