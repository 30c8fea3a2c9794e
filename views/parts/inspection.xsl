<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The common part of all views of an inspection. A view adds a template for the element
     inspection. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="strings.xsl"/>

  <!-- The start of each proposed command, such as "sudo keldoctl-report". -->
  <xsl:param name="command" select="'keldoctl-report'"/>

  <xsl:key name="default" use="@id"
      match="/inspection/keldoctl/problem/solutions/action[@default = 'true']"/>
  <!-- The problem of a service that is down, by the id of the service. -->
  <xsl:key name="problem" match="/inspection/keldoctl/problem" use="substring-after(@id, ':')"/>

  <!-- The services that are not known for the same reason. -->
  <xsl:key name="unknown" match="/inspection/services/service[@state = 'unknown']" use="reason"/>

  <xsl:variable name="summary" select="/inspection/summary"/>
  <xsl:variable name="services" select="/inspection/services/service"/>
  <xsl:variable name="down" select="$services[@state = 'down']"/>
  <xsl:variable name="unknown" select="$services[@state = 'unknown']"/>
  <xsl:variable name="stopped" select="$services[@state = 'stopped']"/>
  <xsl:variable name="unchecked" select="$services[@state = 'unchecked']"/>
  <xsl:variable name="up" select="$services[@state = 'up']"/>
  <!-- The dependencies that the inspection could not use. -->
  <xsl:variable name="unusable"
      select="/inspection/dependencies/dependency[@state = 'missing' or @state = 'failed']"/>
  <!-- The unusable dependencies whose reason is not the reason of any service. -->
  <xsl:variable name="untold" select="$unusable[reason and not(reason = $services/reason)]"/>
  <xsl:variable name="problems" select="/inspection/keldoctl/problem"/>
  <!-- The problems' default actions, each once. -->
  <xsl:variable name="defaults" select="$problems/solutions/action[@default = 'true']
      [generate-id() = generate-id(key('default', @id)[1])]"/>
  <xsl:variable name="repairs" select="/inspection/keldoctl/action[status]"/>

  <xsl:template match="/">
    <xsl:if test="not(inspection[@version = '1'])">
      <xsl:message terminate="yes">not an inspection of keldoctl</xsl:message>
    </xsl:if>
    <xsl:apply-templates select="inspection"/>
  </xsl:template>

  <!-- The text of an action, or its id if it has no text. -->
  <xsl:template match="action" mode="text">
    <xsl:value-of select="(@id | message[string()])[last()]"/>
  </xsl:template>

  <!-- The severity of the problem of a service that is down: critical, major, minor or unrated. -->
  <xsl:template match="service" mode="severity">
    <xsl:variable name="severity" select="key('problem', @id)[1]/severity"/>
    <xsl:choose>
      <xsl:when test="$severity = 'critical' or $severity = 'major' or $severity = 'minor'">
        <xsl:value-of select="$severity"/>
      </xsl:when>
      <xsl:otherwise>unrated</xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- The file of the current service's definition as a word for the shell, if keldo-service-lint
       explains what is wrong with it. -->
  <xsl:template name="wrong-definition">
    <xsl:if test="starts-with(reason/@code, 'definition_')
        and reason/@code != 'definition_missing'">
      <xsl:call-template name="shell-word">
        <xsl:with-param name="text" select="concat(
            /inspection/dependencies/dependency[@id = 'definitions']/@path, '/', @id, '.xml')"/>
      </xsl:call-template>
    </xsl:if>
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
