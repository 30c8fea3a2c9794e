<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- An inspection as one page that needs no other file, network or font. Its script only adds the
     buttons that copy a command.

     Parameters: language (parts/words.xsl), command (parts/inspection.xsl), host and time
     (parts/page.xsl). -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/inspection.xsl"/>
  <xsl:include href="parts/words.xsl"/>
  <xsl:include href="parts/page.xsl"/>
  <xsl:include href="parts/frame.xsl"/>

  <xsl:template match="inspection">
    <xsl:variable name="headline"><xsl:call-template name="headline"/></xsl:variable>
    <xsl:call-template name="frame">
      <xsl:with-param name="title"
          select="concat($headline, ' – ', $host, ' – ', $words[@id = 'title'])"/>
    </xsl:call-template>
  </xsl:template>

  <xsl:variable name="has-forms" select="false()"/>

  <xsl:template name="repair-control">
    <xsl:param name="label"/>
    <xsl:param name="actions"/>
    <xsl:param name="is-all" select="false()"/>
    <xsl:param name="has-failed" select="false()"/>
    <xsl:call-template name="labelled-command">
      <xsl:with-param name="label" select="$label"/>
      <xsl:with-param name="actions" select="$actions"/>
      <xsl:with-param name="is-all" select="$is-all"/>
      <xsl:with-param name="has-failed" select="$has-failed"/>
    </xsl:call-template>
  </xsl:template>

</xsl:stylesheet>
