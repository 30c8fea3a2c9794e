<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- A fleet document as JSON, with the names of an inspection as JSON. Each host takes one line. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/fleet.xsl"/>
  <!-- parts/fleet.xsl refers to the words. -->
  <xsl:include href="parts/words.xsl"/>

  <xsl:output method="text" encoding="UTF-8"/>

  <xsl:template match="fleet">
    <xsl:text>{</xsl:text>
    <xsl:apply-templates select="@*" mode="member"/>
    <xsl:text>,&#10;"summary": {</xsl:text>
    <xsl:apply-templates select="summary/@*" mode="member"/>
    <xsl:text>},&#10;"hosts": [</xsl:text>
    <xsl:for-each select="$hosts">
      <xsl:if test="position() &gt; 1">,</xsl:if>
      <xsl:text>&#10;</xsl:text>
      <xsl:apply-templates select="."/>
    </xsl:for-each>
    <xsl:text>&#10;]}&#10;</xsl:text>
  </xsl:template>

  <xsl:template match="host">
    <xsl:variable name="counts" select="@services | @up | @down | @unknown | @stopped | @unchecked"/>
    <xsl:text>{</xsl:text>
    <xsl:apply-templates select="@*[count(. | $counts) != count($counts)]" mode="member"/>
    <xsl:if test="$counts">
      <xsl:text>, "summary": {</xsl:text>
      <xsl:apply-templates select="$counts" mode="member"/>
      <xsl:text>}</xsl:text>
    </xsl:if>
    <xsl:apply-templates select="reason"/>
    <xsl:call-template name="list">
      <xsl:with-param name="name" select="'services'"/>
      <xsl:with-param name="elements" select="service"/>
    </xsl:call-template>
    <xsl:call-template name="list">
      <xsl:with-param name="name" select="'outcomes'"/>
      <xsl:with-param name="elements" select="outcome"/>
    </xsl:call-template>
    <xsl:text>}</xsl:text>
  </xsl:template>

  <xsl:template name="list">
    <xsl:param name="name"/>
    <xsl:param name="elements"/>
    <xsl:value-of select="concat(', &quot;', $name, '&quot;: [')"/>
    <xsl:for-each select="$elements">
      <xsl:if test="position() &gt; 1">, </xsl:if>
      <xsl:text>{</xsl:text>
      <xsl:apply-templates select="@*" mode="member"/>
      <xsl:apply-templates select="*"/>
      <xsl:text>}</xsl:text>
    </xsl:for-each>
    <xsl:text>]</xsl:text>
  </xsl:template>

  <xsl:template match="reason">
    <xsl:text>, "reason": {</xsl:text>
    <xsl:apply-templates select="@*" mode="member"/>
    <xsl:text>, "text": </xsl:text>
    <xsl:call-template name="string"/>
    <xsl:text>}</xsl:text>
  </xsl:template>

  <xsl:template match="service/title | service/repair">
    <xsl:value-of select="concat(', &quot;', local-name(), '&quot;: ')"/>
    <xsl:call-template name="string"/>
  </xsl:template>

  <!-- An attribute as a member of an object. Counts and durations are numbers. -->
  <xsl:template match="@*" mode="member">
    <xsl:if test="position() &gt; 1">, </xsl:if>
    <xsl:value-of select="concat('&quot;', local-name(), '&quot;: ')"/>
    <xsl:choose>
      <xsl:when test="parent::summary or contains(
          ' version seconds services up down unknown stopped unchecked ',
          concat(' ', local-name(), ' '))">
        <xsl:value-of select="number(.)"/>
      </xsl:when>
      <xsl:otherwise><xsl:call-template name="string"/></xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- Writes the text of the current node as a JSON string. Escapes the backslash, the quotation mark,
       the tab, the line feed and the carriage return: XML admits no other character that JSON
       escapes. -->
  <xsl:template name="string">
    <xsl:text>"</xsl:text>
    <xsl:choose>
      <xsl:when test="translate(., '\&quot;&#9;&#10;&#13;', '') = string(.)">
        <xsl:value-of select="."/>
      </xsl:when>
      <xsl:otherwise>
        <xsl:call-template name="escape">
          <xsl:with-param name="text" select="string(.)"/>
        </xsl:call-template>
      </xsl:otherwise>
    </xsl:choose>
    <xsl:text>"</xsl:text>
  </xsl:template>

  <!-- Writes $text with each of $characters escaped, the first of them first. -->
  <xsl:template name="escape">
    <xsl:param name="text"/>
    <xsl:param name="characters" select="'\&quot;&#9;&#10;&#13;'"/>
    <xsl:param name="letters" select="'\&quot;tnr'"/>
    <xsl:choose>
      <xsl:when test="$characters">
        <xsl:variable name="escaped">
          <xsl:call-template name="replace">
            <xsl:with-param name="text" select="$text"/>
            <xsl:with-param name="character" select="substring($characters, 1, 1)"/>
            <xsl:with-param name="by" select="concat('\', substring($letters, 1, 1))"/>
          </xsl:call-template>
        </xsl:variable>
        <xsl:call-template name="escape">
          <xsl:with-param name="text" select="string($escaped)"/>
          <xsl:with-param name="characters" select="substring($characters, 2)"/>
          <xsl:with-param name="letters" select="substring($letters, 2)"/>
        </xsl:call-template>
      </xsl:when>
      <xsl:otherwise><xsl:value-of select="$text"/></xsl:otherwise>
    </xsl:choose>
  </xsl:template>

</xsl:stylesheet>
