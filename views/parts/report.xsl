<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The common part of all views. A view adds a template for the element keldoctl. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="strings.xsl"/>

  <!-- The start of each proposed command, such as "sudo keldoctl". -->
  <xsl:param name="command" select="'keldoctl'"/>

  <xsl:key name="action" match="/keldoctl/action" use="@id"/>
  <xsl:key name="default" match="/keldoctl/problem/solutions/action[@default = 'true']" use="@id"/>

  <xsl:variable name="problems" select="/keldoctl/problem"/>
  <!-- A severity may be missing. -->
  <xsl:variable name="unrated" select="$problems[
      not(severity = 'critical' or severity = 'major' or severity = 'minor')]"/>
  <!-- The problems' default actions, each once. -->
  <xsl:variable name="defaults" select="$problems/solutions/action[@default = 'true']
      [generate-id() = generate-id(key('default', @id)[1])]"/>
  <xsl:variable name="repairs" select="/keldoctl/action[status]"/>
  <xsl:variable name="is-upgrade" select="boolean($problems[@id = 'upgrade'])"/>

  <xsl:template match="/">
    <xsl:if test="not(keldoctl)">
      <xsl:message terminate="yes">not a report of keldoctl</xsl:message>
    </xsl:if>
    <xsl:apply-templates select="keldoctl"/>
  </xsl:template>

  <!-- Applies the view's template for problems, the worst problem first. -->
  <xsl:template name="problems">
    <xsl:apply-templates select="$problems">
      <xsl:sort data-type="number" order="descending" select="(severity = 'critical') * 3
          + (severity = 'major') * 2 + (severity = 'minor')"/>
    </xsl:apply-templates>
  </xsl:template>

  <!-- The word id of a problem's severity. -->
  <xsl:template match="problem" mode="severity">
    <xsl:choose>
      <xsl:when test="severity = 'critical' or severity = 'major' or severity = 'minor'">
        <xsl:value-of select="severity"/>
      </xsl:when>
      <xsl:otherwise>unrated</xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- The text of a problem or an action, or its id if it has no text. -->
  <xsl:template match="problem | action" mode="text">
    <xsl:value-of select="(@id | message[string()])[last()]"/>
  </xsl:template>

  <!-- The shell command that carries out $actions, elements with an id. -->
  <xsl:template name="repair-command">
    <xsl:param name="actions"/>
    <xsl:value-of select="concat($command, ' --repair')"/>
    <xsl:for-each select="$actions">
      <xsl:text> </xsl:text>
      <xsl:call-template name="shell-word">
        <xsl:with-param name="text" select="@id"/>
      </xsl:call-template>
    </xsl:for-each>
  </xsl:template>

</xsl:stylesheet>
