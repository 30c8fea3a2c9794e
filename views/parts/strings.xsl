<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- Templates for strings. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform"
                xmlns:str="http://exslt.org/strings">

  <!-- Writes $text with each $character replaced. A log may have millions of lines: a processor
       with EXSLT replaces them in one pass. Any other processor halves the text and replaces in
       each half, because the depth of recursion is limited. -->
  <xsl:template name="replace">
    <xsl:param name="text"/>
    <xsl:param name="character"/>
    <xsl:param name="by"/>
    <xsl:variable name="half" select="floor(string-length($text) div 2)"/>
    <xsl:choose>
      <xsl:when test="not(contains($text, $character))"><xsl:value-of select="$text"/></xsl:when>
      <xsl:when test="function-available('str:replace')">
        <xsl:value-of select="str:replace(string($text), $character, $by)"/>
      </xsl:when>
      <xsl:when test="$text = $character"><xsl:value-of select="$by"/></xsl:when>
      <xsl:otherwise>
        <xsl:call-template name="replace">
          <xsl:with-param name="text" select="substring($text, 1, $half)"/>
          <xsl:with-param name="character" select="$character"/>
          <xsl:with-param name="by" select="$by"/>
        </xsl:call-template>
        <xsl:call-template name="replace">
          <xsl:with-param name="text" select="substring($text, $half + 1)"/>
          <xsl:with-param name="character" select="$character"/>
          <xsl:with-param name="by" select="$by"/>
        </xsl:call-template>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- Writes the last $count lines of $text, or all lines if there are fewer. Halves the text,
       because the depth of recursion is limited. -->
  <xsl:template name="last-lines">
    <xsl:param name="text"/>
    <xsl:param name="count"/>
    <xsl:variable name="middle" select="floor(string-length($text) div 2)"/>
    <xsl:variable name="second" select="substring($text, $middle + 1)"/>
    <xsl:variable name="second-feeds"
        select="string-length($second) - string-length(translate($second, '&#10;', ''))"/>
    <xsl:choose>
      <xsl:when test="string-length($text)
          - string-length(translate($text, '&#10;', '')) &lt; $count">
        <xsl:value-of select="$text"/>
      </xsl:when>
      <xsl:when test="$text = '&#10;'"/>
      <xsl:when test="$second-feeds &gt;= $count">
        <xsl:call-template name="last-lines">
          <xsl:with-param name="text" select="$second"/>
          <xsl:with-param name="count" select="$count"/>
        </xsl:call-template>
      </xsl:when>
      <xsl:otherwise>
        <xsl:call-template name="last-lines">
          <xsl:with-param name="text" select="substring($text, 1, $middle)"/>
          <xsl:with-param name="count" select="$count - $second-feeds"/>
        </xsl:call-template>
        <xsl:value-of select="$second"/>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- The characters that a terminal obeys and XML admits: the carriage return, delete, U+0080 to
       U+009F, and those that change the direction of a text, which can make one command look like
       another. The tab and the line feed are harmless. -->
  <xsl:variable name="controls" select="concat('&#x0d;&#x7f;',
      '&#x80;&#x81;&#x82;&#x83;&#x84;&#x85;&#x86;&#x87;&#x88;&#x89;&#x8a;&#x8b;&#x8c;&#x8d;&#x8e;&#x8f;',
      '&#x90;&#x91;&#x92;&#x93;&#x94;&#x95;&#x96;&#x97;&#x98;&#x99;&#x9a;&#x9b;&#x9c;&#x9d;&#x9e;&#x9f;',
      '&#x61c;&#x200e;&#x200f;&#x202a;&#x202b;&#x202c;&#x202d;&#x202e;',
      '&#x2066;&#x2067;&#x2068;&#x2069;')"/>
  <!-- One U+FFFD for each character of $controls. -->
  <xsl:variable name="replacements" select="concat('&#xfffd;&#xfffd;',
      '&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;',
      '&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;',
      '&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;',
      '&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;',
      '&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;',
      '&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;&#xfffd;')"/>

  <!-- Writes $text as one word for the shell, with all control characters replaced. An interactive
       shell acts on a tab, a line feed or a delete before it has read the whole command. An id with a
       replaced character names no action, so the command does nothing. -->
  <xsl:template name="shell-word">
    <xsl:param name="text"/>
    <xsl:variable name="harmless" select="concat('ABCDEFGHIJKLMNOPQRSTUVWXYZ',
        'abcdefghijklmnopqrstuvwxyz0123456789', '%+,-./:=@_')"/>
    <xsl:choose>
      <xsl:when test="string($text) and not(translate($text, $harmless, ''))">
        <xsl:value-of select="$text"/>
      </xsl:when>
      <xsl:otherwise>
        <xsl:text>'</xsl:text>
        <xsl:call-template name="replace">
          <xsl:with-param name="text" select="translate($text, concat('&#9;&#10;', $controls),
              concat('&#xfffd;&#xfffd;', $replacements))"/>
          <xsl:with-param name="character" select='"&apos;"'/>
          <xsl:with-param name="by" select='"&apos;\&apos;&apos;"'/>
        </xsl:call-template>
        <xsl:text>'</xsl:text>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- The title of a service, or its id if it has no title. -->
  <xsl:template match="service" mode="text">
    <xsl:value-of select="(@id | title[string()])[last()]"/>
  </xsl:template>

</xsl:stylesheet>
