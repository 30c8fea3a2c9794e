<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The common part of all views of a fleet document. A view adds a template for the element
     fleet. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="strings.xsl"/>

  <!-- The start of the command that repairs hosts. The controller's inventory can be a part of it. -->
  <xsl:param name="command" select="'ansible-playbook keldo.keldoctl.repair'"/>
  <!-- When the run began. -->
  <xsl:param name="time" select="concat(substring(/fleet/@started, 1, 10), ' ',
      substring(/fleet/@started, 12, 5), ' UTC')"/>

  <!-- The services with the same id that are down for the same reason, the services that are not
       known for the same reason, the hosts without an inspection for the same reason, and the equal
       outcomes of a repair. -->
  <xsl:key name="down" match="/fleet/host/service[@state = 'down']"
      use="concat(reason/@code, ' ', @id)"/>
  <xsl:key name="unknown" match="/fleet/host/service[@state != 'down']" use="reason/@code"/>
  <xsl:key name="reason" match="/fleet/host[reason]" use="concat(@state, ' ', reason/@code)"/>
  <xsl:key name="outcome" match="/fleet/host/outcome" use="concat(@state, ' ', @id)"/>

  <xsl:variable name="hosts" select="/fleet/host"/>
  <xsl:variable name="well" select="$hosts[@state = 'well']"/>
  <xsl:variable name="upgrading" select="$hosts[@state = 'upgrade']"/>
  <xsl:variable name="with-problems" select="$hosts[@state = 'problems']"/>
  <xsl:variable name="failed" select="$hosts[@state = 'failed']"/>
  <xsl:variable name="unreachable" select="$hosts[@state = 'unreachable']"/>
  <xsl:variable name="unasked" select="$hosts[@state = 'unasked']"/>
  <!-- A state that this view does not know counts as not known. -->
  <xsl:variable name="unknown" select="$hosts[not(contains(
      ' well upgrade problems failed unreachable unasked ', concat(' ', @state, ' ')))]"/>
  <xsl:variable name="unclear" select="$unknown | $failed | $unreachable | $unasked"/>

  <!-- One service or host for each group. -->
  <xsl:variable name="down-groups" select="$hosts/service[generate-id()
      = generate-id(key('down', concat(reason/@code, ' ', @id))[1])]"/>
  <xsl:variable name="unknown-groups"
      select="$hosts/service[generate-id() = generate-id(key('unknown', reason/@code)[1])]"/>
  <xsl:variable name="reason-groups" select="$hosts[generate-id()
      = generate-id(key('reason', concat(@state, ' ', reason/@code))[1])]"/>
  <!-- The hosts that are not well and have neither a service nor a reason to show. -->
  <xsl:variable name="unexplained" select="($with-problems | $unclear)[not(service | reason)]"/>

  <xsl:variable name="outcomes" select="$hosts/outcome[generate-id()
      = generate-id(key('outcome', concat(@state, ' ', @id))[1])]"/>
  <xsl:variable name="failed-repairs" select="$hosts/outcome[@state = 'failed']"/>

  <!-- The hosts with a proposed repair that has not just failed. -->
  <xsl:variable name="repairable"
      select="$hosts[service/repair[not(. = ../../outcome[@state = 'failed']/@id)]]"/>
  <!-- In a name with other characters, Ansible's option limit could see a pattern. -->
  <xsl:variable name="plain-characters"
      select="'ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-'"/>
  <xsl:variable name="nameable" select="$repairable[@name != 'all' and @name != 'ungrouped'
      and not(starts-with(@name, '-')) and not(translate(@name, $plain-characters, ''))]"/>
  <xsl:variable name="unnameable" select="$repairable[count(. | $nameable) != count($nameable)]"/>

  <!-- The look of the whole: down, unknown, upgrade or up. It is "up" only if the hosts agree with the
       verdict. -->
  <xsl:variable name="tone">
    <xsl:choose>
      <xsl:when test="$with-problems or $failed-repairs or /fleet/@verdict = 'problems'">down</xsl:when>
      <xsl:when test="$unclear or not($hosts)">unknown</xsl:when>
      <xsl:when test="$upgrading or /fleet/@verdict = 'upgrade'">upgrade</xsl:when>
      <xsl:when test="/fleet/@verdict = 'well'">up</xsl:when>
      <xsl:otherwise>unknown</xsl:otherwise>
    </xsl:choose>
  </xsl:variable>

  <xsl:template match="/">
    <xsl:if test="not(fleet[@version = '1'])">
      <xsl:message terminate="yes">not a fleet document of keldoctl</xsl:message>
    </xsl:if>
    <xsl:apply-templates select="fleet"/>
  </xsl:template>

  <!-- The headline: texts for the numbers of hosts that are not well. -->
  <xsl:template name="headline">
    <xsl:choose>
      <xsl:when test="not($hosts)"><xsl:value-of select="$words[@id = 'nothing-known']"/></xsl:when>
      <xsl:when test="$tone = 'up'">
        <span dir="auto"><xsl:value-of select="$words[@id = 'fleet-all-well']"/></span>
      </xsl:when>
      <xsl:otherwise>
        <xsl:call-template name="number-of">
          <xsl:with-param name="word" select="$words[@id = 'failed-repairs']"/>
          <xsl:with-param name="members" select="$failed-repairs"/>
        </xsl:call-template>
        <xsl:call-template name="number-of">
          <xsl:with-param name="word" select="$words[@id = 'fleet-with-problems']"/>
          <xsl:with-param name="members" select="$with-problems"/>
        </xsl:call-template>
        <xsl:call-template name="number-of">
          <xsl:with-param name="word" select="$words[@id = 'fleet-unclear']"/>
          <xsl:with-param name="members" select="$unclear"/>
        </xsl:call-template>
        <xsl:if test="$tone = 'upgrade'">
          <xsl:call-template name="number-of">
            <xsl:with-param name="word" select="$words[@id = 'fleet-upgrading']"/>
            <xsl:with-param name="members" select="$upgrading"/>
          </xsl:call-template>
        </xsl:if>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- The number of $members after a word, if there are any. -->
  <xsl:template name="number-of">
    <xsl:param name="word"/>
    <xsl:param name="members"/>
    <xsl:if test="$members">
      <span dir="auto"><xsl:value-of select="concat($word, ': ', count($members), '.')"/></span>
      <xsl:text> </xsl:text>
    </xsl:if>
  </xsl:template>

  <!-- The word for the state of the current host. -->
  <xsl:template name="state">
    <xsl:choose>
      <xsl:when test="@state = 'well'"><xsl:value-of select="$words[@id = 'fleet-well']"/></xsl:when>
      <xsl:when test="@state = 'problems'">
        <xsl:value-of select="$words[@id = 'fleet-problems']"/>
      </xsl:when>
      <xsl:when test="@state = 'upgrade'">
        <xsl:value-of select="$words[@id = 'change-upgrade']"/>
      </xsl:when>
      <xsl:when test="@state = 'failed'">
        <xsl:value-of select="$words[@id = 'fleet-failed']"/>
      </xsl:when>
      <xsl:when test="@state = 'unreachable'">
        <xsl:value-of select="$words[@id = 'fleet-unreachable']"/>
      </xsl:when>
      <xsl:when test="@state = 'unasked'">
        <xsl:value-of select="$words[@id = 'fleet-unasked']"/>
      </xsl:when>
      <xsl:otherwise><xsl:value-of select="$words[@id = 'unknown']"/></xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- The word for the outcome of a repair. -->
  <xsl:template match="outcome" mode="text">
    <xsl:choose>
      <xsl:when test="@state = 'ok'"><xsl:value-of select="$words[@id = 'ok']"/></xsl:when>
      <xsl:when test="@state = 'failed'"><xsl:value-of select="$words[@id = 'error']"/></xsl:when>
      <xsl:otherwise><xsl:value-of select="$words[@id = 'fleet-not-carried-out']"/></xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- Why a host gave no inspection: the words for the code, else the text of the reason, else the
       code. -->
  <xsl:template match="host" mode="reason">
    <xsl:variable name="word" select="$words[@id = concat('reason-', current()/reason/@code)]"/>
    <xsl:value-of
        select="($word | reason[string()][not($word)] | reason/@code[not($word or string(..))])[1]"/>
  </xsl:template>

  <!-- The reason of a group of services: that of its first member, as an example if they differ. -->
  <xsl:template name="group-reason">
    <xsl:param name="members"/>
    <xsl:if test="$members/reason != reason">
      <xsl:value-of select="concat($words[@id = 'fleet-example'], ': ')"/>
    </xsl:if>
    <xsl:value-of select="reason"/>
  </xsl:template>

  <!-- The groups. The view's template "group" writes a group with its look, title, reason and members,
       which are hosts. -->
  <xsl:template match="service[@state = 'down']" mode="group">
    <xsl:variable name="members" select="key('down', concat(reason/@code, ' ', @id))"/>
    <xsl:call-template name="group">
      <xsl:with-param name="look" select="'down'"/>
      <xsl:with-param name="title"><xsl:apply-templates select="." mode="text"/></xsl:with-param>
      <xsl:with-param name="reason">
        <xsl:call-template name="group-reason">
          <xsl:with-param name="members" select="$members"/>
        </xsl:call-template>
      </xsl:with-param>
      <xsl:with-param name="members" select="$members/.."/>
    </xsl:call-template>
  </xsl:template>

  <xsl:template match="service" mode="group">
    <xsl:variable name="members" select="key('unknown', reason/@code)"/>
    <xsl:call-template name="group">
      <xsl:with-param name="look" select="'unknown'"/>
      <xsl:with-param name="title">
        <xsl:choose>
          <xsl:when test="$members/@id != @id">
            <xsl:value-of select="$words[@id = 'unknown']"/>
          </xsl:when>
          <xsl:otherwise><xsl:apply-templates select="." mode="text"/></xsl:otherwise>
        </xsl:choose>
      </xsl:with-param>
      <xsl:with-param name="reason">
        <xsl:call-template name="group-reason">
          <xsl:with-param name="members" select="$members"/>
        </xsl:call-template>
      </xsl:with-param>
      <xsl:with-param name="members" select="$members/.."/>
    </xsl:call-template>
  </xsl:template>

  <xsl:template match="host" mode="group">
    <xsl:call-template name="group">
      <xsl:with-param name="look"><xsl:apply-templates select="." mode="look"/></xsl:with-param>
      <xsl:with-param name="title"><xsl:call-template name="state"/></xsl:with-param>
      <xsl:with-param name="reason"><xsl:apply-templates select="." mode="reason"/></xsl:with-param>
      <xsl:with-param name="members" select="key('reason', concat(@state, ' ', reason/@code))"/>
    </xsl:call-template>
  </xsl:template>

  <xsl:template name="unexplained">
    <xsl:param name="members"/>
    <xsl:for-each select="$members[1]">
      <xsl:call-template name="group">
        <xsl:with-param name="look"><xsl:apply-templates select="." mode="look"/></xsl:with-param>
        <xsl:with-param name="title"><xsl:call-template name="state"/></xsl:with-param>
        <xsl:with-param name="reason" select="$words[@id = 'fleet-see-report']"/>
        <xsl:with-param name="members" select="$members"/>
      </xsl:call-template>
    </xsl:for-each>
  </xsl:template>

  <!-- The colour and the sign of a host's state. -->
  <xsl:template match="host" mode="look">
    <xsl:choose>
      <xsl:when test="@state = 'well'">up</xsl:when>
      <xsl:when test="@state = 'problems'">down</xsl:when>
      <xsl:when test="@state = 'unasked'">unchecked</xsl:when>
      <xsl:when test="@state = 'upgrade' or @state = 'failed' or @state = 'unreachable'">
        <xsl:value-of select="@state"/>
      </xsl:when>
      <xsl:otherwise>unknown</xsl:otherwise>
    </xsl:choose>
  </xsl:template>

</xsl:stylesheet>
