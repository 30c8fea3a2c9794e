<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- A fleet document as one page that needs no other file, network or font. It links to the page of
     each host in the directory "hosts". Its script adds the buttons that copy a command, the filter
     and the sorting; the page says the same without it.

     Parameters: language (parts/words.xsl), command and time (parts/fleet.xsl). -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/fleet.xsl"/>
  <xsl:include href="parts/words.xsl"/>
  <xsl:include href="parts/html.xsl"/>
  <xsl:include href="parts/frame.xsl"/>

  <!-- A group of at most this number of hosts is unfolded. -->
  <xsl:variable name="few" select="5"/>

  <!-- The states in the order in which the page shows them. -->
  <xsl:variable name="order" select="'problems unknown failed unreachable unasked upgrade well'"/>
  <!-- One host in each state. -->
  <xsl:variable name="states" select="$with-problems[1] | $unknown[1] | $failed[1] | $unreachable[1]
      | $unasked[1] | $upgrading[1] | $well[1]"/>

  <xsl:template match="fleet">
    <xsl:variable name="headline"><xsl:call-template name="headline"/></xsl:variable>
    <xsl:call-template name="frame">
      <xsl:with-param name="title"
          select="concat(normalize-space($headline), ' – ', $words[@id = 'fleet-title'])"/>
      <xsl:with-param name="style"><xsl:call-template name="fleet-rules"/></xsl:with-param>
      <xsl:with-param name="style-hash"
          select="&quot; 'sha256-v6sxCKKNx1rA4O1c+PsrSKJPI9M+wFMetMUJM/ZvZ/o='&quot;"/>
      <xsl:with-param name="script"><xsl:call-template name="fleet-script"/></xsl:with-param>
      <xsl:with-param name="script-hash"
          select="&quot; 'sha256-8DQI/Cib6t33JRW4NU5SOlODh/PpcCh1fcWZus8+uXI='&quot;"/>
    </xsl:call-template>
  </xsl:template>

  <xsl:template name="content">
    <xsl:call-template name="symbols"/>
    <xsl:call-template name="further-symbols"/>
    <xsl:call-template name="top"/>
    <xsl:call-template name="outcomes"/>
    <xsl:call-template name="problems"/>
    <xsl:call-template name="repair"/>
    <xsl:call-template name="unclear"/>
    <xsl:call-template name="table"/>
    <xsl:call-template name="well"/>
  </xsl:template>

  <!-- The answer: the headline and the number of hosts in each state. -->
  <xsl:template name="top">
    <div class="top {$tone}">
      <xsl:call-template name="sign"><xsl:with-param name="id" select="$tone"/></xsl:call-template>
      <div>
        <h1><xsl:call-template name="headline"/></h1>
        <p class="quiet">
          <bdi>
            <xsl:value-of select="concat($words[@id = 'fleet-hosts'], ': ', count($hosts), '. ',
                $words[@id = 'fleet-services'], ': ', sum($hosts/@services), '.')"/>
          </bdi>
        </p>
        <xsl:if test="$hosts"><xsl:call-template name="strip"/></xsl:if>
        <!-- If all are well, the headline says it. -->
        <xsl:if test="$hosts and $tone != 'up'">
          <ul class="counts" role="list">
            <xsl:apply-templates select="$states" mode="count">
              <xsl:sort data-type="number" select="string-length(substring-before($order, @state))"/>
            </xsl:apply-templates>
          </ul>
        </xsl:if>
      </div>
    </div>
  </xsl:template>

  <!-- The number of hosts in the state of the current host. -->
  <xsl:template match="host" mode="count">
    <xsl:variable name="look"><xsl:apply-templates select="." mode="look"/></xsl:variable>
    <li class="{$look}">
      <xsl:call-template name="sign"><xsl:with-param name="id" select="$look"/></xsl:call-template>
      <xsl:variable name="number">
        <xsl:apply-templates select="." mode="number"/>
      </xsl:variable>
      <b><xsl:value-of select="$number"/></b>
      <xsl:text> </xsl:text>
      <xsl:call-template name="state"/>
    </li>
  </xsl:template>

  <xsl:template match="host" mode="number">
    <xsl:variable name="is-known" select="count(. | $unknown) != count($unknown)"/>
    <xsl:value-of select="count($unknown[not($is-known)]
        | $hosts[$is-known][@state = current()/@state])"/>
  </xsl:template>

  <!-- One bar with a part for each state. Each part has an edge of fixed width, so that one host of a
       thousand shows; the worst state is drawn last. -->
  <xsl:template name="strip">
    <svg class="bar-chart" aria-hidden="true" viewBox="0 0 {count($hosts)} 1"
        preserveAspectRatio="none">
      <xsl:apply-templates select="$well[1]" mode="bar">
        <xsl:with-param name="before" select="$with-problems | $unclear | $upgrading"/>
      </xsl:apply-templates>
      <xsl:apply-templates select="$upgrading[1]" mode="bar">
        <xsl:with-param name="before" select="$with-problems | $unclear"/>
      </xsl:apply-templates>
      <xsl:apply-templates select="$unasked[1]" mode="bar">
        <xsl:with-param name="before"
            select="$with-problems | $unknown | $failed | $unreachable"/>
      </xsl:apply-templates>
      <xsl:apply-templates select="$unreachable[1]" mode="bar">
        <xsl:with-param name="before" select="$with-problems | $unknown | $failed"/>
      </xsl:apply-templates>
      <xsl:apply-templates select="$failed[1]" mode="bar">
        <xsl:with-param name="before" select="$with-problems | $unknown"/>
      </xsl:apply-templates>
      <xsl:apply-templates select="$unknown[1]" mode="bar">
        <xsl:with-param name="before" select="$with-problems"/>
      </xsl:apply-templates>
      <xsl:apply-templates select="$with-problems[1]" mode="bar"/>
    </svg>
  </xsl:template>

  <!-- The part for the state of the current host, after the hosts $before. -->
  <xsl:template match="host" mode="bar">
    <xsl:param name="before" select="/.."/>
    <rect x="{count($before)}" height="1">
      <xsl:attribute name="class"><xsl:apply-templates select="." mode="look"/></xsl:attribute>
      <xsl:attribute name="width"><xsl:apply-templates select="." mode="number"/></xsl:attribute>
    </rect>
  </xsl:template>

  <!-- The repairs that were carried out, those that failed first. -->
  <xsl:template name="outcomes">
    <xsl:if test="$outcomes">
      <section aria-labelledby="keldoctl-repairs">
        <xsl:call-template name="heading">
          <xsl:with-param name="id" select="'repairs'"/>
          <xsl:with-param name="word" select="'fleet-repairs'"/>
        </xsl:call-template>
        <ul class="rows" role="list">
          <xsl:apply-templates select="$outcomes" mode="group">
            <xsl:sort data-type="number"
                select="(@state != 'failed') + (@state = 'ok')"/>
          </xsl:apply-templates>
        </ul>
      </section>
    </xsl:if>
  </xsl:template>

  <xsl:template match="outcome" mode="group">
    <xsl:call-template name="group">
      <xsl:with-param name="look">
        <xsl:choose>
          <xsl:when test="@state = 'ok'">up</xsl:when>
          <xsl:when test="@state = 'failed'">down</xsl:when>
          <xsl:otherwise>unchecked</xsl:otherwise>
        </xsl:choose>
      </xsl:with-param>
      <xsl:with-param name="title"><xsl:apply-templates select="." mode="text"/></xsl:with-param>
      <xsl:with-param name="reason"><code dir="ltr"><xsl:value-of select="@id"/></code></xsl:with-param>
      <xsl:with-param name="members" select="key('outcome', concat(@state, ' ', @id))/.."/>
    </xsl:call-template>
  </xsl:template>

  <xsl:template name="problems">
    <xsl:if test="$down-groups or $with-problems">
      <section aria-labelledby="keldoctl-problems">
        <xsl:call-template name="heading">
          <xsl:with-param name="id" select="'problems'"/>
          <xsl:with-param name="word" select="'fleet-problems'"/>
        </xsl:call-template>
        <ul class="rows" role="list">
          <xsl:apply-templates select="$down-groups" mode="group">
            <xsl:sort data-type="number" order="descending"
                select="count(key('down', concat(reason/@code, ' ', @id)))"/>
          </xsl:apply-templates>
          <xsl:call-template name="unexplained">
            <xsl:with-param name="members"
                select="$unexplained[@state = 'problems']"/>
          </xsl:call-template>
        </ul>
      </section>
    </xsl:if>
  </xsl:template>

  <!-- The services and the hosts whose state is not known. -->
  <xsl:template name="unclear">
    <xsl:if test="$unknown-groups or $unclear">
      <section aria-labelledby="keldoctl-unclear">
        <xsl:call-template name="heading">
          <xsl:with-param name="id" select="'unclear'"/>
          <xsl:with-param name="word" select="'unknown'"/>
        </xsl:call-template>
        <ul class="rows" role="list">
          <xsl:apply-templates select="$unknown-groups" mode="group">
            <xsl:sort data-type="number" order="descending"
                select="count(key('unknown', reason/@code)/..)"/>
          </xsl:apply-templates>
          <xsl:call-template name="unexplained">
            <xsl:with-param name="members" select="$unexplained[@state != 'problems']"/>
          </xsl:call-template>
          <xsl:apply-templates select="$reason-groups" mode="group">
            <xsl:sort select="@state"/>
            <xsl:sort data-type="number" order="descending"
                select="count(key('reason', concat(@state, ' ', reason/@code)))"/>
          </xsl:apply-templates>
        </ul>
      </section>
    </xsl:if>
  </xsl:template>

  <!-- A row for $members, hosts with something in common. -->
  <xsl:template name="group">
    <xsl:param name="look"/>
    <xsl:param name="title"/>
    <xsl:param name="reason"/>
    <xsl:param name="members"/>
    <li class="row {$look}">
      <xsl:choose>
        <xsl:when test="count($members) = 1">
          <div class="head">
            <xsl:call-template name="group-head">
              <xsl:with-param name="look" select="$look"/>
              <xsl:with-param name="title" select="$title"/>
              <xsl:with-param name="reason" select="$reason"/>
            </xsl:call-template>
            <span class="number"><xsl:apply-templates select="$members" mode="name"/></span>
          </div>
        </xsl:when>
        <xsl:otherwise>
          <details>
            <xsl:if test="count($members) &lt;= $few"><xsl:attribute name="open"/></xsl:if>
            <summary class="head">
              <xsl:call-template name="group-head">
                <xsl:with-param name="look" select="$look"/>
                <xsl:with-param name="title" select="$title"/>
                <xsl:with-param name="reason" select="$reason"/>
              </xsl:call-template>
              <xsl:call-template name="host-count">
                <xsl:with-param name="members" select="$members"/>
              </xsl:call-template>
            </summary>
            <div class="more">
              <xsl:call-template name="host-list">
                <xsl:with-param name="members" select="$members"/>
              </xsl:call-template>
            </div>
          </details>
        </xsl:otherwise>
      </xsl:choose>
    </li>
  </xsl:template>

  <xsl:template name="group-head">
    <xsl:param name="look"/>
    <xsl:param name="title"/>
    <xsl:param name="reason"/>
    <xsl:call-template name="sign"><xsl:with-param name="id" select="$look"/></xsl:call-template>
    <span class="what">
      <span class="title"><h3 dir="auto"><xsl:copy-of select="$title"/></h3></span>
      <xsl:text> </xsl:text>
      <span class="reason" dir="auto">
        <xsl:if test="self::service"><xsl:call-template name="language"/></xsl:if>
        <xsl:copy-of select="$reason"/>
      </span>
    </span>
    <xsl:text> </xsl:text>
  </xsl:template>

  <xsl:template name="host-count">
    <xsl:param name="members"/>
    <span class="number">
      <xsl:value-of select="concat($words[@id = 'fleet-hosts'], ': ', count($members))"/>
    </span>
  </xsl:template>

  <xsl:template name="host-list">
    <xsl:param name="members"/>
    <div class="names">
      <xsl:apply-templates select="$members" mode="name"/>
    </div>
  </xsl:template>

  <!-- The name of a host, which opens its page if there is one. -->
  <xsl:template match="host" mode="name">
    <xsl:choose>
      <xsl:when test="string(@file) and not(starts-with(@file, '.'))
          and not(translate(@file, concat($plain-characters, '='), ''))">
        <a href="hosts/{@file}.html"><xsl:value-of select="@name"/></a>
      </xsl:when>
      <xsl:otherwise><bdi><xsl:value-of select="@name"/></bdi></xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- The command that repairs the hosts with a proposed repair. -->
  <xsl:template name="repair">
    <xsl:if test="$repairable">
      <section aria-labelledby="keldoctl-repair">
        <xsl:call-template name="heading">
          <xsl:with-param name="id" select="'repair'"/>
          <xsl:with-param name="word" select="'repair-all'"/>
        </xsl:call-template>
        <xsl:if test="$nameable">
          <xsl:call-template name="command">
            <xsl:with-param name="start" select="concat($command, ' --limit')"/>
            <xsl:with-param name="word">
              <xsl:for-each select="$nameable">
                <span>
                  <xsl:value-of select="@name"/>
                  <xsl:if test="position() != last()">,</xsl:if>
                </span>
              </xsl:for-each>
            </xsl:with-param>
            <xsl:with-param name="label"
                select="substring($command, 1, string-length($command) * (count($nameable) &gt; 20))"/>
          </xsl:call-template>
        </xsl:if>
        <xsl:if test="$unnameable">
          <p class="label"><xsl:value-of select="$words[@id = 'fleet-unnameable']"/></p>
          <xsl:call-template name="host-list">
            <xsl:with-param name="members" select="$unnameable"/>
          </xsl:call-template>
        </xsl:if>
      </section>
    </xsl:if>
  </xsl:template>

  <!-- The hosts that are not well, one in a row. The script shows the controls. -->
  <xsl:template name="table">
    <xsl:variable name="rows" select="$with-problems | $unclear | $upgrading"/>
    <xsl:if test="$rows">
      <section aria-labelledby="keldoctl-hosts">
        <xsl:call-template name="heading">
          <xsl:with-param name="id" select="'hosts'"/>
          <xsl:with-param name="word" select="'fleet-not-well'"/>
        </xsl:call-template>
        <xsl:if test="count($rows) &gt; 1">
          <div class="controls" hidden="">
            <label>
              <xsl:value-of select="$words[@id = 'fleet-filter']"/>
              <input type="search" autocomplete="off" spellcheck="false"/>
            </label>
            <label>
              <xsl:value-of select="$words[@id = 'fleet-state']"/>
              <select>
                <option value=""><xsl:value-of select="$words[@id = 'fleet-all-states']"/></option>
                <xsl:apply-templates select="$states[@state != 'well']" mode="option">
                  <xsl:sort data-type="number" select="string-length(substring-before($order, @state))"/>
                </xsl:apply-templates>
              </select>
            </label>
            <p role="status">
              <xsl:value-of select="concat($words[@id = 'fleet-hosts'], ': ')"/>
              <span><xsl:value-of select="count($rows)"/></span>
            </p>
          </div>
        </xsl:if>
        <table aria-labelledby="keldoctl-hosts">
          <thead>
            <tr>
              <th scope="col"><xsl:value-of select="$words[@id = 'fleet-host']"/></th>
              <th scope="col"><xsl:value-of select="$words[@id = 'fleet-state']"/></th>
              <th scope="col"><xsl:value-of select="$words[@id = 'fleet-reason']"/></th>
            </tr>
          </thead>
          <tbody>
            <xsl:apply-templates select="$rows" mode="row">
              <xsl:sort data-type="number" select="string-length(substring-before($order, @state))"/>
            </xsl:apply-templates>
          </tbody>
        </table>
      </section>
    </xsl:if>
  </xsl:template>

  <xsl:template match="host" mode="option">
    <option>
      <xsl:attribute name="value"><xsl:apply-templates select="." mode="look"/></xsl:attribute>
      <xsl:call-template name="state"/>
    </option>
  </xsl:template>

  <xsl:template match="host" mode="row">
    <xsl:variable name="look"><xsl:apply-templates select="." mode="look"/></xsl:variable>
    <tr class="{$look}">
      <th scope="row"><xsl:apply-templates select="." mode="name"/></th>
      <td>
        <xsl:call-template name="sign"><xsl:with-param name="id" select="$look"/></xsl:call-template>
        <xsl:call-template name="state"/>
      </td>
      <td>
        <xsl:if test="@xml:lang and not(starts-with(@xml:lang, substring($words-language, 1, 2)))">
          <xsl:attribute name="lang"><xsl:value-of select="@xml:lang"/></xsl:attribute>
        </xsl:if>
        <xsl:apply-templates select="service[not(reason = preceding-sibling::service/reason)]"
            mode="row"/>
        <xsl:if test="reason">
          <p>
            <!-- The text of a reason is in English, so a page in another language first gives the reason
                 in its own words. Only the state "failed" needs this: the other states already name the
                 reason. -->
            <xsl:if test="not(string(reason)) or @state = 'failed' and $words-language != 'en'">
              <b><xsl:apply-templates select="." mode="reason"/></b>
              <xsl:text> </xsl:text>
            </xsl:if>
            <bdi><xsl:value-of select="reason"/></bdi>
          </p>
        </xsl:if>
        <xsl:if test="@unchecked &gt; 0">
          <p><xsl:value-of select="concat($words[@id = 'not-checked'], ': ', @unchecked)"/></p>
        </xsl:if>
        <xsl:if test="count(. | $unexplained) = count($unexplained)">
          <p><xsl:value-of select="$words[@id = 'fleet-see-report']"/></p>
        </xsl:if>
        <xsl:for-each select="outcome[@state != 'ok']">
          <p>
            <b><xsl:apply-templates select="." mode="text"/></b>
            <xsl:text> </xsl:text>
            <code dir="ltr"><xsl:value-of select="@id"/></code>
          </p>
        </xsl:for-each>
      </td>
    </tr>
  </xsl:template>

  <!-- The services of a host that share a reason, and the reason. -->
  <xsl:template match="service" mode="row">
    <p>
      <b>
        <xsl:for-each select="../service[reason = current()/reason]">
          <xsl:if test="position() &gt; 1">, </xsl:if>
          <bdi><xsl:apply-templates select="." mode="text"/></bdi>
        </xsl:for-each>
      </b>
      <xsl:text> </xsl:text>
      <bdi><xsl:value-of select="reason"/></bdi>
    </p>
  </xsl:template>

  <!-- The well hosts, folded unless all hosts are well and there are not many. -->
  <xsl:template name="well">
    <xsl:if test="$well">
      <section class="up" aria-labelledby="keldoctl-well">
        <details>
          <xsl:if test="$tone = 'up' and count($well) &lt;= 10 * $few">
            <xsl:attribute name="open"/>
          </xsl:if>
          <summary class="head">
            <xsl:call-template name="sign"><xsl:with-param name="id" select="'up'"/></xsl:call-template>
            <span class="what">
              <xsl:call-template name="heading">
                <xsl:with-param name="id" select="'well'"/>
                <xsl:with-param name="word" select="'fleet-well'"/>
              </xsl:call-template>
            </span>
            <xsl:text> </xsl:text>
            <xsl:call-template name="host-count">
              <xsl:with-param name="members" select="$well"/>
            </xsl:call-template>
          </summary>
          <div class="more">
            <xsl:call-template name="host-list">
              <xsl:with-param name="members" select="$well"/>
            </xsl:call-template>
          </div>
        </details>
      </section>
    </xsl:if>
  </xsl:template>

  <xsl:template name="bottom">
    <bdi><xsl:value-of select="$time"/></bdi>
    <bdi><xsl:value-of select="concat(@seconds, ' s')"/></bdi>
    <bdi><xsl:value-of select="concat('keldoctl ', @program)"/></bdi>
    <bdi><xsl:value-of select="concat($words[@id = 'fleet-run'], ': ', @run)"/></bdi>
  </xsl:template>

  <!-- The signs that only this page has. -->
  <xsl:template name="further-symbols">
    <svg class="symbols" aria-hidden="true">
      <symbol id="keldoctl-sign-failed" viewBox="0 0 16 16" fill="none" stroke="currentColor">
        <path stroke-width="1.4" stroke-linejoin="round" d="M8 1.4 15.2 14.4H.8z"/>
        <path stroke-width="1.7" stroke-linecap="round" d="M8 6v3.6M8 12.1v.1"/>
      </symbol>
      <symbol id="keldoctl-sign-unreachable" viewBox="0 0 16 16" fill="none" stroke="currentColor">
        <circle cx="8" cy="8" r="7" stroke-width="1.6"/>
        <path stroke-width="1.6" d="M3.2 12.8 12.8 3.2"/>
      </symbol>
    </svg>
  </xsl:template>

  <xsl:template name="fleet-rules"><![CDATA[
.keldoctl {
  --failed: light-dark(#b84a00, #ffa46b); --failed-tint: light-dark(#fdeee3, #331d0e);
  --unreachable: light-dark(#6a3896, #d2b0f5); --unreachable-tint: light-dark(#f4ecfb, #271a36);
  .failed { --tone: var(--failed); --tint: var(--failed-tint); }
  .unreachable { --tone: var(--unreachable); --tint: var(--unreachable-tint); }

  a { color: var(--link); }
  .bar-chart { display: block; inline-size: 100%; block-size: 0.5em; margin-block-start: 0.875em; }
  &:dir(rtl) .bar-chart { transform: scaleX(-1); }
  .bar-chart rect {
    fill: var(--tone); stroke: var(--tone); stroke-width: 2px; vector-effect: non-scaling-stroke;
  }
  .counts { display: flex; flex-wrap: wrap; gap: 0.25em 1.5em; margin-block-start: 0.75em; }
  .counts li { display: flex; gap: 0.5em; align-items: center; }
  .number { margin-block: 0.125em; color: var(--quiet); font-size: 0.875em; white-space: nowrap; }
  .row.failed, .row.unreachable, .row.unchecked { border-inline-start-style: dashed; }
  .number:has(> a, > bdi) {
    max-inline-size: 40%; margin: 0; color: inherit; font-size: 1em; text-align: end;
    white-space: normal;
  }
  .more .names { padding: 0; }
  .names > bdi { text-align: -webkit-match-parent; text-align: match-parent; }
  #keldoctl-repair + .command code { max-block-size: 9.5em; overflow-y: auto; }

  .controls {
    display: flex; flex-wrap: wrap; gap: 0.5em 1.25em; align-items: center; margin-block-end: 0.75em;
  }
  .controls[hidden] { display: none; }
  .controls label { display: flex; gap: 0.5em; align-items: center; }
  input, select {
    min-block-size: 2.3em; min-inline-size: 0; padding: 0.125em 0.625em; border: 1px solid var(--edge);
    border-radius: 0.625em; background: var(--surface); color: var(--text); font: inherit;
  }
  table {
    inline-size: 100%; border: 1px solid var(--line); border-radius: 0.75em; border-spacing: 0;
    background: var(--surface); color: var(--text);
  }
  th, td { padding: 0.375em 0.875em; text-align: start; vertical-align: baseline; }
  tbody :is(th, td) { border-block-start: 1px solid var(--line); }
  th { inline-size: 25%; font-weight: 600; }
  tbody th { font-weight: 400; }
  th + th { inline-size: auto; }
  td .sign { margin-inline-end: 0.5em; vertical-align: -0.2em; }
  th + td { white-space: nowrap; }
  td p { font-size: 0.875em; }
  td b { font-weight: 600; }
  td p > bdi { color: var(--quiet); }
  thead button {
    min-block-size: 1.75em; padding: 0; border: 0; background: none; font-size: 1em; font-weight: 600;
  }
  thead button:hover { text-decoration: underline; }
  thead button::after { content: "↕" / ""; padding-inline-start: 0.375em; color: var(--quiet); }
  [aria-sort=ascending] button::after { content: "↑" / ""; }
  [aria-sort=descending] button::after { content: "↓" / ""; }

  section.up > details {
    padding: 0.5em 1em; border: 1px solid var(--line); border-radius: 0.75em;
    background: var(--surface); color: var(--text);
  }
  section.up h2 { display: inline; font-weight: 600; }

  @container (max-width: 44em) {
    table, thead, tbody, tr { display: block; }
    thead tr { display: flex; flex-wrap: wrap; gap: 0 1em; }
    tr > :is(th, td) {
      display: block; inline-size: auto; padding: 0 1em; border: 0; white-space: normal;
    }
    thead th { padding-inline-end: 0; }
    thead:not(:has(button)) { block-size: 0; overflow: hidden; }
    tbody tr { padding-block: 0.375em; border-block-start: 1px solid var(--line); }
    tbody th { font-weight: 600; }
    .controls label { flex: 1 1 14em; }
    input, select { flex: 1; }
  }
  @container (max-width: 30em) {
    .row .head { display: grid; grid-template-columns: auto minmax(0, 1fr) auto; gap: 0 0.75em; }
    .row .number { grid-area: 2 / 2; max-inline-size: none; text-align: start; }
  }
  @media print {
    .controls { display: none; }
    thead button { display: inline; }
    thead button::after { content: none; }
    tr { break-inside: avoid; }
    #keldoctl-repair + .command code { max-block-size: none; }
  }
}
]]></xsl:template>

  <!-- The filter keeps the rows that contain every word and have the chosen state. A column's button
       sorts the rows; pressed again, it reverses their order. -->
  <xsl:template name="fleet-script"><![CDATA[
"use strict";
{
  const controls = document.querySelector(".controls");
  const [text, state, number] = controls?.querySelectorAll("input, select, [role] span") ?? [];
  const states = [...state?.options ?? []].map(option => option.value);
  const body = document.querySelector("tbody");
  const rows = [...body?.rows ?? []].map(row => ({
    row, text: row.textContent.toLowerCase(),
    keys: [row.cells[0].textContent, String(states.indexOf(row.className)), row.cells[2].textContent],
  }));

  function filter() {
    const words = text.value.toLowerCase().split(/\s+/);
    for (const each of rows) {
      each.row.hidden = state.value && each.row.className !== state.value
          || !words.every(word => each.text.includes(word));
    }
    number.textContent = rows.filter(each => !each.row.hidden).length;
  }

  function sortBy(header) {
    const column = header.cellIndex;
    const isDescending = header.ariaSort === "ascending";
    for (const other of header.parentNode.cells) other.ariaSort = null;
    header.ariaSort = isDescending ? "descending" : "ascending";
    const {compare} = new Intl.Collator(document.documentElement.lang, {numeric: true});
    rows.sort((a, b) => compare(a.keys[column], b.keys[column]) * (isDescending ? -1 : 1));
    body.append(...rows.map(each => each.row));
  }

  function addSortButton(header) {
    const button = document.createElement("button");
    button.type = "button";
    button.append(...header.childNodes);
    button.addEventListener("click", () => sortBy(header));
    header.append(button);
  }

  if (controls) {
    controls.hidden = false;
    controls.addEventListener("input", filter);
    document.querySelectorAll("thead th").forEach(addSortButton);
  }
}
]]></xsl:template>

</xsl:stylesheet>
