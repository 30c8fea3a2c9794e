<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- An inspection as metrics in Prometheus' text format, for the text-file collector of its node
     exporter. They contain ids and numbers only, since every user may read them. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/inspection.xsl"/>
  <xsl:include href="parts/time.xsl"/>

  <xsl:output method="text" encoding="UTF-8"/>

  <xsl:template match="inspection">
    <!-- A service that is neither known to be up nor to be down has no sample: either value would
         be a claim. -->
    <xsl:call-template name="services">
      <xsl:with-param name="name" select="'up'"/>
      <xsl:with-param name="help" select="'Whether the service is up (1) or down (0).'"/>
      <xsl:with-param name="services" select="$up | $down"/>
      <xsl:with-param name="ones" select="$up"/>
    </xsl:call-template>
    <xsl:call-template name="services">
      <xsl:with-param name="name" select="'known'"/>
      <xsl:with-param name="help"
          select="'Whether the state of the service is known (1) or not (0).'"/>
      <xsl:with-param name="services" select="$services"/>
      <xsl:with-param name="ones" select="$up | $down | $stopped"/>
    </xsl:call-template>
    <xsl:call-template name="services">
      <xsl:with-param name="name" select="'stopped'"/>
      <xsl:with-param name="help"
          select="'Whether the administrator stopped the service (1) or not (0).'"/>
      <xsl:with-param name="services" select="$services"/>
      <xsl:with-param name="ones" select="$stopped"/>
    </xsl:call-template>
    <xsl:variable name="asked" select="dependencies/dependency[@state != 'unasked']"/>
    <xsl:if test="$asked">
      <xsl:call-template name="head">
        <xsl:with-param name="name" select="'dependency_ok'"/>
        <xsl:with-param name="help"
            select="'Whether the inspection could use what it depends on (1) or not (0).'"/>
      </xsl:call-template>
      <xsl:for-each select="$asked">
        <xsl:text>keldoctl_dependency_ok{dependency="</xsl:text>
        <xsl:apply-templates select="@id" mode="label"/>
        <xsl:value-of select="concat('&quot;} ', number(@state = 'ok'), '&#10;')"/>
      </xsl:for-each>
    </xsl:if>
    <xsl:call-template name="number">
      <xsl:with-param name="name" select="'upgrade_in_progress'"/>
      <xsl:with-param name="help" select="concat('Whether the panel is being upgraded (1), in ',
          'which case no service is checked, or not (0).')"/>
      <xsl:with-param name="value" select="number(@verdict = 'upgrade')"/>
    </xsl:call-template>
    <xsl:call-template name="number">
      <xsl:with-param name="name" select="'check_duration_seconds'"/>
      <xsl:with-param name="help" select="'How long the inspection took.'"/>
      <xsl:with-param name="value" select="@seconds"/>
    </xsl:call-template>
    <xsl:call-template name="number">
      <xsl:with-param name="name" select="'run_timestamp_seconds'"/>
      <xsl:with-param name="help" select="'When the inspection began, in seconds since 1970.'"/>
      <xsl:with-param name="value">
        <xsl:call-template name="unix-time">
          <xsl:with-param name="time" select="@started"/>
        </xsl:call-template>
      </xsl:with-param>
    </xsl:call-template>
    <xsl:if test="$repairs">
      <xsl:call-template name="head">
        <xsl:with-param name="name" select="'action_succeeded'"/>
        <xsl:with-param name="help" select="concat('Whether an action that was carried out ',
            'succeeded (1) or failed (0).')"/>
      </xsl:call-template>
      <xsl:for-each select="$repairs">
        <xsl:text>keldoctl_action_succeeded{id="</xsl:text>
        <xsl:apply-templates select="@id" mode="label"/>
        <xsl:value-of select="concat('&quot;} ', number(status = 'ok'), '&#10;')"/>
      </xsl:for-each>
    </xsl:if>
  </xsl:template>

  <xsl:template name="head">
    <xsl:param name="name"/>
    <xsl:param name="help"/>
    <xsl:value-of select="concat('# HELP keldoctl_', $name, ' ', $help, '&#10;')"/>
    <xsl:value-of select="concat('# TYPE keldoctl_', $name, ' gauge&#10;')"/>
  </xsl:template>

  <!-- A metric with one sample, $value. -->
  <xsl:template name="number">
    <xsl:param name="name"/>
    <xsl:param name="help"/>
    <xsl:param name="value"/>
    <xsl:call-template name="head">
      <xsl:with-param name="name" select="$name"/>
      <xsl:with-param name="help" select="$help"/>
    </xsl:call-template>
    <xsl:value-of select="concat('keldoctl_', $name, ' ', $value, '&#10;')"/>
  </xsl:template>

  <!-- A metric with a sample for each of $services: 1 for those that are in $ones, 0 for others. -->
  <xsl:template name="services">
    <xsl:param name="name"/>
    <xsl:param name="help"/>
    <xsl:param name="services"/>
    <xsl:param name="ones"/>
    <xsl:if test="$services">
      <xsl:call-template name="head">
        <xsl:with-param name="name" select="concat('service_', $name)"/>
        <xsl:with-param name="help" select="$help"/>
      </xsl:call-template>
    </xsl:if>
    <xsl:for-each select="$services">
      <xsl:value-of select="concat('keldoctl_service_', $name, '{service=&quot;')"/>
      <xsl:apply-templates select="@id" mode="label"/>
      <xsl:text>",origin="</xsl:text>
      <xsl:apply-templates select="@origin" mode="label"/>
      <xsl:value-of select="concat('&quot;} ', number(count(. | $ones) = count($ones)), '&#10;')"/>
    </xsl:for-each>
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
