<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- A fleet document as plain text for a terminal: the outcomes of repairs, then the hosts by problem
     and by the reason why their state is not known.

     Parameters: language (parts/words.xsl); command and time (parts/fleet.xsl); width, ascii, escape
     (parts/text.xsl). -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/fleet.xsl"/>
  <xsl:include href="parts/text.xsl"/>
  <xsl:include href="parts/words.xsl"/>

  <xsl:output method="text" encoding="UTF-8"/>

  <!-- If more hosts than this are well, or being upgraded, they are not named. -->
  <xsl:variable name="few" select="20"/>

  <xsl:template match="fleet">
    <xsl:call-template name="paint">
      <xsl:with-param name="style" select="$bold"/>
      <xsl:with-param name="text"
          select="concat($words[@id = 'fleet-hosts'], ': ', count($hosts))"/>
    </xsl:call-template>
    <xsl:value-of select="concat('  ', $time, '  ', @seconds, ' s&#10;')"/>
    <xsl:if test="$outcomes">
      <xsl:text>&#10;</xsl:text>
      <xsl:apply-templates select="$outcomes">
        <xsl:sort data-type="number" select="(@state != 'failed') + (@state = 'ok')"/>
      </xsl:apply-templates>
    </xsl:if>
    <xsl:if test="$down-groups or $with-problems"><xsl:call-template name="problems"/></xsl:if>
    <xsl:if test="$unknown-groups or $unclear or not($hosts)">
      <xsl:call-template name="unclear"/>
    </xsl:if>
    <xsl:if test="$upgrading | $well"><xsl:text>&#10;</xsl:text></xsl:if>
    <xsl:call-template name="quiet">
      <xsl:with-param name="sign" select="'–'"/>
      <xsl:with-param name="start"
          select="concat($words[@id = 'change-upgrade'], ': ', count($upgrading))"/>
      <xsl:with-param name="members" select="$upgrading"/>
    </xsl:call-template>
    <xsl:call-template name="quiet">
      <xsl:with-param name="sign" select="'✔'"/>
      <xsl:with-param name="style" select="$green"/>
      <xsl:with-param name="start">
        <xsl:choose>
          <xsl:when test="$tone = 'up'">
            <xsl:value-of select="$words[@id = 'fleet-all-well']"/>
          </xsl:when>
          <xsl:otherwise>
            <xsl:value-of select="concat($words[@id = 'fleet-well'], ': ', count($well))"/>
          </xsl:otherwise>
        </xsl:choose>
      </xsl:with-param>
      <xsl:with-param name="members" select="$well"/>
    </xsl:call-template>
  </xsl:template>

  <!-- A repair with one outcome, and its hosts. -->
  <xsl:template match="outcome">
    <xsl:variable name="members" select="key('outcome', concat(@state, ' ', @id))/.."/>
    <xsl:variable name="word"><xsl:apply-templates select="." mode="text"/></xsl:variable>
    <xsl:call-template name="heading">
      <xsl:with-param name="sign" select="translate(substring(@state, 1, 1), 'ofn', '✔✖–')"/>
      <xsl:with-param name="style" select="concat(substring($red, 1, 4 * (@state = 'failed')),
          substring($green, 1, 4 * (@state = 'ok')))"/>
      <xsl:with-param name="start" select="concat($word, ':')"/>
      <xsl:with-param name="text">
        <xsl:value-of select="@id"/>
        <xsl:text> </xsl:text>
        <xsl:call-template name="host-count">
          <xsl:with-param name="members" select="$members"/>
        </xsl:call-template>
      </xsl:with-param>
    </xsl:call-template>
    <xsl:call-template name="host-list">
      <xsl:with-param name="members" select="$members"/>
    </xsl:call-template>
  </xsl:template>

  <xsl:template name="problems">
    <xsl:text>&#10;</xsl:text>
    <xsl:call-template name="heading">
      <xsl:with-param name="sign" select="'✖'"/>
      <xsl:with-param name="style" select="$red"/>
      <xsl:with-param name="start" select="concat($words[@id = 'fleet-with-problems'], ': ',
          count($with-problems))"/>
    </xsl:call-template>
    <xsl:apply-templates select="$down-groups" mode="group">
      <xsl:sort data-type="number" order="descending"
          select="count(key('down', concat(reason/@code, ' ', @id)))"/>
    </xsl:apply-templates>
    <xsl:call-template name="unexplained">
      <xsl:with-param name="members" select="$unexplained[@state = 'problems']"/>
    </xsl:call-template>
    <xsl:if test="$nameable">
      <xsl:value-of select="concat('  ', $words[@id = 'repair-all'], ':&#10;    ')"/>
      <xsl:value-of select="concat($command, ' --limit ')"/>
      <xsl:for-each select="$nameable">
        <xsl:if test="position() &gt; 1">,</xsl:if>
        <xsl:value-of select="@name"/>
      </xsl:for-each>
      <xsl:text>&#10;</xsl:text>
    </xsl:if>
    <xsl:if test="$unnameable">
      <xsl:value-of select="concat('  ', $words[@id = 'fleet-unnameable'], ':&#10;')"/>
      <xsl:call-template name="host-list">
        <xsl:with-param name="members" select="$unnameable"/>
      </xsl:call-template>
    </xsl:if>
  </xsl:template>

  <xsl:template name="unclear">
    <xsl:text>&#10;</xsl:text>
    <xsl:call-template name="heading">
      <xsl:with-param name="sign" select="'?'"/>
      <xsl:with-param name="style" select="$yellow"/>
      <xsl:with-param name="start">
        <xsl:choose>
          <xsl:when test="$unclear">
            <xsl:value-of select="concat($words[@id = 'fleet-unclear'], ': ', count($unclear))"/>
          </xsl:when>
          <xsl:when test="$hosts"><xsl:value-of select="$words[@id = 'unknown']"/></xsl:when>
          <xsl:otherwise><xsl:value-of select="$words[@id = 'nothing-known']"/></xsl:otherwise>
        </xsl:choose>
      </xsl:with-param>
    </xsl:call-template>
    <xsl:apply-templates select="$unknown-groups" mode="group">
      <xsl:sort data-type="number" order="descending"
          select="count(key('unknown', reason/@code)/..)"/>
    </xsl:apply-templates>
    <xsl:call-template name="unexplained">
      <xsl:with-param name="members" select="$unexplained[@state != 'problems']"/>
    </xsl:call-template>
    <xsl:apply-templates select="$reason-groups" mode="group">
      <xsl:sort select="@state"/>
      <xsl:sort data-type="number" order="descending"
          select="count(key('reason', concat(@state, ' ', reason/@code)))"/>
    </xsl:apply-templates>
  </xsl:template>

  <!-- Writes a group of parts/fleet.xsl: the title, the reason and the hosts. -->
  <xsl:template name="group">
    <xsl:param name="title"/>
    <xsl:param name="reason"/>
    <xsl:param name="members"/>
    <xsl:variable name="title-phrase">
      <xsl:call-template name="phrase"><xsl:with-param name="text" select="$title"/></xsl:call-template>
    </xsl:variable>
    <xsl:variable name="reason-phrase">
      <xsl:call-template name="phrase">
        <xsl:with-param name="text">
          <!-- The text of a host's reason is in English, so a report in another language first gives the
               reason in its own words. -->
          <xsl:if test="self::service or not(string(reason)) or $words-language != 'en'">
            <xsl:value-of select="concat($reason, ' ')"/>
          </xsl:if>
          <xsl:if test="self::host[string(reason)]">
            <xsl:call-template name="group-reason">
              <xsl:with-param name="members" select="$members"/>
            </xsl:call-template>
          </xsl:if>
        </xsl:with-param>
      </xsl:call-template>
    </xsl:variable>
    <xsl:variable name="lines">
      <xsl:call-template name="wrap">
        <xsl:with-param name="text">
          <xsl:value-of select="concat($title-phrase, ' ')"/>
          <xsl:call-template name="host-count">
            <xsl:with-param name="members" select="$members"/>
          </xsl:call-template>
        </xsl:with-param>
        <xsl:with-param name="indent" select="2"/>
      </xsl:call-template>
    </xsl:variable>
    <!-- A title that is broken into lines has no style. -->
    <xsl:variable name="painted" select="substring($title-phrase, 1,
        string-length($title-phrase) * starts-with($lines, $title-phrase))"/>
    <xsl:text>  </xsl:text>
    <xsl:call-template name="paint">
      <xsl:with-param name="style" select="$bold"/>
      <xsl:with-param name="text" select="$painted"/>
    </xsl:call-template>
    <xsl:value-of select="substring($lines, string-length($painted) + 1)"/>
    <xsl:text>&#10;    </xsl:text>
    <xsl:call-template name="wrap">
      <xsl:with-param name="text" select="string($reason-phrase)"/>
      <xsl:with-param name="indent" select="4"/>
    </xsl:call-template>
    <xsl:text>&#10;</xsl:text>
    <xsl:call-template name="host-list">
      <xsl:with-param name="members" select="$members"/>
    </xsl:call-template>
  </xsl:template>

  <xsl:template name="host-count">
    <xsl:param name="members"/>
    <xsl:value-of select="concat('(', $words[@id = 'fleet-hosts'], ': ', count($members), ')')"/>
  </xsl:template>

  <!-- The names of hosts in columns. -->
  <xsl:template name="host-list">
    <xsl:param name="members"/>
    <xsl:variable name="longest">
      <xsl:for-each select="$members">
        <xsl:sort data-type="number" order="descending" select="string-length(@name)"/>
        <xsl:if test="position() = 1"><xsl:value-of select="string-length(@name)"/></xsl:if>
      </xsl:for-each>
    </xsl:variable>
    <!-- Four columns of indentation, and two between names. -->
    <xsl:variable name="columns" select="floor(($width - 2) div ($longest + 2))"/>
    <xsl:for-each select="$members">
      <xsl:variable name="name">
        <xsl:call-template name="phrase">
          <xsl:with-param name="text" select="@name"/>
        </xsl:call-template>
      </xsl:variable>
      <xsl:variable name="is-last"
          select="position() = last() or $columns &lt; 2 or position() mod $columns = 0"/>
      <xsl:if test="$columns &lt; 2 or position() mod $columns = 1">
        <xsl:text>    </xsl:text>
      </xsl:if>
      <xsl:value-of select="$name"/>
      <xsl:choose>
        <xsl:when test="$is-last"><xsl:text>&#10;</xsl:text></xsl:when>
        <xsl:otherwise>
          <xsl:value-of select="substring(concat($spaces, $spaces), 1,
              $longest + 2 - string-length($name))"/>
        </xsl:otherwise>
      </xsl:choose>
    </xsl:for-each>
  </xsl:template>

  <!-- Hosts in a state that explains itself. -->
  <xsl:template name="quiet">
    <xsl:param name="sign"/>
    <xsl:param name="style"/>
    <xsl:param name="start"/>
    <xsl:param name="members"/>
    <xsl:if test="$members">
      <xsl:call-template name="heading">
        <xsl:with-param name="sign" select="$sign"/>
        <xsl:with-param name="style" select="$style"/>
        <xsl:with-param name="start" select="$start"/>
      </xsl:call-template>
      <xsl:if test="count($members) &lt;= $few">
        <xsl:call-template name="host-list">
          <xsl:with-param name="members" select="$members"/>
        </xsl:call-template>
      </xsl:if>
    </xsl:if>
  </xsl:template>

</xsl:stylesheet>
