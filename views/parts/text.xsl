<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The common part of the views for a terminal. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <!-- A heading line, "WORD: NUMBER". -->
  <xsl:template name="count">
    <xsl:param name="word"/>
    <xsl:param name="items"/>
    <xsl:value-of select="$words[@id = $word]"/>
    <xsl:value-of select="concat(': ', count($items), '&#10;')"/>
  </xsl:template>

  <!-- The line of a problem or an action, "[WORD] TEXT", or "[OLDER-WORD -> WORD] TEXT". -->
  <xsl:template name="item">
    <xsl:param name="word"/>
    <xsl:param name="older-word"/>
    <xsl:text>[</xsl:text>
    <xsl:if test="string($older-word)">
      <xsl:value-of select="$words[@id = string($older-word)]"/>
      <xsl:text> -&gt; </xsl:text>
    </xsl:if>
    <xsl:value-of select="$words[@id = string($word)]"/>
    <xsl:text>] </xsl:text>
    <xsl:call-template name="lines">
      <xsl:with-param name="text"><xsl:apply-templates select="." mode="text"/></xsl:with-param>
    </xsl:call-template>
  </xsl:template>

  <!-- Writes $text, indents all lines except the first, and ends the last line. The caller indents
       the first line. -->
  <xsl:template name="lines">
    <xsl:param name="text"/>
    <xsl:variable name="harmless" select="translate($text, $controls, $replacements)"/>
    <xsl:variable name="length" select="string-length($harmless)"/>
    <xsl:variable name="is-ended" select="substring($harmless, $length) = '&#10;'"/>
    <xsl:call-template name="replace">
      <xsl:with-param name="text" select="substring($harmless, 1, $length - number($is-ended))"/>
      <xsl:with-param name="character" select="'&#10;'"/>
      <xsl:with-param name="by" select="'&#10;    '"/>
    </xsl:call-template>
    <xsl:text>&#10;</xsl:text>
  </xsl:template>

  <!-- Writes $text and replaces tabs and line feeds, since an interactive shell acts on them before
       it has read the whole command. The command then names no action, so it does nothing. -->
  <xsl:template name="one-line">
    <xsl:param name="text"/>
    <xsl:value-of select="translate($text, concat('&#9;&#10;', $controls),
        concat('&#xfffd;&#xfffd;', $replacements))"/>
  </xsl:template>

</xsl:stylesheet>
