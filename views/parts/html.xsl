<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- What every page consists of: headings, sentences, commands and signs. The stylesheet that includes
     this file defines heading-level, the level of the first heading. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:variable name="h1" select="concat('h', $heading-level)"/>
  <xsl:variable name="h2" select="concat('h', $heading-level + 1)"/>
  <xsl:variable name="h3" select="concat('h', $heading-level + 2)"/>

  <!-- The direction of the page follows the language of its words. -->
  <xsl:variable name="direction">
    <xsl:choose>
      <xsl:when test="contains(' ar dv fa he ku ps sd ug ur yi ', concat(' ', $wanted-family, ' '))">
        <xsl:text>rtl</xsl:text>
      </xsl:when>
      <xsl:otherwise>ltr</xsl:otherwise>
    </xsl:choose>
  </xsl:variable>

  <!-- The heading of a part of the page. -->
  <xsl:template name="heading">
    <xsl:param name="id"/>
    <xsl:param name="word"/>
    <xsl:element name="{$h2}">
      <xsl:attribute name="id"><xsl:value-of select="concat('keldoctl-', $id)"/></xsl:attribute>
      <xsl:value-of select="$words[@id = $word]"/>
    </xsl:element>
  </xsl:template>

  <xsl:template name="sentences">
    <xsl:param name="sentences"/>
    <xsl:for-each select="$sentences">
      <xsl:if test="position() &gt; 1"><xsl:text> </xsl:text></xsl:if>
      <span>
        <xsl:call-template name="language"/>
        <xsl:value-of select="."/>
      </span>
    </xsl:for-each>
  </xsl:template>

  <!-- The title of a service, with its language and direction; without a title its id. -->
  <xsl:template name="title-text">
    <xsl:attribute name="dir">auto</xsl:attribute>
    <xsl:for-each select="title[string()]"><xsl:call-template name="language"/></xsl:for-each>
    <xsl:apply-templates select="." mode="text"/>
  </xsl:template>

  <!-- A command to copy. It consists of $start, such as "sudo keldoctl-report", then $word, then the
       ids of $actions. A line breaks only between words, or between the elements of $word. A long
       command needs a label, because it scrolls. -->
  <xsl:template name="command">
    <xsl:param name="start" select="concat($command, ' --repair')"/>
    <xsl:param name="word"/>
    <xsl:param name="actions" select="/.."/>
    <xsl:param name="is-all" select="false()"/>
    <xsl:param name="label"/>
    <div class="command">
      <code dir="ltr" translate="no">
        <xsl:if test="string($label)">
          <xsl:attribute name="tabindex">0</xsl:attribute>
          <xsl:attribute name="role">region</xsl:attribute>
          <xsl:attribute name="aria-label"><xsl:value-of select="$label"/></xsl:attribute>
        </xsl:if>
        <xsl:call-template name="words-of">
          <xsl:with-param name="text" select="$start"/>
        </xsl:call-template>
        <xsl:if test="string($word)">
          <xsl:text> </xsl:text>
          <span><xsl:copy-of select="$word"/></span>
        </xsl:if>
        <xsl:if test="$is-all"><xsl:text> </xsl:text><span>all</span></xsl:if>
        <xsl:for-each select="$actions[not($is-all)]">
          <xsl:text> </xsl:text>
          <span>
            <xsl:call-template name="shell-word">
              <xsl:with-param name="text" select="@id"/>
            </xsl:call-template>
          </span>
        </xsl:for-each>
      </code>
    </div>
  </xsl:template>

  <!-- Writes each word of $text as an element. -->
  <xsl:template name="words-of">
    <xsl:param name="text"/>
    <span><xsl:value-of select="substring-before(concat($text, ' '), ' ')"/></span>
    <xsl:if test="contains($text, ' ')">
      <xsl:text> </xsl:text>
      <xsl:call-template name="words-of">
        <xsl:with-param name="text" select="substring-after($text, ' ')"/>
      </xsl:call-template>
    </xsl:if>
  </xsl:template>

  <!-- The language and the direction of the current element's text. -->
  <xsl:template name="language">
    <xsl:attribute name="dir">auto</xsl:attribute>
    <xsl:for-each select="ancestor-or-self::*[@xml:lang][1]/@xml:lang">
      <xsl:attribute name="lang"><xsl:value-of select="."/></xsl:attribute>
    </xsl:for-each>
  </xsl:template>

  <!-- A state as a shape. A heading or a word says the same, since colour alone does not reach
       every reader. -->
  <xsl:template name="sign">
    <xsl:param name="id"/>
    <svg class="sign" aria-hidden="true"><use href="#keldoctl-sign-{$id}"/></svg>
  </xsl:template>

  <xsl:template name="symbols">
    <svg class="symbols" aria-hidden="true">
      <symbol id="keldoctl-sign-down" viewBox="0 0 16 16">
        <path fill-rule="evenodd" d="M4.7 0h6.6L16 4.7v6.6L11.3 16H4.7L0 11.3V4.7zM6 4.6 4.6 6l2 2-2 2L6 11.4l2-2 2 2 1.4-1.4-2-2 2-2L10 4.6l-2 2z"/>
      </symbol>
      <symbol id="keldoctl-sign-unknown" viewBox="0 0 16 16" fill="none" stroke="currentColor">
        <path stroke-width="1.4" stroke-linejoin="round" d="M8 .8 15.2 8 8 15.2.8 8z"/>
        <path stroke-width="1.5" stroke-linecap="round" d="M6.3 6.4a1.75 1.75 0 1 1 2.7 1.5c-.7.4-1 .7-1 1.3M8 11.3v.1"/>
      </symbol>
      <symbol id="keldoctl-sign-stopped" viewBox="0 0 16 16" fill="none" stroke="currentColor">
        <rect x="1" y="1" width="14" height="14" rx="3.5" stroke-width="1.4"/>
        <path stroke-width="1.8" stroke-linecap="round" d="M6 5.5v5m4-5v5"/>
      </symbol>
      <symbol id="keldoctl-sign-upgrade" viewBox="0 0 16 16">
        <path fill-rule="evenodd" d="M8 0a8 8 0 1 1 0 16A8 8 0 0 1 8 0zM8 3 4 7.2l1.4 1.4L7 7v6h2V7l1.6 1.6L12 7.2z"/>
      </symbol>
      <symbol id="keldoctl-sign-unchecked" viewBox="0 0 16 16" fill="none" stroke="currentColor">
        <circle cx="8" cy="8" r="7" stroke-width="1.4" stroke-dasharray="2.6 1.8"/>
        <path stroke-width="1.8" stroke-linecap="round" d="M5.5 8h5"/>
      </symbol>
      <symbol id="keldoctl-sign-up" viewBox="0 0 16 16">
        <path fill-rule="evenodd" d="M8 0a8 8 0 1 1 0 16A8 8 0 0 1 8 0zM6.8 12.1l5.7-5.7L11.1 5 6.8 9.3 4.9 7.4 3.5 8.8z"/>
      </symbol>
    </svg>
  </xsl:template>

</xsl:stylesheet>
