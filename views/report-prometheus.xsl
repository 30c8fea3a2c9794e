<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- A report as metrics in Prometheus' text format, for the text-file collector of its node
     exporter. The collector itself adds the time of the file. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/report.xsl"/>

  <xsl:output method="text" encoding="UTF-8"/>

  <xsl:template match="keldoctl">
    <xsl:text># HELP keldoctl_problems Number of problems found, by severity.&#10;</xsl:text>
    <xsl:text># TYPE keldoctl_problems gauge&#10;</xsl:text>
    <xsl:call-template name="number-of-problems">
      <xsl:with-param name="severity" select="'minor'"/>
    </xsl:call-template>
    <xsl:call-template name="number-of-problems">
      <xsl:with-param name="severity" select="'major'"/>
    </xsl:call-template>
    <xsl:call-template name="number-of-problems">
      <xsl:with-param name="severity" select="'critical'"/>
    </xsl:call-template>
    <xsl:call-template name="number-of-problems">
      <xsl:with-param name="severity" select="'unrated'"/>
    </xsl:call-template>
    <xsl:if test="$problems">
      <xsl:text># HELP keldoctl_problem A problem found; the value is always 1.&#10;</xsl:text>
      <xsl:text># TYPE keldoctl_problem gauge&#10;</xsl:text>
      <xsl:apply-templates select="$problems"/>
    </xsl:if>
    <xsl:text># HELP keldoctl_upgrade_in_progress Whether an upgrade runs (1), in which no </xsl:text>
    <xsl:text>service is checked, or not (0).&#10;</xsl:text>
    <xsl:text># TYPE keldoctl_upgrade_in_progress gauge&#10;</xsl:text>
    <xsl:value-of select="concat('keldoctl_upgrade_in_progress ', number($is-upgrade), '&#10;')"/>
    <xsl:if test="$repairs">
      <xsl:text># HELP keldoctl_action_succeeded Whether an action that was carried out </xsl:text>
      <xsl:text>succeeded (1) or failed (0).&#10;</xsl:text>
      <xsl:text># TYPE keldoctl_action_succeeded gauge&#10;</xsl:text>
      <xsl:apply-templates select="$repairs"/>
    </xsl:if>
  </xsl:template>

  <xsl:template name="number-of-problems">
    <xsl:param name="severity"/>
    <xsl:value-of select="concat('keldoctl_problems{severity=&quot;', $severity, '&quot;} ',
        count($problems[severity = $severity] | $unrated[$severity = 'unrated']),
        '&#10;')"/>
  </xsl:template>

  <xsl:template match="problem">
    <xsl:text>keldoctl_problem{id="</xsl:text>
    <xsl:apply-templates select="@id" mode="label"/>
    <xsl:text>",severity="</xsl:text>
    <xsl:apply-templates select="." mode="severity"/>
    <xsl:text>"} 1&#10;</xsl:text>
  </xsl:template>

  <xsl:template match="keldoctl/action">
    <xsl:text>keldoctl_action_succeeded{id="</xsl:text>
    <xsl:apply-templates select="@id" mode="label"/>
    <xsl:value-of select="concat('&quot;} ', number(status = 'ok'), '&#10;')"/>
  </xsl:template>

  <!-- Escapes the value of a label. The backslash comes first, since the escapes of the quotation
       mark and the line feed contain one. -->
  <xsl:template match="@*" mode="label">
    <xsl:variable name="backslashes">
      <xsl:call-template name="replace">
        <xsl:with-param name="text" select="."/>
        <xsl:with-param name="character" select="'\'"/>
        <xsl:with-param name="by" select="'\\'"/>
      </xsl:call-template>
    </xsl:variable>
    <xsl:variable name="quotes">
      <xsl:call-template name="replace">
        <xsl:with-param name="text" select="string($backslashes)"/>
        <xsl:with-param name="character" select="'&quot;'"/>
        <xsl:with-param name="by" select="'\&quot;'"/>
      </xsl:call-template>
    </xsl:variable>
    <xsl:call-template name="replace">
      <xsl:with-param name="text" select="string($quotes)"/>
      <xsl:with-param name="character" select="'&#10;'"/>
      <xsl:with-param name="by" select="'\n'"/>
    </xsl:call-template>
  </xsl:template>

</xsl:stylesheet>
