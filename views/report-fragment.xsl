<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- An inspection as a part of a panel's page: one section element without a script.

     Parameters: language (parts/words.xsl), command (parts/inspection.xsl), host and time
     (parts/page.xsl), and those below. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/inspection.xsl"/>
  <xsl:include href="parts/words.xsl"/>
  <xsl:include href="parts/page.xsl"/>
  <xsl:include href="parts/style.xsl"/>

  <xsl:output method="html" encoding="UTF-8" indent="no"/>

  <!-- The address that carries a repair out. Without one, a repair is a command to copy. -->
  <xsl:param name="repair-url"/>
  <!-- The name and the value of a further field of each form, by which the panel knows that its own
       page sent the form. A processing instruction after the inspection can contain the value,
       since every user can read a command line. -->
  <xsl:param name="token-name"/>
  <xsl:param name="token" select="/processing-instruction('token')"/>

  <xsl:variable name="has-forms" select="boolean(string($repair-url))"/>
  <!-- The level of the first heading, from 1 to 4. The panel's page has an h1 of its own. -->
  <xsl:param name="heading-level" select="2"/>

  <xsl:template match="inspection">
    <section class="keldoctl" lang="{$words-language}" dir="{$direction}">
      <xsl:attribute name="aria-label">
        <xsl:value-of select="$words[@id = 'title']"/>
      </xsl:attribute>
      <style><xsl:call-template name="rules"/></style>
      <xsl:call-template name="content"/>
      <div class="foot"><xsl:call-template name="bottom"/></div>
    </section>
  </xsl:template>

  <xsl:template name="repair-control">
    <xsl:param name="label"/>
    <xsl:param name="button"/>
    <xsl:param name="title"/>
    <xsl:param name="actions"/>
    <xsl:param name="is-all" select="false()"/>
    <xsl:param name="has-failed" select="false()"/>
    <xsl:choose>
      <xsl:when test="$has-forms">
        <xsl:if test="$has-failed">
          <p class="label warning"><xsl:value-of select="$label"/></p>
        </xsl:if>
        <form method="post" action="{$repair-url}">
          <xsl:if test="string($token-name)">
            <input type="hidden" name="{$token-name}" value="{$token}"/>
          </xsl:if>
          <xsl:for-each select="$actions">
            <input type="hidden" name="id" value="{@id}"/>
          </xsl:for-each>
          <button type="submit">
            <xsl:value-of select="$button"/>
            <xsl:if test="string($title)">
              <span class="spoken"><xsl:value-of select="concat(' – ', $title)"/></span>
            </xsl:if>
          </button>
        </form>
      </xsl:when>
      <xsl:otherwise>
        <xsl:call-template name="labelled-command">
          <xsl:with-param name="label" select="$label"/>
          <xsl:with-param name="actions" select="$actions"/>
          <xsl:with-param name="is-all" select="$is-all"/>
          <xsl:with-param name="has-failed" select="$has-failed"/>
        </xsl:call-template>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

</xsl:stylesheet>
