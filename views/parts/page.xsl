<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The content of the page and of the fragment. The stylesheet that includes this file makes the
     frame around it, and defines the template repair-control, which offers a repair, and the variable
     has-forms, which says whether repair-control makes a form. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="html.xsl"/>

  <!-- Texts for the footer; by default those of the inspection, with the time in UTC. -->
  <xsl:param name="host" select="/inspection/@host"/>
  <xsl:param name="time" select="concat(substring(/inspection/@started, 1, 10), ' ',
      substring(/inspection/@started, 12, 5), ' UTC')"/>

  <!-- The times when the states of services began. They follow the inspection:
       "2026-11-21 07:05 +00:00  STATE ID", or "<STATE ID" if the state may have begun before. -->
  <xsl:key name="since" match="processing-instruction('state')"
      use="substring(., 26 + starts-with(substring(., 26), '&lt;'))"/>

  <!-- Whether there are so many rows that each shows its repair only if it is opened. -->
  <xsl:variable name="is-dense" select="count($down) &gt; 8 and not($has-forms)"/>
  <xsl:variable name="failed-repairs" select="$repairs[status != 'ok']"/>
  <xsl:variable name="untried" select="$defaults[not(@id = $failed-repairs/@id)]"/>

  <!-- The texts of the headline: elements with a text and a language. -->
  <xsl:variable name="counted"
      select="$summary/sentence[@code = 'down' or @code = 'unknown' or @code = 'all_up']"/>
  <xsl:variable name="upgrade" select="$problems[@id = 'upgrade']/message"/>
  <xsl:variable name="lost" select="$untold[@id = 'action_log']/reason"/>
  <xsl:variable name="headline" select="$upgrade | $counted[not($upgrade)]
      | $lost[not($upgrade | $counted)]
      | $summary/sentence[not($upgrade | $counted | $lost)][1]"/>

  <!-- The look of the whole page: down, unknown, upgrade or up. -->
  <xsl:variable name="tone">
    <xsl:choose>
      <xsl:when test="$failed-repairs or /inspection/@verdict = 'problems'">down</xsl:when>
      <xsl:when test="/inspection/@verdict = 'upgrade'">upgrade</xsl:when>
      <xsl:when test="/inspection/@verdict = 'well'">up</xsl:when>
      <xsl:otherwise>unknown</xsl:otherwise>
    </xsl:choose>
  </xsl:variable>

  <xsl:template name="headline">
    <xsl:choose>
      <xsl:when test="count($failed-repairs) = 1">
        <span>
          <xsl:value-of select="concat($words[@id = 'error'], ': ')"/>
          <xsl:for-each select="$failed-repairs">
            <span><xsl:call-template name="text"/></span>
          </xsl:for-each>
        </span>
        <xsl:text> </xsl:text>
      </xsl:when>
      <xsl:when test="$failed-repairs">
        <span>
          <xsl:value-of select="$words[@id = 'failed-repairs']"/>
          <xsl:value-of select="concat(': ', count($failed-repairs), '.')"/>
        </span>
        <xsl:text> </xsl:text>
      </xsl:when>
    </xsl:choose>
    <xsl:call-template name="sentences">
      <xsl:with-param name="sentences" select="$headline"/>
    </xsl:call-template>
    <xsl:if test="not($headline)">
      <xsl:value-of select="$words[@id = 'unknown']"/>
    </xsl:if>
  </xsl:template>

  <xsl:template name="content">
    <xsl:call-template name="symbols"/>
    <xsl:call-template name="top"/>
    <xsl:call-template name="repairs"/>
    <xsl:call-template name="down"/>
    <xsl:call-template name="unknown"/>
    <xsl:call-template name="names">
      <xsl:with-param name="state" select="'unchecked'"/>
      <xsl:with-param name="word" select="'not-checked'"/>
      <xsl:with-param name="members" select="$unchecked"/>
    </xsl:call-template>
    <xsl:call-template name="names">
      <xsl:with-param name="state" select="'stopped'"/>
      <xsl:with-param name="word" select="'stopped'"/>
      <xsl:with-param name="members" select="$stopped"/>
    </xsl:call-template>
    <xsl:call-template name="up"/>
  </xsl:template>

  <!-- The answer: the headline, and what else the summary says. -->
  <xsl:template name="top">
    <div class="top {$tone}">
      <xsl:call-template name="sign"><xsl:with-param name="id" select="$tone"/></xsl:call-template>
      <div>
        <xsl:element name="{$h1}"><xsl:call-template name="headline"/></xsl:element>
        <p class="quiet">
          <xsl:call-template name="sentences">
            <xsl:with-param name="sentences"
                select="$summary/sentence[count(. | $headline) != count($headline)]"/>
          </xsl:call-template>
        </p>
        <xsl:call-template name="strip"/>
        <xsl:apply-templates select="$untold" mode="note"/>
      </div>
    </div>
  </xsl:template>

  <!-- One segment for each service, the worst state first. -->
  <xsl:template name="strip">
    <div class="strip" aria-hidden="true">
      <xsl:for-each select="$down"><i class="down"/></xsl:for-each>
      <xsl:for-each select="$unknown"><i class="unknown"/></xsl:for-each>
      <xsl:for-each select="$unchecked"><i class="unchecked"/></xsl:for-each>
      <xsl:for-each select="$stopped"><i class="stopped"/></xsl:for-each>
      <xsl:for-each select="$up"><i class="up"/></xsl:for-each>
    </div>
  </xsl:template>

  <!-- Something that the inspection depends on and could not use. The headline may say why. -->
  <xsl:template match="dependency" mode="note">
    <xsl:variable name="is-headline" select="count(reason | $headline) = count($headline)"/>
    <xsl:if test="not($is-headline) or string(detail)">
      <p class="note">
        <xsl:if test="not($is-headline)">
          <xsl:call-template name="sentences">
            <xsl:with-param name="sentences" select="reason"/>
          </xsl:call-template>
          <xsl:text> </xsl:text>
        </xsl:if>
        <xsl:if test="string(detail)">
          <bdi><xsl:value-of select="detail"/></bdi>
        </xsl:if>
      </p>
    </xsl:if>
  </xsl:template>

  <!-- The repairs that were carried out. Failed repairs come first. -->
  <xsl:template name="repairs">
    <xsl:if test="$repairs">
      <section aria-labelledby="keldoctl-repairs">
        <xsl:call-template name="heading">
          <xsl:with-param name="id" select="'repairs'"/>
          <xsl:with-param name="word" select="'repairs'"/>
        </xsl:call-template>
        <ul class="rows" role="list">
          <xsl:apply-templates select="$failed-repairs" mode="repair"/>
          <xsl:apply-templates select="$repairs[status = 'ok']" mode="repair"/>
        </ul>
      </section>
    </xsl:if>
  </xsl:template>

  <xsl:template match="action" mode="repair">
    <xsl:variable name="tail"><xsl:apply-templates select="log" mode="end"/></xsl:variable>
    <xsl:variable name="state">
      <xsl:choose>
        <xsl:when test="status = 'ok'">up</xsl:when>
        <xsl:otherwise>down</xsl:otherwise>
      </xsl:choose>
    </xsl:variable>
    <li class="row {$state}">
      <xsl:choose>
        <xsl:when test="$state = 'down'">
          <div class="head">
            <xsl:call-template name="outcome">
              <xsl:with-param name="state" select="$state"/>
            </xsl:call-template>
          </div>
          <div class="more">
            <xsl:call-template name="log">
              <xsl:with-param name="label" select="$words[@id = 'last-lines']"/>
              <xsl:with-param name="text" select="string($tail)"/>
            </xsl:call-template>
            <xsl:if test="string-length(log) &gt; string-length($tail) + 1">
              <details>
                <summary><xsl:value-of select="$words[@id = 'whole-output']"/></summary>
                <xsl:call-template name="log">
                  <xsl:with-param name="label" select="$words[@id = 'whole-output']"/>
                  <xsl:with-param name="text" select="log"/>
                </xsl:call-template>
              </details>
            </xsl:if>
          </div>
        </xsl:when>
        <xsl:when test="string(log)">
          <details>
            <summary class="head">
              <xsl:call-template name="outcome">
                <xsl:with-param name="state" select="$state"/>
              </xsl:call-template>
            </summary>
            <div class="more">
              <xsl:call-template name="log">
                <xsl:with-param name="label" select="$words[@id = 'output']"/>
                <xsl:with-param name="text" select="log"/>
              </xsl:call-template>
            </div>
          </details>
        </xsl:when>
        <xsl:otherwise>
          <div class="head">
            <xsl:call-template name="outcome">
              <xsl:with-param name="state" select="$state"/>
            </xsl:call-template>
          </div>
        </xsl:otherwise>
      </xsl:choose>
    </li>
  </xsl:template>

  <xsl:template name="outcome">
    <xsl:param name="state"/>
    <xsl:call-template name="sign"><xsl:with-param name="id" select="$state"/></xsl:call-template>
    <span class="what">
      <xsl:element name="{$h3}"><xsl:call-template name="text"/></xsl:element>
      <xsl:text> </xsl:text>
      <span class="state"><xsl:value-of select="$words[@id = string(current()/status)]"/></span>
      <xsl:if test="not(string(log))">
        <xsl:text> </xsl:text>
        <span class="quiet"><xsl:value-of select="$words[@id = 'silent']"/></span>
      </xsl:if>
    </span>
  </xsl:template>

  <!-- The output of a repair. Browsers drop a line feed at the start of a pre element. -->
  <xsl:template name="log">
    <xsl:param name="label"/>
    <xsl:param name="text"/>
    <xsl:if test="string($text)">
      <pre tabindex="0" role="region" dir="auto">
        <xsl:attribute name="aria-label">
          <xsl:value-of select="concat($label, ': ')"/>
          <xsl:apply-templates select="." mode="text"/>
        </xsl:attribute>
        <xsl:value-of select="concat('&#10;', $text)"/>
      </pre>
    </xsl:if>
  </xsl:template>

  <!-- Writes the last five lines of an output without the last line feed, or fewer if they are
       long. -->
  <xsl:template match="log" mode="end">
    <xsl:variable name="length" select="string-length(.)"/>
    <xsl:variable name="whole"
        select="substring(., 1, $length - (substring(., $length) = '&#10;'))"/>
    <xsl:variable name="end" select="substring($whole, string-length($whole) - 799)"/>
    <xsl:variable name="is-cut"
        select="string-length($whole) &gt; 800 and contains($end, '&#10;')"/>
    <xsl:call-template name="last-lines">
      <xsl:with-param name="text">
        <xsl:choose>
          <xsl:when test="$is-cut">
            <xsl:value-of select="substring-after($end, '&#10;')"/>
          </xsl:when>
          <xsl:otherwise><xsl:value-of select="$end"/></xsl:otherwise>
        </xsl:choose>
      </xsl:with-param>
      <xsl:with-param name="count" select="5"/>
    </xsl:call-template>
  </xsl:template>

  <xsl:template name="down">
    <xsl:if test="$down">
      <section aria-labelledby="keldoctl-down">
        <div class="bar">
          <xsl:call-template name="heading">
            <xsl:with-param name="id" select="'down'"/>
            <xsl:with-param name="word" select="'down'"/>
          </xsl:call-template>
          <xsl:if test="count($untried) &gt; 1">
            <div class="repair">
              <xsl:call-template name="repair-control">
                <xsl:with-param name="label" select="$words[@id = 'repair-all']"/>
                <xsl:with-param name="button" select="$words[@id = 'do-repair-all']"/>
                <xsl:with-param name="actions" select="$untried"/>
                <xsl:with-param name="is-all" select="count($untried) = count($defaults)"/>
              </xsl:call-template>
            </div>
          </xsl:if>
        </div>
        <ul class="rows" role="list">
          <xsl:apply-templates select="$down" mode="row">
            <xsl:sort data-type="number" order="descending"
                select="(key('problem', @id)/severity = 'critical') * 3
                    + (key('problem', @id)/severity = 'major') * 2
                    + (key('problem', @id)/severity = 'minor')"/>
          </xsl:apply-templates>
        </ul>
      </section>
    </xsl:if>
  </xsl:template>

  <!-- A service that is down. -->
  <xsl:template match="service" mode="row">
    <xsl:variable name="actions" select="key('problem', @id)/solutions/action"/>
    <li class="row down">
      <details>
        <summary class="head">
          <xsl:call-template name="sign">
            <xsl:with-param name="id" select="'down'"/>
          </xsl:call-template>
          <span class="what">
            <span class="title">
              <xsl:call-template name="title"/>
              <xsl:call-template name="severity"/>
            </span>
            <xsl:text> </xsl:text>
            <xsl:call-template name="reason"/>
          </span>
        </summary>
        <div class="more">
          <xsl:if test="$is-dense"><xsl:apply-templates select="$actions" mode="proposal"/></xsl:if>
          <xsl:call-template name="evidence"/>
        </div>
      </details>
      <xsl:if test="not($is-dense) and $actions">
        <div class="repair"><xsl:apply-templates select="$actions" mode="proposal"/></div>
      </xsl:if>
    </li>
  </xsl:template>

  <xsl:template name="title">
    <xsl:element name="{$h3}">
      <xsl:attribute name="id"><xsl:call-template name="title-id"/></xsl:attribute>
      <xsl:call-template name="title-text"/>
    </xsl:element>
  </xsl:template>

  <xsl:template name="title-id">
    <xsl:value-of select="concat('keldoctl-service-', count(preceding-sibling::service) + 1)"/>
  </xsl:template>

  <xsl:template name="reason">
    <span class="reason">
      <xsl:for-each select="reason"><xsl:call-template name="language"/></xsl:for-each>
      <xsl:value-of select="reason"/>
      <xsl:for-each select="key('since', concat(@state, ' ', @id))[1]">
        <xsl:text> </xsl:text>
        <bdi class="since">
          <xsl:value-of select="concat($words[@id = 'since'], ' ')"/>
          <xsl:if test="substring(., 26, 1) = '&lt;'">≤ </xsl:if>
          <xsl:value-of select="substring(., 1, 23)"/>
        </bdi>
      </xsl:for-each>
    </span>
  </xsl:template>

  <!-- The severity, if the problems differ in it. -->
  <xsl:template name="severity">
    <xsl:if test="$problems/severity != ($problems/severity)[1]">
      <xsl:variable name="severity"><xsl:apply-templates select="." mode="severity"/></xsl:variable>
      <xsl:text> </xsl:text>
      <span class="state"><xsl:value-of select="$words[@id = string($severity)]"/></span>
    </xsl:if>
  </xsl:template>

  <!-- A repair that is proposed. -->
  <xsl:template match="action" mode="proposal">
    <xsl:variable name="has-failed" select="@id = $failed-repairs/@id"/>
    <xsl:call-template name="repair-control">
      <xsl:with-param name="label" select="$words[@id = 'just-failed'][$has-failed]
          | $words[@id = 'repair'][not($has-failed)]"/>
      <xsl:with-param name="button" select="$words[@id = 'do-repair']"/>
      <xsl:with-param name="title"><xsl:apply-templates select="." mode="service"/></xsl:with-param>
      <xsl:with-param name="actions" select="."/>
      <xsl:with-param name="has-failed" select="$has-failed"/>
    </xsl:call-template>
  </xsl:template>

  <!-- The title of the service that an action repairs. -->
  <xsl:template match="action" mode="service">
    <xsl:variable name="id" select="substring-after(../../@id, ':')"/>
    <xsl:apply-templates select="$services[@id = $id][1]" mode="text"/>
  </xsl:template>

  <xsl:template name="labelled-command">
    <xsl:param name="label"/>
    <xsl:param name="actions"/>
    <xsl:param name="is-all"/>
    <xsl:param name="has-failed"/>
    <p>
      <xsl:attribute name="class">
        <xsl:text>label</xsl:text>
        <xsl:if test="$has-failed"> warning</xsl:if>
      </xsl:attribute>
      <xsl:value-of select="$label"/>
    </p>
    <xsl:call-template name="command">
      <xsl:with-param name="actions" select="$actions"/>
      <xsl:with-param name="is-all" select="$is-all"/>
    </xsl:call-template>
  </xsl:template>

  <!-- The details of a service: its tests and the message of the monitor. -->
  <xsl:template name="evidence">
    <xsl:if test="tests/*">
      <ul class="tests" role="list">
        <xsl:apply-templates select="tests/*"/>
      </ul>
    </xsl:if>
    <xsl:if test="string(detail)">
      <p class="label"><xsl:value-of select="$words[@id = 'message']"/></p>
      <pre dir="auto"><xsl:value-of select="concat('&#10;', detail)"/></pre>
    </xsl:if>
    <p class="label">
      <code dir="ltr" translate="no"><xsl:value-of select="@id"/></code>
      <xsl:if test="@state = 'up' or @state = 'down'">
        <xsl:value-of select="concat(' – ', @seconds, ' s')"/>
      </xsl:if>
    </p>
  </xsl:template>

  <xsl:template match="tests/*">
    <xsl:variable name="outcome" select="@state"/>
    <li class="{$outcome}">
      <xsl:value-of select="concat($words[@id = local-name(current())], ' ')"/>
      <xsl:if test="@path | @number">
        <code dir="ltr" translate="no">
          <xsl:value-of select="concat(@path, @number)"/>
          <xsl:if test="@number"><xsl:value-of select="concat(' ', @type)"/></xsl:if>
          <xsl:if test="@protocol"><xsl:value-of select="concat(' ', @protocol)"/></xsl:if>
        </code>
      </xsl:if>
      <xsl:text> – </xsl:text>
      <span class="outcome">
        <xsl:choose>
          <xsl:when test="$outcome = 'ok'">
            <xsl:value-of select="$words[@id = 'passed']"/>
          </xsl:when>
          <xsl:when test="$outcome = 'failed'">
            <xsl:value-of select="$words[@id = 'failed']"/>
          </xsl:when>
          <xsl:otherwise>
            <xsl:value-of select="$words[@id = 'untested']"/>
          </xsl:otherwise>
        </xsl:choose>
      </span>
    </li>
  </xsl:template>

  <!-- Services that are not known. Those with the same reason share a row. -->
  <xsl:template name="unknown">
    <xsl:if test="$unknown">
      <section aria-labelledby="keldoctl-unknown">
        <xsl:call-template name="heading">
          <xsl:with-param name="id" select="'unknown'"/>
          <xsl:with-param name="word" select="'unknown'"/>
        </xsl:call-template>
        <ul class="rows" role="list">
          <xsl:for-each select="$unknown[generate-id() = generate-id(key('unknown', reason)[1])]">
            <xsl:variable name="members" select="key('unknown', reason)"/>
            <li class="row unknown">
              <details>
                <summary class="head">
                  <xsl:call-template name="sign">
                    <xsl:with-param name="id" select="'unknown'"/>
                  </xsl:call-template>
                  <span class="what">
                    <xsl:choose>
                      <xsl:when test="count($members) = 1">
                        <span class="title"><xsl:call-template name="title"/></span>
                        <xsl:text> </xsl:text>
                        <xsl:call-template name="reason"/>
                      </xsl:when>
                      <xsl:otherwise>
                        <xsl:element name="{$h3}">
                          <xsl:for-each select="reason">
                            <xsl:call-template name="language"/>
                          </xsl:for-each>
                          <xsl:value-of select="reason"/>
                        </xsl:element>
                      </xsl:otherwise>
                    </xsl:choose>
                  </span>
                </summary>
                <div class="more">
                  <xsl:for-each select="$members">
                    <xsl:call-template name="evidence"/>
                  </xsl:for-each>
                </div>
              </details>
              <xsl:variable name="definition">
                <xsl:call-template name="wrong-definition"/>
              </xsl:variable>
              <xsl:if test="string($definition)">
                <div class="advice">
                  <xsl:call-template name="command">
                    <xsl:with-param name="start" select="'keldo-service-lint'"/>
                    <xsl:with-param name="word" select="string($definition)"/>
                  </xsl:call-template>
                </div>
              </xsl:if>
              <xsl:if test="count($members) &gt; 1">
                <xsl:call-template name="name-list">
                  <xsl:with-param name="members" select="$members"/>
                </xsl:call-template>
              </xsl:if>
            </li>
          </xsl:for-each>
        </ul>
      </section>
    </xsl:if>
  </xsl:template>

  <!-- Services that show nothing but their state. -->
  <xsl:template name="names">
    <xsl:param name="state"/>
    <xsl:param name="word"/>
    <xsl:param name="members"/>
    <xsl:if test="$members">
      <section aria-labelledby="keldoctl-{$state}" class="{$state}">
        <xsl:call-template name="heading">
          <xsl:with-param name="id" select="$state"/>
          <xsl:with-param name="word" select="$word"/>
        </xsl:call-template>
        <xsl:if test="$state = 'unchecked'">
          <p>
            <xsl:call-template name="sentences">
              <xsl:with-param name="sentences" select="$members[1]/reason"/>
            </xsl:call-template>
          </p>
        </xsl:if>
        <xsl:call-template name="name-list">
          <xsl:with-param name="members" select="$members"/>
        </xsl:call-template>
      </section>
    </xsl:if>
  </xsl:template>

  <xsl:template name="name-list">
    <xsl:param name="members"/>
    <ul class="names" role="list">
      <xsl:for-each select="$members">
        <li class="name"><xsl:call-template name="name"/></li>
      </xsl:for-each>
    </ul>
  </xsl:template>

  <!-- The sign and the title of a service. -->
  <xsl:template name="name">
    <xsl:call-template name="sign"><xsl:with-param name="id" select="@state"/></xsl:call-template>
    <span><xsl:call-template name="title-text"/></span>
  </xsl:template>

  <xsl:template name="up">
    <xsl:if test="$up">
      <section aria-labelledby="keldoctl-up" class="up">
        <xsl:call-template name="heading">
          <xsl:with-param name="id" select="'up'"/>
          <xsl:with-param name="word" select="'up'"/>
        </xsl:call-template>
        <ul class="names" role="list">
          <xsl:for-each select="$up">
            <li>
              <details>
                <summary class="name"><xsl:call-template name="name"/></summary>
                <div class="more">
                  <p><xsl:call-template name="reason"/></p>
                  <xsl:call-template name="evidence"/>
                </div>
              </details>
            </li>
          </xsl:for-each>
        </ul>
      </section>
    </xsl:if>
  </xsl:template>

  <xsl:template name="bottom">
    <bdi><xsl:value-of select="$host"/></bdi>
    <bdi><xsl:value-of select="$time"/></bdi>
    <bdi><xsl:value-of select="concat(@seconds, ' s')"/></bdi>
    <bdi><xsl:value-of select="concat('keldoctl ', @program)"/></bdi>
  </xsl:template>

  <!-- The text of an action, with its language and direction. -->
  <xsl:template name="text">
    <xsl:for-each select="message[string()]"><xsl:call-template name="language"/></xsl:for-each>
    <xsl:apply-templates select="." mode="text"/>
  </xsl:template>

</xsl:stylesheet>
