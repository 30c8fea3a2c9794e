<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- Templates for text on a terminal. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <!-- The width of a line in columns. The default leaves room for the indentation of a mail. -->
  <xsl:param name="width" select="75"/>
  <!-- If this is "yes", the signs are in ASCII instead of UTF-8. -->
  <xsl:param name="ascii"/>
  <!-- The character that stands for the escape character, which XML cannot contain. If it is given,
       the text has colours. In texts of the inspection it becomes U+FFFD. -->
  <xsl:param name="escape"/>

  <!-- Writes $text on one line without control characters and surplus space. -->
  <xsl:template name="phrase">
    <xsl:param name="text"/>
    <xsl:value-of select="normalize-space(
        translate($text, concat($controls, $escape), concat($replacements, '&#xfffd;')))"/>
  </xsl:template>

  <!-- Styles for the template "paint". -->
  <xsl:variable name="bold" select="'1'"/>
  <xsl:variable name="red" select="'1;31'"/>
  <xsl:variable name="green" select="'1;32'"/>
  <xsl:variable name="yellow" select="'1;33'"/>

  <!-- Writes $text in a style, a parameter of the terminal's command SGR. -->
  <xsl:template name="paint">
    <xsl:param name="style"/>
    <xsl:param name="text"/>
    <xsl:choose>
      <xsl:when test="$escape and string($style)">
        <xsl:value-of select="concat($escape, '[', $style, 'm', $text, $escape, '[0m')"/>
      </xsl:when>
      <xsl:otherwise><xsl:value-of select="$text"/></xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- Writes a sign, $start in a style and $text as one paragraph. Either text may be empty. -->
  <xsl:template name="heading">
    <xsl:param name="sign"/>
    <xsl:param name="style"/>
    <xsl:param name="start"/>
    <xsl:param name="text"/>
    <xsl:variable name="shown-sign">
      <xsl:choose>
        <xsl:when test="$ascii = 'yes'">
          <xsl:value-of select="concat('[', translate($sign, '✖?–✔', 'x?-+'), ']')"/>
        </xsl:when>
        <xsl:otherwise><xsl:value-of select="$sign"/></xsl:otherwise>
      </xsl:choose>
    </xsl:variable>
    <xsl:variable name="phrase">
      <xsl:call-template name="phrase">
        <xsl:with-param name="text" select="concat($start, ' ', $text)"/>
      </xsl:call-template>
    </xsl:variable>
    <xsl:variable name="lines">
      <xsl:call-template name="wrap">
        <xsl:with-param name="text" select="string($phrase)"/>
        <xsl:with-param name="indent" select="string-length($shown-sign) + 1"/>
      </xsl:call-template>
    </xsl:variable>
    <!-- A start that is broken into lines has no style. -->
    <xsl:variable name="painted" select="substring($start, 1, string-length($start)
        * starts-with($lines, $start))"/>
    <xsl:call-template name="paint">
      <xsl:with-param name="style" select="$style"/>
      <xsl:with-param name="text" select="normalize-space(concat($shown-sign, ' ', $painted))"/>
    </xsl:call-template>
    <xsl:if test="not($painted)"><xsl:text> </xsl:text></xsl:if>
    <xsl:value-of select="concat(substring($lines, string-length($painted) + 1), '&#10;')"/>
  </xsl:template>

  <!-- Characters that take one column; any other may take two. -->
  <xsl:variable name="narrow">
    !"#$%&amp;'()*+,-./0123456789:;&lt;=&gt;?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\]^_`
    abcdefghijklmnopqrstuvwxyz{|}~&#xa0;–—‘’‚“”„…
    ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖ×ØÙÚÛÜÝÞßàáâãäåæçèéêëìíîïðñòóôõö÷øùúûüýþÿ
    ĀāĂăĄąĆćĈĉĊċČčĎďĐđĒēĔĕĖėĘęĚěĜĝĞğĠġĢģĤĥĦħĨĩĪīĬĭĮįİıĴĵĶķĸĹĺĻļĽľŁłŃńŅņŇňŊŋ
    ŌōŎŏŐőŒœŔŕŖŗŘřŚśŜŝŞşŠšŢţŤťŦŧŨũŪūŬŭŮůŰűŲųŴŵŶŷŸŹźŻżŽž
    АБВГДЕЖЗИЙКЛМНОПРСТУФХЦЧШЩЪЫЬЭЮЯабвгдежзийклмнопрстуфхцчшщъыьэюяЁё
  </xsl:variable>
  <xsl:variable name="spaces" select="'                                        '"/>

  <!-- Writes $text, one phrase, in lines of $width columns. Indents all lines except the first by
       $indent; the caller indents the first line. A no-break space becomes a space. -->
  <xsl:template name="wrap">
    <xsl:param name="text"/>
    <xsl:param name="indent"/>
    <xsl:variable name="room" select="$width - $indent"/>
    <xsl:variable name="wide"
        select="string-length(translate(substring($text, 1, $room), $narrow, ''))"/>
    <!-- A number of characters that fits in any case. -->
    <xsl:variable name="fit"
        select="($room - $wide) * ($wide * 2 &lt; $room) + floor($room div 2) * ($wide * 2 &gt;= $room)"/>
    <xsl:variable name="line">
      <xsl:call-template name="before-last-space">
        <xsl:with-param name="text" select="substring($text, 1, $fit + 1)"/>
      </xsl:call-template>
    </xsl:variable>
    <xsl:variable name="length">
      <xsl:choose>
        <xsl:when test="string($line)"><xsl:value-of select="string-length($line)"/></xsl:when>
        <!-- Languages with wide characters put no space between words. -->
        <xsl:when test="translate(substring($text, 1, $fit), $narrow, '')">
          <xsl:value-of select="$fit"/>
        </xsl:when>
        <xsl:otherwise>
          <xsl:value-of select="string-length(substring-before(concat($text, ' '), ' '))"/>
        </xsl:otherwise>
      </xsl:choose>
    </xsl:variable>
    <xsl:choose>
      <!-- The depth of recursion is limited. -->
      <xsl:when test="string-length($text) &lt;= $fit or string-length($text) = $length
          or string-length($text) &gt; 20000">
        <xsl:value-of select="translate($text, '&#xa0;', ' ')"/>
      </xsl:when>
      <xsl:otherwise>
        <xsl:value-of select="concat(translate(substring($text, 1, $length), '&#xa0;', ' '),
            '&#10;', substring($spaces, 1, $indent))"/>
        <xsl:call-template name="wrap">
          <xsl:with-param name="text"
              select="normalize-space(substring($text, $length + 1))"/>
          <xsl:with-param name="indent" select="$indent"/>
        </xsl:call-template>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- Writes what stands before the last space of $text. -->
  <xsl:template name="before-last-space">
    <xsl:param name="text"/>
    <xsl:variable name="rest" select="substring-after($text, ' ')"/>
    <xsl:value-of select="substring-before($text, ' ')"/>
    <xsl:if test="contains($rest, ' ')">
      <xsl:text> </xsl:text>
      <xsl:call-template name="before-last-space">
        <xsl:with-param name="text" select="$rest"/>
      </xsl:call-template>
    </xsl:if>
  </xsl:template>

  <!-- Writes $text, indents all lines except the first, and ends the last line. The caller indents
       the first line. -->
  <xsl:template name="lines">
    <xsl:param name="text"/>
    <xsl:variable name="harmless" select="translate($text,
        concat($controls, $escape), concat($replacements, '&#xfffd;'))"/>
    <xsl:variable name="length" select="string-length($harmless)"/>
    <xsl:variable name="is-ended" select="substring($harmless, $length) = '&#10;'"/>
    <xsl:call-template name="replace">
      <xsl:with-param name="text" select="substring($harmless, 1, $length - number($is-ended))"/>
      <xsl:with-param name="character" select="'&#10;'"/>
      <xsl:with-param name="by" select="'&#10;    '"/>
    </xsl:call-template>
    <xsl:text>&#10;</xsl:text>
  </xsl:template>

</xsl:stylesheet>
