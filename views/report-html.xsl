<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- A report as one page that needs no other file, network or font. Its script only adds the
     buttons that copy a command.

     Parameters: language (parts/words.xsl), command (parts/report.xsl); host and time, the texts
     for the head of the page: the report has neither. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/report.xsl"/>
  <xsl:include href="parts/words.xsl"/>
  <xsl:include href="parts/page.xsl"/>

  <!-- Not indented: blanks matter in commands and logs. -->
  <xsl:output method="html" encoding="UTF-8" indent="no" doctype-system="about:legacy-compat"/>

  <xsl:param name="host"/>
  <xsl:param name="time"/>

  <xsl:variable name="worst">
    <xsl:choose>
      <xsl:when test="not($problems)">ok</xsl:when>
      <xsl:when test="$problems[severity = 'critical']">critical</xsl:when>
      <xsl:when test="$problems[severity = 'major']">major</xsl:when>
      <xsl:when test="$problems[severity = 'minor']">minor</xsl:when>
      <xsl:otherwise>unrated</xsl:otherwise>
    </xsl:choose>
  </xsl:variable>

  <xsl:template match="keldoctl">
    <html lang="{$words-language}" dir="{$direction}">
      <xsl:call-template name="head"/>
      <body>
        <xsl:call-template name="symbols"/>
        <xsl:call-template name="header"/>
        <main>
          <xsl:call-template name="repairs"/>
          <xsl:call-template name="proposals"/>
        </main>
        <xsl:call-template name="script"/>
      </body>
    </html>
  </xsl:template>

  <xsl:template name="head">
    <head>
      <xsl:call-template name="security-policy"/>
      <meta name="viewport" content="width=device-width, initial-scale=1"/>
      <meta name="color-scheme" content="light dark"/>
      <title>
        <xsl:call-template name="headline"/>
        <xsl:text> – </xsl:text>
        <xsl:if test="$host"><xsl:value-of select="concat($host, ' – ')"/></xsl:if>
        <xsl:value-of select="$words[@id = 'title']"/>
      </title>
      <xsl:call-template name="style"/>
    </head>
  </xsl:template>

  <xsl:template name="headline">
    <xsl:choose>
      <xsl:when test="$problems">
        <xsl:value-of select="$words[@id = 'problems']"/>
        <xsl:value-of select="concat(': ', count($problems))"/>
      </xsl:when>
      <xsl:otherwise>
        <xsl:value-of select="$words[@id = 'well']"/>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <xsl:template name="header">
    <header class="{$worst}">
      <xsl:call-template name="symbol">
        <xsl:with-param name="id" select="$worst"/>
      </xsl:call-template>
      <div>
        <p class="about">
          <span>
            <xsl:value-of select="$words[@id = 'title']"/>
          </span>
          <xsl:if test="$host"><span dir="auto"><xsl:value-of select="$host"/></span></xsl:if>
          <xsl:if test="$time"><span dir="auto"><xsl:value-of select="$time"/></span></xsl:if>
        </p>
        <h1><xsl:call-template name="headline"/></h1>
        <xsl:call-template name="counts"/>
        <xsl:if test="$is-upgrade">
          <p class="note">
            <xsl:value-of select="$words[@id = 'unchecked']"/>
          </p>
        </xsl:if>
      </div>
    </header>
  </xsl:template>

  <!-- The number of problems of each severity. -->
  <xsl:template name="counts">
    <xsl:if test="count($problems) &gt; 1">
      <ul class="counts" role="list">
        <xsl:call-template name="count">
          <xsl:with-param name="severity" select="'critical'"/>
        </xsl:call-template>
        <xsl:call-template name="count">
          <xsl:with-param name="severity" select="'major'"/>
        </xsl:call-template>
        <xsl:call-template name="count">
          <xsl:with-param name="severity" select="'minor'"/>
        </xsl:call-template>
        <xsl:call-template name="count">
          <xsl:with-param name="severity" select="'unrated'"/>
        </xsl:call-template>
      </ul>
    </xsl:if>
  </xsl:template>

  <xsl:template name="count">
    <xsl:param name="severity"/>
    <xsl:variable name="found" select="$problems[severity = $severity]
        | $unrated[$severity = 'unrated']"/>
    <xsl:if test="$found">
      <li>
        <xsl:call-template name="badge">
          <xsl:with-param name="id" select="$severity"/>
        </xsl:call-template>
        <xsl:text> </xsl:text>
        <span class="number"><xsl:value-of select="count($found)"/></span>
      </li>
    </xsl:if>
  </xsl:template>

  <xsl:template name="repairs">
    <xsl:if test="$repairs">
      <section aria-labelledby="repairs">
        <h2 id="repairs">
          <xsl:value-of select="$words[@id = 'repairs']"/>
        </h2>
        <ul class="cards" role="list"><xsl:apply-templates select="$repairs"/></ul>
      </section>
    </xsl:if>
  </xsl:template>

  <!-- An action that was carried out. -->
  <xsl:template match="keldoctl/action">
    <li class="card {status}">
      <xsl:call-template name="badge">
        <xsl:with-param name="id" select="string(status)"/>
      </xsl:call-template>
      <h3><xsl:call-template name="text"/></h3>
      <p class="id"><code dir="ltr"><xsl:value-of select="@id"/></code></p>
      <xsl:choose>
        <xsl:when test="string(log)"><xsl:apply-templates select="log"/></xsl:when>
        <xsl:otherwise>
          <p class="silent">
            <xsl:value-of select="$words[@id = 'silent']"/>
          </p>
        </xsl:otherwise>
      </xsl:choose>
    </li>
  </xsl:template>

  <!-- The output of an action. It is open if the action failed, since it shows the reason. -->
  <xsl:template match="log">
    <xsl:variable name="label">
      <xsl:value-of select="$words[@id = 'output']"/>
    </xsl:variable>
    <details>
      <xsl:if test="../status != 'ok'"><xsl:attribute name="open">open</xsl:attribute></xsl:if>
      <summary><xsl:value-of select="$label"/></summary>
      <!-- Browsers drop a line feed at the start of a pre element. -->
      <pre tabindex="0" role="region" aria-label="{$label}" dir="auto">
        <xsl:value-of select="concat('&#10;', .)"/>
      </pre>
    </details>
  </xsl:template>

  <xsl:template name="proposals">
    <xsl:if test="$problems">
      <section aria-labelledby="problems">
        <!-- Hidden if it directly follows the headline, which says the same. -->
        <h2 id="problems">
          <xsl:if test="not($repairs)"><xsl:attribute name="class">spoken</xsl:attribute></xsl:if>
          <xsl:value-of select="$words[@id = 'problems']"/>
        </h2>
        <ul class="cards" role="list"><xsl:call-template name="problems"/></ul>
        <xsl:call-template name="repair-all"/>
      </section>
    </xsl:if>
  </xsl:template>

  <xsl:template match="problem">
    <xsl:variable name="severity"><xsl:apply-templates select="." mode="severity"/></xsl:variable>
    <li class="card {$severity}">
      <xsl:call-template name="badge">
        <xsl:with-param name="id" select="string($severity)"/>
      </xsl:call-template>
      <h3><xsl:call-template name="text"/></h3>
      <p class="id"><code dir="ltr"><xsl:value-of select="@id"/></code></p>
      <xsl:apply-templates select="solutions/action">
        <xsl:sort select="@default = 'true'" order="descending"/>
      </xsl:apply-templates>
    </li>
  </xsl:template>

  <!-- A proposed action. -->
  <xsl:template match="solutions/action">
    <div class="proposal">
      <p class="label">
        <xsl:value-of select="$words[@id = 'repair']"/>
        <xsl:if test="@default = 'true' and count(../action) &gt; 1">
          <xsl:text> – </xsl:text>
          <xsl:value-of select="$words[@id = 'recommended']"/>
        </xsl:if>
      </p>
      <xsl:for-each select="key('action', @id)[string(message)][1]">
        <p><xsl:call-template name="text"/></p>
      </xsl:for-each>
      <xsl:call-template name="command">
        <xsl:with-param name="actions" select="."/>
      </xsl:call-template>
    </div>
  </xsl:template>

  <xsl:template name="repair-all">
    <xsl:if test="count($defaults) &gt; 1">
      <details class="all">
        <summary>
          <xsl:value-of select="$words[@id = 'repair-all']"/>
        </summary>
        <xsl:call-template name="command">
          <xsl:with-param name="actions" select="$defaults"/>
        </xsl:call-template>
      </details>
    </xsl:if>
  </xsl:template>

  <!-- A command to copy. A click selects all of it; the script adds a button. -->
  <xsl:template name="command">
    <xsl:param name="actions"/>
    <div class="command">
      <code dir="ltr" translate="no">
        <xsl:call-template name="repair-command">
          <xsl:with-param name="actions" select="$actions"/>
        </xsl:call-template>
      </code>
    </div>
  </xsl:template>

  <!-- The text of the problem or action, with its language and direction. -->
  <xsl:template name="text">
    <xsl:attribute name="dir">auto</xsl:attribute>
    <xsl:for-each select="message[string()]/@xml:lang">
      <xsl:attribute name="lang"><xsl:value-of select="."/></xsl:attribute>
    </xsl:for-each>
    <xsl:apply-templates select="." mode="text"/>
  </xsl:template>

  <!-- A severity or an outcome. A word and a symbol show it, since colour alone does not reach
       every reader. -->
  <xsl:template name="badge">
    <xsl:param name="id"/>
    <span class="badge {$id}">
      <xsl:call-template name="symbol"><xsl:with-param name="id" select="$id"/></xsl:call-template>
      <xsl:value-of select="$words[@id = $id]"/>
    </span>
  </xsl:template>

  <xsl:template name="symbol">
    <xsl:param name="id"/>
    <svg class="symbol" aria-hidden="true"><use href="#symbol-{$id}"/></svg>
  </xsl:template>

</xsl:stylesheet>
