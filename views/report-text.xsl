<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- An inspection as plain text for a terminal: the repairs that were carried out, then the services
     that are down, not known, up and stopped.

     Parameters: time, the start of the inspection as a text; language (parts/words.xsl); command
     (parts/inspection.xsl); width, ascii, escape (parts/text.xsl). -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/inspection.xsl"/>
  <xsl:include href="parts/text.xsl"/>
  <xsl:include href="parts/words.xsl"/>

  <xsl:output method="text" encoding="UTF-8"/>

  <xsl:param name="time"
      select="concat(translate(substring(/inspection/@started, 1, 16), 'T', ' '), ' UTC')"/>

  <!-- A longer log shows its last lines. -->
  <xsl:variable name="shown-lines" select="10"/>

  <xsl:key name="repair" match="/inspection/keldoctl/action[status]" use="@id"/>

  <!-- The services whose state is not known for a reason of their own. -->
  <xsl:variable name="apart" select="$unknown[count(key('unknown', reason)) = 1]"/>
  <!-- The services that have a row each, with the title and the reason. -->
  <xsl:variable name="rows" select="$down | $apart"/>
  <xsl:variable name="longest-title">
    <xsl:for-each select="$rows">
      <xsl:sort data-type="number" order="descending"
          select="string-length((@id | title[string()])[last()])"/>
      <xsl:if test="position() = 1">
        <xsl:value-of select="string-length((@id | title[string()])[last()])"/>
      </xsl:if>
    </xsl:for-each>
  </xsl:variable>
  <xsl:variable name="titles">
    <xsl:apply-templates select="$rows" mode="text"/>
  </xsl:variable>
  <!-- The reasons stand beside the titles if all titles are short and have only
       characters that take one column. -->
  <xsl:variable name="are-beside"
      select="$longest-title &lt;= 30 and not(translate($titles, $narrow, ''))"/>
  <!-- The indentation of the reasons. -->
  <xsl:variable name="indent"
      select="4 + number(concat('0', $longest-title)) * number($are-beside)"/>

  <!-- One reason that explains why no service at all is known. -->
  <xsl:variable name="explanation" select="$unusable[@id = 'definitions']/reason
      | $unknown[1][count(key('unknown', reason)) = count($unknown)
          and not($unusable[@id = 'definitions'])]/reason"/>

  <xsl:template match="inspection">
    <xsl:call-template name="head"/>
    <xsl:if test="$repairs">
      <xsl:text>&#10;</xsl:text>
      <xsl:apply-templates select="$repairs">
        <xsl:sort data-type="number" select="number(status = 'ok')"/>
      </xsl:apply-templates>
    </xsl:if>
    <xsl:if test="$down">
      <xsl:text>&#10;</xsl:text>
      <xsl:call-template name="down"/>
    </xsl:if>
    <xsl:if test="$unknown | $untold">
      <xsl:text>&#10;</xsl:text>
      <xsl:call-template name="unknown"/>
    </xsl:if>
    <xsl:if test="$unchecked or ($up | $stopped) and ($repairs | $down | $unknown | $untold)">
      <xsl:text>&#10;</xsl:text>
    </xsl:if>
    <xsl:if test="$unchecked"><xsl:call-template name="upgrade"/></xsl:if>
    <xsl:if test="$up">
      <xsl:call-template name="list">
        <xsl:with-param name="sign" select="'✔'"/>
        <xsl:with-param name="style" select="$green"/>
        <xsl:with-param name="sentence"
            select="$summary/sentence[@code = 'up' or @code = 'all_up']"/>
        <xsl:with-param name="services" select="$up"/>
      </xsl:call-template>
    </xsl:if>
    <xsl:if test="$stopped">
      <xsl:call-template name="list">
        <xsl:with-param name="sign" select="'–'"/>
        <xsl:with-param name="sentence" select="$summary/sentence[@code = 'stopped']"/>
        <xsl:with-param name="services" select="$stopped"/>
      </xsl:call-template>
    </xsl:if>
  </xsl:template>

  <!-- The line with the host, the time and the number of checked services. -->
  <xsl:template name="head">
    <xsl:variable name="host">
      <xsl:call-template name="phrase">
        <xsl:with-param name="text" select="@host"/>
      </xsl:call-template>
    </xsl:variable>
    <!-- No-break spaces keep each part of the head on one line if it fits. -->
    <xsl:variable name="lines">
      <xsl:call-template name="wrap">
        <xsl:with-param name="text">
          <xsl:value-of select="concat($host, ' &#xa0;', translate($time, ' ', '&#xa0;'))"/>
          <xsl:for-each select="$summary/sentence[@code = 'checked']">
            <xsl:value-of select="concat(' &#xa0;', translate(., ' ', '&#xa0;'))"/>
          </xsl:for-each>
        </xsl:with-param>
        <xsl:with-param name="indent" select="1"/>
      </xsl:call-template>
    </xsl:variable>
    <xsl:call-template name="paint">
      <xsl:with-param name="style" select="$bold"/>
      <xsl:with-param name="text" select="$host"/>
    </xsl:call-template>
    <xsl:value-of select="concat(substring($lines, string-length($host) + 1), '&#10;')"/>
  </xsl:template>

  <!-- A repair that was carried out, with the end of its log. -->
  <xsl:template match="keldoctl/action">
    <xsl:variable name="has-succeeded" select="status = 'ok'"/>
    <xsl:variable name="text">
      <xsl:apply-templates select="." mode="text"/>
    </xsl:variable>
    <xsl:call-template name="heading">
      <xsl:with-param name="sign" select="substring('✖✔', 1 + number($has-succeeded), 1)"/>
      <xsl:with-param name="style"
          select="concat(substring($red, 1, 4 * not($has-succeeded)),
              substring($green, 1, 4 * $has-succeeded))"/>
      <xsl:with-param name="start"
          select="concat($words[@id = string(current()/status)], ':')"/>
      <xsl:with-param name="text" select="$text"/>
    </xsl:call-template>
    <xsl:if test="string(log)"><xsl:apply-templates select="log"/></xsl:if>
  </xsl:template>

  <xsl:template match="log">
    <xsl:variable name="length" select="string-length(.)"/>
    <xsl:variable name="text"
        select="substring(., 1, $length - number(substring(., $length) = '&#10;'))"/>
    <!-- Searching all of a long log takes long, and its end mostly suffices. -->
    <xsl:variable name="end" select="substring($text, string-length($text) - 9999)"/>
    <xsl:variable name="suffices"
        select="string-length($end) - string-length(translate($end, '&#10;', '')) &gt;= $shown-lines"/>
    <xsl:variable name="lines">
      <xsl:call-template name="last-lines">
        <xsl:with-param name="text" select="concat(substring($end, 1, 10000 * $suffices),
            substring($text, 1, string-length($text) * not($suffices)))"/>
        <xsl:with-param name="count" select="$shown-lines"/>
      </xsl:call-template>
    </xsl:variable>
    <xsl:variable name="left-out" select="string-length(translate($lines, '&#10;', ''))
        - string-length($lines) + string-length($text) - string-length(translate($text, '&#10;', ''))"/>
    <xsl:if test="$left-out &gt; 0">
      <xsl:value-of
          select="concat('    (', $words[@id = 'earlier-lines'], ': ', $left-out, ')&#10;')"/>
    </xsl:if>
    <xsl:text>    </xsl:text>
    <xsl:call-template name="lines"><xsl:with-param name="text" select="$lines"/></xsl:call-template>
  </xsl:template>

  <xsl:template name="down">
    <xsl:call-template name="heading">
      <xsl:with-param name="sign" select="'✖'"/>
      <xsl:with-param name="style" select="$red"/>
      <xsl:with-param name="start" select="$summary/sentence[@code = 'down']"/>
    </xsl:call-template>
    <xsl:for-each select="$down">
      <xsl:apply-templates select="." mode="row"/>
      <xsl:apply-templates select="key('problem', @id)[1]/solutions/action">
        <xsl:sort select="@default = 'true'" order="descending"/>
      </xsl:apply-templates>
    </xsl:for-each>
    <xsl:if test="count($defaults) &gt; 1">
      <xsl:value-of
          select="concat('  ', $words[@id = 'repair-all'], ': ', $command, ' --repair all&#10;')"/>
    </xsl:if>
  </xsl:template>

  <!-- A proposed action. -->
  <xsl:template match="solutions/action">
    <xsl:if test="key('repair', @id)">
      <xsl:value-of select="concat(substring($spaces, 1, $indent),
          $words[@id = 'just-failed'], ':&#10;')"/>
    </xsl:if>
    <xsl:call-template name="command">
      <xsl:with-param name="command">
        <xsl:call-template name="repair-command">
          <xsl:with-param name="actions" select="."/>
        </xsl:call-template>
      </xsl:with-param>
    </xsl:call-template>
  </xsl:template>

  <xsl:template name="unknown">
    <xsl:variable name="is-nothing-known" select="$unknown and not($down | $up | $stopped)"/>
    <xsl:choose>
      <xsl:when test="$is-nothing-known">
        <xsl:call-template name="heading">
          <xsl:with-param name="sign" select="'?'"/>
          <xsl:with-param name="style" select="$yellow"/>
          <xsl:with-param name="start" select="concat($words[@id = 'nothing-known'], ':')"/>
          <xsl:with-param name="text"
              select="($explanation | $summary/sentence[@code = 'unknown'][not($explanation)])[1]"/>
        </xsl:call-template>
        <xsl:if test="$explanation">
          <xsl:value-of select="concat('  ', $summary/sentence[@code = 'unknown'], '&#10;')"/>
        </xsl:if>
      </xsl:when>
      <xsl:when test="$unknown">
        <xsl:call-template name="heading">
          <xsl:with-param name="sign" select="'?'"/>
          <xsl:with-param name="style" select="$yellow"/>
          <xsl:with-param name="start" select="$summary/sentence[@code = 'unknown']"/>
        </xsl:call-template>
      </xsl:when>
    </xsl:choose>
    <xsl:if test="not($is-nothing-known and $explanation)">
      <xsl:for-each select="$unknown[generate-id() = generate-id(key('unknown', reason)[1])]">
        <xsl:choose>
          <xsl:when test="count(key('unknown', reason)) = 1">
            <xsl:apply-templates select="." mode="row"/>
            <xsl:call-template name="lint-command"/>
          </xsl:when>
          <xsl:otherwise><xsl:call-template name="group"/></xsl:otherwise>
        </xsl:choose>
      </xsl:for-each>
    </xsl:if>
    <xsl:for-each select="$untold[not($is-nothing-known) or reason != $explanation]">
      <xsl:call-template name="heading">
        <xsl:with-param name="sign" select="'?'"/>
        <xsl:with-param name="style" select="$yellow"/>
        <xsl:with-param name="text" select="reason"/>
      </xsl:call-template>
    </xsl:for-each>
  </xsl:template>

  <!-- The services that are not known for the same reason as the current service. -->
  <xsl:template name="group">
    <xsl:variable name="reason">
      <xsl:call-template name="phrase"><xsl:with-param name="text" select="reason"/></xsl:call-template>
    </xsl:variable>
    <xsl:variable name="names">
      <xsl:call-template name="names">
        <xsl:with-param name="services" select="key('unknown', reason)"/>
      </xsl:call-template>
    </xsl:variable>
    <xsl:text>  </xsl:text>
    <xsl:call-template name="wrap">
      <xsl:with-param name="text" select="string($reason)"/>
      <xsl:with-param name="indent" select="2"/>
    </xsl:call-template>
    <xsl:text>&#10;    </xsl:text>
    <xsl:call-template name="wrap">
      <xsl:with-param name="text" select="string($names)"/>
      <xsl:with-param name="indent" select="4"/>
    </xsl:call-template>
    <xsl:text>&#10;</xsl:text>
  </xsl:template>

  <!-- The command that explains what is wrong with a service's definition. -->
  <xsl:template name="lint-command">
    <xsl:variable name="definition"><xsl:call-template name="wrong-definition"/></xsl:variable>
    <xsl:if test="string($definition)">
      <xsl:call-template name="command">
        <xsl:with-param name="command" select="concat('keldo-service-lint ', $definition)"/>
      </xsl:call-template>
    </xsl:if>
  </xsl:template>

  <xsl:template name="upgrade">
    <xsl:call-template name="heading">
      <xsl:with-param name="sign" select="'–'"/>
      <xsl:with-param name="start" select="$problems[@id = 'upgrade']/message"/>
    </xsl:call-template>
    <xsl:text>  </xsl:text>
    <xsl:call-template name="wrap">
      <xsl:with-param name="text"
          select="concat($unchecked[1]/reason, ' ', $summary/sentence[@code = 'unchecked'])"/>
      <xsl:with-param name="indent" select="2"/>
    </xsl:call-template>
    <xsl:text>&#10;</xsl:text>
  </xsl:template>

  <!-- The title and the reason of a service. -->
  <xsl:template match="service" mode="row">
    <xsl:variable name="title"><xsl:apply-templates select="." mode="title"/></xsl:variable>
    <xsl:variable name="reason">
      <xsl:call-template name="phrase"><xsl:with-param name="text" select="reason"/></xsl:call-template>
    </xsl:variable>
    <xsl:text>  </xsl:text>
    <xsl:call-template name="paint">
      <xsl:with-param name="style" select="$bold"/>
      <xsl:with-param name="text" select="$title"/>
    </xsl:call-template>
    <xsl:choose>
      <xsl:when test="$are-beside">
        <xsl:value-of select="substring($spaces, 1, $indent - 2 - string-length($title))"/>
      </xsl:when>
      <xsl:otherwise><xsl:text>&#10;    </xsl:text></xsl:otherwise>
    </xsl:choose>
    <xsl:call-template name="wrap">
      <xsl:with-param name="text" select="string($reason)"/>
      <xsl:with-param name="indent" select="$indent"/>
    </xsl:call-template>
    <xsl:text>&#10;</xsl:text>
  </xsl:template>

  <!-- A command on a line of its own. It is never broken, so that it can be copied. -->
  <xsl:template name="command">
    <xsl:param name="command"/>
    <xsl:value-of select="concat(substring($spaces, 1, $indent),
        translate($command, $escape, '&#xfffd;'), '&#10;')"/>
  </xsl:template>

  <!-- A sign, a sentence and the titles of services as one paragraph. -->
  <xsl:template name="list">
    <xsl:param name="sign"/>
    <xsl:param name="style"/>
    <xsl:param name="sentence"/>
    <xsl:param name="services"/>
    <xsl:variable name="length" select="string-length($sentence)"/>
    <xsl:variable name="has-stop" select="translate(substring($sentence, $length), '.。', '') = ''"/>
    <xsl:call-template name="heading">
      <xsl:with-param name="sign" select="$sign"/>
      <xsl:with-param name="style" select="$style"/>
      <xsl:with-param name="start"
          select="concat(substring($sentence, 1, $length - number($has-stop)), ':')"/>
      <xsl:with-param name="text">
        <xsl:call-template name="names">
          <xsl:with-param name="services" select="$services"/>
        </xsl:call-template>
      </xsl:with-param>
    </xsl:call-template>
  </xsl:template>

  <!-- The titles of services, with commas between them and no-break spaces. -->
  <xsl:template name="names">
    <xsl:param name="services"/>
    <xsl:for-each select="$services">
      <xsl:variable name="title"><xsl:apply-templates select="." mode="title"/></xsl:variable>
      <xsl:if test="position() &gt; 1"><xsl:text>, </xsl:text></xsl:if>
      <xsl:value-of select="translate($title, ' ', '&#xa0;')"/>
    </xsl:for-each>
  </xsl:template>

  <xsl:template match="service" mode="title">
    <xsl:call-template name="phrase">
      <xsl:with-param name="text"><xsl:apply-templates select="." mode="text"/></xsl:with-param>
    </xsl:call-template>
  </xsl:template>

</xsl:stylesheet>
