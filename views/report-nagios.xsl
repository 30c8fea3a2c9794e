<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- An inspection as the output of a Nagios plugin: one line with the state, the services that are
     down or not known, and performance data; then further lines if they are asked for.

     Parameters: warning and critical, each the mildest severity (minor, major, critical) that gives
     that state, or none; verbosity, the amount of further lines, from 0 to 3. check_keldoctl turns
     the state into its exit status. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/inspection.xsl"/>

  <xsl:output method="text" encoding="UTF-8"/>

  <xsl:param name="warning" select="'minor'"/>
  <xsl:param name="critical" select="'major'"/>
  <xsl:param name="verbosity" select="0"/>

  <!-- Monitors cut long lines. These limits keep the performance data, which come last. -->
  <xsl:variable name="most-services" select="8"/>
  <xsl:variable name="title-length" select="48"/>
  <xsl:variable name="reason-length" select="100"/>

  <xsl:variable name="severities" select="'minor major critical none'"/>
  <xsl:variable name="warning-rank"
      select="string-length(substring-before($severities, $warning))"/>
  <xsl:variable name="critical-rank"
      select="string-length(substring-before($severities, $critical))"/>
  <xsl:variable name="major-rank" select="string-length(substring-before($severities, 'major'))"/>
  <xsl:variable name="warning-problems" select="$problems[
      $warning-rank &lt;= string-length(substring-before($severities, severity))]"/>
  <xsl:variable name="critical-problems" select="$problems[
      $critical-rank &lt;= string-length(substring-before($severities, severity))]"/>

  <xsl:variable name="is-upgrade" select="/inspection/@verdict = 'upgrade'"/>
  <!-- Without the action log, services may be missing from the inspection. -->
  <xsl:variable name="unread-log" select="$unusable[@id = 'action_log' and not($is-upgrade)]"/>
  <!-- Every state that this version does not know counts as not known. -->
  <xsl:variable name="not-known" select="$services[
      not(@state = 'up' or @state = 'down' or @state = 'stopped' or @state = 'unchecked')]"/>
  <xsl:variable name="is-known" select="not($not-known or $unread-log)
      and (/inspection/@verdict = 'well' or $is-upgrade
           or (/inspection/@verdict = 'problems' and $problems))"/>

  <xsl:template match="inspection">
    <xsl:text>KELDOCTL </xsl:text>
    <xsl:choose>
      <xsl:when test="$critical-problems">CRITICAL</xsl:when>
      <xsl:when test="$warning-problems">WARNING</xsl:when>
      <xsl:when test="$is-known">OK</xsl:when>
      <xsl:otherwise>UNKNOWN</xsl:otherwise>
    </xsl:choose>
    <xsl:text> - </xsl:text>
    <xsl:call-template name="findings"/>
    <xsl:call-template name="performance"/>
    <xsl:text>&#10;</xsl:text>
    <xsl:choose>
      <xsl:when test="$verbosity &gt; 1">
        <xsl:apply-templates select="$services" mode="line"/>
        <xsl:apply-templates select="dependencies/dependency" mode="line"/>
      </xsl:when>
      <xsl:when test="$verbosity = 1">
        <xsl:apply-templates select="$services[@state != 'up']" mode="line"/>
      </xsl:when>
    </xsl:choose>
  </xsl:template>

  <!-- The text of the first line. -->
  <xsl:template name="findings">
    <xsl:choose>
      <xsl:when test="$is-upgrade">
        <xsl:value-of select="concat('upgrade in progress, ', count($unchecked), ' not checked')"/>
      </xsl:when>
      <xsl:when test="$down">
        <xsl:value-of select="concat(count($down), ' down: ')"/>
        <xsl:call-template name="named">
          <xsl:with-param name="services" select="$down"/>
        </xsl:call-template>
        <xsl:if test="$not-known">
          <xsl:value-of select="concat('; ', count($not-known), ' not known')"/>
        </xsl:if>
      </xsl:when>
      <xsl:when test="$not-known">
        <xsl:value-of select="concat(count($not-known), ' of ', count($services) - count($stopped),
            ' not known: ')"/>
        <xsl:call-template name="unknown-reasons"/>
      </xsl:when>
      <xsl:otherwise>
        <xsl:value-of select="concat(count($up), ' up')"/>
        <xsl:if test="$stopped">
          <xsl:value-of select="concat(', ', count($stopped), ' stopped by the administrator')"/>
        </xsl:if>
      </xsl:otherwise>
    </xsl:choose>
    <xsl:if test="$unread-log">
      <xsl:text>; </xsl:text>
      <xsl:apply-templates select="$unread-log" mode="reason"/>
    </xsl:if>
  </xsl:template>

  <!-- Most often all services are unknown for the same reason. The line then gives it once. -->
  <xsl:template name="unknown-reasons">
    <xsl:choose>
      <xsl:when test="count($not-known) &gt; 1
          and not($not-known[string(reason) != string($not-known[1]/reason)])">
        <xsl:apply-templates select="$not-known[1]" mode="reason"/>
      </xsl:when>
      <xsl:otherwise>
        <xsl:call-template name="named">
          <xsl:with-param name="services" select="$not-known"/>
        </xsl:call-template>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- The first of $services, the worst first, each with its reason. -->
  <xsl:template name="named">
    <xsl:param name="services"/>
    <xsl:for-each select="$services">
      <xsl:sort data-type="number" order="descending" select="
          (key('problem', @id)/severity = 'critical') * 2
          + (key('problem', @id)/severity = 'major')"/>
      <xsl:if test="position() &lt;= $most-services">
        <xsl:if test="position() &gt; 1">, </xsl:if>
        <xsl:call-template name="beginning">
          <xsl:with-param name="text"><xsl:apply-templates select="." mode="text"/></xsl:with-param>
          <xsl:with-param name="length" select="$title-length"/>
        </xsl:call-template>
        <xsl:text> (</xsl:text>
        <xsl:apply-templates select="." mode="reason"/>
        <xsl:text>)</xsl:text>
      </xsl:if>
    </xsl:for-each>
    <xsl:if test="count($services) &gt; $most-services">
      <xsl:value-of select="concat(' and ', count($services) - $most-services, ' more')"/>
    </xsl:if>
  </xsl:template>

  <!-- The beginning of a reason, without its full stop. -->
  <xsl:template match="service | dependency" mode="reason">
    <xsl:variable name="reason" select="normalize-space(reason)"/>
    <xsl:variable name="length" select="string-length($reason)"/>
    <xsl:variable name="is-ended" select="contains('.&#x3002;', substring($reason, $length))"/>
    <xsl:call-template name="beginning">
      <xsl:with-param name="text" select="substring($reason, 1, $length - number($is-ended))"/>
      <xsl:with-param name="length" select="$reason-length"/>
    </xsl:call-template>
  </xsl:template>

  <!-- A threshold is 0 if the severity major is at least as bad as its parameter, $warning or
       $critical; otherwise it is empty. -->
  <xsl:template name="performance">
    <xsl:value-of select="concat(' | services=', count($services), ' down=', count($down), ';')"/>
    <xsl:if test="$warning-rank &lt;= $major-rank">0</xsl:if>
    <xsl:text>;</xsl:text>
    <xsl:if test="$critical-rank &lt;= $major-rank">0</xsl:if>
    <xsl:value-of select="concat(' unknown=', count($not-known), ' stopped=', count($stopped),
        ' time=', @seconds, 's')"/>
  </xsl:template>

  <!-- A further line: "STATE: TITLE [ID]: REASON". -->
  <xsl:template match="service" mode="line">
    <xsl:variable name="line">
      <xsl:value-of select="concat(@state, ': ')"/>
      <xsl:apply-templates select="." mode="text"/>
      <xsl:value-of select="concat(' [', @id, ']: ', reason)"/>
    </xsl:variable>
    <xsl:call-template name="line">
      <xsl:with-param name="text" select="string($line)"/>
    </xsl:call-template>
    <xsl:call-template name="detail"/>
  </xsl:template>

  <xsl:template match="dependency" mode="line">
    <xsl:variable name="line">
      <xsl:value-of select="concat('depends on ', @id)"/>
      <xsl:if test="@path"><xsl:value-of select="concat(' [', @path, ']')"/></xsl:if>
      <xsl:value-of select="concat(': ', @state)"/>
      <xsl:if test="reason"><xsl:value-of select="concat(': ', reason)"/></xsl:if>
    </xsl:variable>
    <xsl:call-template name="line">
      <xsl:with-param name="text" select="string($line)"/>
    </xsl:call-template>
    <xsl:call-template name="detail"/>
  </xsl:template>

  <xsl:template name="line">
    <xsl:param name="text"/>
    <xsl:call-template name="neutral">
      <xsl:with-param name="text" select="normalize-space($text)"/>
    </xsl:call-template>
    <xsl:text>&#10;</xsl:text>
  </xsl:template>

  <!-- The message of the monitor or of the database, each line indented. -->
  <xsl:template name="detail">
    <xsl:if test="$verbosity &gt; 2 and string(detail)">
      <xsl:variable name="lines">
        <xsl:call-template name="neutral">
          <xsl:with-param name="text" select="detail"/>
        </xsl:call-template>
      </xsl:variable>
      <xsl:text>    </xsl:text>
      <xsl:call-template name="replace">
        <xsl:with-param name="text" select="string($lines)"/>
        <xsl:with-param name="character" select="'&#10;'"/>
        <xsl:with-param name="by" select="'&#10;    '"/>
      </xsl:call-template>
      <xsl:text>&#10;</xsl:text>
    </xsl:if>
  </xsl:template>

  <!-- Writes the beginning of $text, at most $length characters, on one line. -->
  <xsl:template name="beginning">
    <xsl:param name="text"/>
    <xsl:param name="length"/>
    <xsl:variable name="line">
      <xsl:call-template name="neutral">
        <xsl:with-param name="text" select="normalize-space($text)"/>
      </xsl:call-template>
    </xsl:variable>
    <xsl:choose>
      <xsl:when test="string-length($line) &gt; $length">
        <xsl:value-of select="concat(substring($line, 1, $length - 1), '&#x2026;')"/>
      </xsl:when>
      <xsl:otherwise><xsl:value-of select="$line"/></xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- Writes $text without the bar, which would begin performance data, and without control
       characters. -->
  <xsl:template name="neutral">
    <xsl:param name="text"/>
    <xsl:value-of select="translate($text, concat('|', $controls),
        concat('&#xa6;', $replacements))"/>
  </xsl:template>

</xsl:stylesheet>
