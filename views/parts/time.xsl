<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- Templates for times. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <!-- Writes the seconds from 1970 until $time, which is in UTC, such as 2026-11-22T00:20:11Z. -->
  <xsl:template name="unix-time">
    <xsl:param name="time"/>
    <xsl:variable name="month" select="number(substring($time, 6, 2))"/>
    <!-- Years and months are counted from March, so that a leap day is the last of its year. -->
    <xsl:variable name="year" select="substring($time, 1, 4) - ($month &lt; 3)"/>
    <xsl:variable name="months" select="($month + 9) mod 12"/>
    <xsl:variable name="days" select="365 * $year
        + floor($year div 4) - floor($year div 100) + floor($year div 400)
        + floor((153 * $months + 2) div 5) + substring($time, 9, 2) - 719469"/>
    <!-- Without format-number, libxslt writes numbers from 2^31 with an exponent. -->
    <xsl:value-of select="format-number(86400 * $days + 3600 * substring($time, 12, 2)
        + 60 * substring($time, 15, 2) + substring($time, 18, 2), '0')"/>
  </xsl:template>

</xsl:stylesheet>
