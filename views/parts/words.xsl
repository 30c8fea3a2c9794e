<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The fixed words of a view, in the language of the inspection or of the fleet document.

     A report that version 1.0.0 kept does not name its language, but each of its texts has one. Texts
     without a translation are in English, so the first other language is the report's. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <!-- The language of the fixed words, such as "de-DE". -->
  <xsl:param name="language"/>

  <xsl:variable name="other-languages" select="//@xml:lang[not(starts-with(., 'en'))]"/>
  <xsl:variable name="wanted-language">
    <xsl:choose>
      <xsl:when test="$language"><xsl:value-of select="$language"/></xsl:when>
      <xsl:when test="/inspection | /fleet">
        <xsl:value-of select="/*/@xml:lang"/>
      </xsl:when>
      <xsl:when test="$other-languages"><xsl:value-of select="$other-languages[1]"/></xsl:when>
      <xsl:otherwise>en</xsl:otherwise>
    </xsl:choose>
  </xsl:variable>
  <!-- Without the country. -->
  <xsl:variable name="wanted-family" select="substring-before(concat($wanted-language, '-'), '-')"/>

  <xsl:variable name="tables" select="document('words.xml')/words/language"/>
  <xsl:variable name="english" select="$tables[@xml:lang = 'en']"/>
  <!-- Hong Kong and Macau use the characters of Taiwan. -->
  <xsl:variable name="exact" select="$tables[@xml:lang = $wanted-language or @xml:lang = 'zh-TW'
      and ($wanted-language = 'zh-HK' or $wanted-language = 'zh-MO')]"/>
  <xsl:variable name="family"
      select="$tables[substring-before(concat(@xml:lang, '-'), '-') = $wanted-family][1]"/>
  <xsl:variable name="own"
      select="$exact | $family[not($exact)] | $english[not($exact | $family)]"/>

  <!-- The language that the fixed words are in. -->
  <xsl:variable name="words-language" select="string($own/@xml:lang)"/>

  <!-- $words[@id = ...]; English stands in for a word that is missing. -->
  <xsl:variable name="words"
      select="$own/word | $english/word[not(@id = $own/word/@id)]"/>

</xsl:stylesheet>
