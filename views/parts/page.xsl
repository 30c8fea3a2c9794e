<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The style, the symbols and the script of the page of a report. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <!-- The browser runs and loads nothing but the style and the script of this file, even if a text
       of the report became markup. A test prints the hash of a changed style or script. -->
  <xsl:template name="security-policy">
    <meta http-equiv="Content-Security-Policy" content="{concat(
        &quot;default-src 'none'; base-uri 'none'; form-action 'none'; &quot;,
        &quot;style-src 'sha256-BCvtYLxprhlA6FLKd1JDTaAFdAE4q2ia3ZNIAbcG0uQ='; &quot;,
        &quot;script-src 'sha256-BShb8Mj7NLQoU7DWbY8n2zqE9NE7sL8v628YPXTl1Jo='&quot;)}"/>
  </xsl:template>

  <!-- The direction of the page follows the report's language. -->
  <xsl:variable name="direction">
    <xsl:choose>
      <xsl:when test="contains(' ar dv fa he ku ps sd ug ur yi ', concat(' ', $wanted-family, ' '))">
        <xsl:text>rtl</xsl:text>
      </xsl:when>
      <xsl:otherwise>ltr</xsl:otherwise>
    </xsl:choose>
  </xsl:variable>

  <!-- Uses logical sides (start, end) only, so that the page turns with its direction. -->
  <xsl:template name="style">
    <style><![CDATA[
:root {
  color-scheme: light dark;
  --page: #f4f5f7; --card: #ffffff; --inset: #f4f5f7; --line: #d9dde3;
  --text: #1b222c; --quiet: #566070; --focus: #1a5fb4; --button: #ffffff; --button-line: #8590a0;
  --critical: #a3152a; --critical-tint: #fdeaec;
  --major: #8f4300; --major-tint: #fdf0e1;
  --minor: #2b5797; --minor-tint: #e9f0fa;
  --unrated: #4d5663; --unrated-tint: #eceef1;
  --ok: #1a6b3c; --ok-tint: #e5f4ea;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #14181d; --card: #1d232a; --inset: #14181d; --line: #343c46;
    --text: #e7ebf0; --quiet: #a4afbd; --focus: #8ab8f5; --button: #29313a; --button-line: #748091;
    --critical: #ffb0b6; --critical-tint: #481f25;
    --major: #ffbf80; --major-tint: #432b13;
    --minor: #a9cbff; --minor-tint: #1d3150;
    --unrated: #c3cad4; --unrated-tint: #313942;
    --ok: #8fdcab; --ok-tint: #173a26;
  }
}
.critical { --tone: var(--critical); --tint: var(--critical-tint); }
.major { --tone: var(--major); --tint: var(--major-tint); }
.minor { --tone: var(--minor); --tint: var(--minor-tint); }
.unrated { --tone: var(--unrated); --tint: var(--unrated-tint); }
.ok { --tone: var(--ok); --tint: var(--ok-tint); }
.error { --tone: var(--critical); --tint: var(--critical-tint); }

* { box-sizing: border-box; }
html { -webkit-text-size-adjust: 100%; text-size-adjust: 100%; }
body {
  margin: 0 auto; max-width: 48rem; padding: 1.5rem 1rem 3rem;
  background: var(--page); color: var(--text);
  font: 1rem/1.5 system-ui, sans-serif; overflow-wrap: anywhere;
}
h1, h2, h3, p, ul, pre { margin: 0; padding: 0; font-size: inherit; font-weight: inherit; }
ul { list-style: none; }
code, pre { font-family: ui-monospace, "DejaVu Sans Mono", monospace; font-size: 0.875rem; }
.symbol { inline-size: 1em; block-size: 1em; flex: none; fill: currentColor; }
.symbols { position: absolute; inline-size: 0; block-size: 0; }

header {
  display: flex; gap: 1rem; align-items: flex-start;
  padding: 1.25rem; border-radius: 0.75rem; background: var(--tint); color: var(--text);
}
header > .symbol {
  inline-size: 2.5rem; block-size: 2.5rem; margin-block-start: 0.25rem; color: var(--tone);
}
header > div { min-inline-size: 0; }
.about { display: flex; flex-wrap: wrap; column-gap: 1.25rem; font-size: 0.875rem; }
h1 { font-size: 1.625rem; line-height: 1.25; font-weight: 650; }
.note { margin-block-start: 0.25rem; }
.counts { display: flex; flex-wrap: wrap; gap: 0.5rem 1.25rem; margin-block-start: 0.5rem; }
.counts .badge { padding: 0; background: none; }
.number { font-weight: 650; }

section { margin-block-start: 1.75rem; }
h2 { margin-block-end: 0.75rem; font-size: 1.125rem; font-weight: 650; }
.cards { display: grid; gap: 0.75rem; }
.card, .all {
  min-inline-size: 0; padding: 1rem 1.25rem; background: var(--card);
  border: 1px solid var(--line); border-radius: 0.75rem;
}
.card { border-inline-start: 0.3125rem solid var(--tone); }
.all { margin-block-start: 0.75rem; }
.badge {
  display: inline-flex; align-items: center; gap: 0.4em; padding: 0.125rem 0.625rem;
  border-radius: 1rem; background: var(--tint); color: var(--tone);
  font-size: 0.875rem; font-weight: 600;
}
h3 { margin-block-start: 0.5rem; font-size: 1.0625rem; font-weight: 600; }
.id, .label, .silent { color: var(--quiet); font-size: 0.875rem; }
.id code { font-size: 0.8125rem; }
.proposal, .card details, .silent { margin-block-start: 0.875rem; }

.command {
  display: flex; flex-wrap: wrap; gap: 0.5rem; align-items: stretch; margin-block-start: 0.375rem;
}
.command code, pre {
  padding: 0.5rem 0.75rem; border: 1px solid var(--line); border-radius: 0.5rem;
  background: var(--inset); white-space: pre-wrap;
}
.command code { flex: 1 1 16rem; min-inline-size: 0; -webkit-user-select: all; user-select: all; }
.all .command { margin-block-start: 0.75rem; }
button {
  min-block-size: 2.5rem; padding: 0.25rem 1rem; border: 1px solid var(--button-line);
  border-radius: 0.5rem; background: var(--button); color: var(--text); font: inherit;
  font-size: 0.875rem; white-space: nowrap; cursor: pointer;
}
button:hover { border-color: var(--text); }
summary { padding-block: 0.25rem; font-size: 0.875rem; font-weight: 600; cursor: pointer; }
pre { margin-block-start: 0.25rem; max-block-size: 24rem; overflow-y: auto; line-height: 1.45; }
:focus-visible { outline: 3px solid var(--focus); outline-offset: 2px; }
.spoken {
  position: absolute; margin: 0; inline-size: 1px; block-size: 1px; overflow: hidden;
  clip-path: inset(50%);
}

@media (max-width: 30rem) {
  body { padding: 0.75rem 0.75rem 2rem; }
  .card, .all, header { padding: 1rem; }
  button { flex: auto; }
}
@media print {
  body { max-width: none; }
  header, .card, .all { break-inside: avoid; }
  pre { max-block-size: none; }
  button { display: none; }
}
]]></style>
  </xsl:template>

  <xsl:template name="symbols">
    <svg class="symbols" aria-hidden="true">
      <symbol id="symbol-critical" viewBox="0 0 16 16">
        <path fill-rule="evenodd" d="M4.7 0h6.6L16 4.7v6.6L11.3 16H4.7L0 11.3V4.7zM7 3v6h2V3zm0 8v2h2v-2z"/>
      </symbol>
      <symbol id="symbol-major" viewBox="0 0 16 16">
        <path fill-rule="evenodd" d="M8 .6 16 15H0zM7 5.5V10h2V5.5zm0 6v2h2v-2z"/>
      </symbol>
      <symbol id="symbol-minor" viewBox="0 0 16 16">
        <path fill-rule="evenodd" d="M8 0a8 8 0 1 1 0 16A8 8 0 0 1 8 0zM7 3v2h2V3zm0 4v6h2V7z"/>
      </symbol>
      <symbol id="symbol-unrated" viewBox="0 0 16 16">
        <path fill-rule="evenodd" d="M8 0a8 8 0 1 1 0 16A8 8 0 0 1 8 0zM4 7v2h8V7z"/>
      </symbol>
      <symbol id="symbol-ok" viewBox="0 0 16 16">
        <path fill-rule="evenodd" d="M8 0a8 8 0 1 1 0 16A8 8 0 0 1 8 0zM6.8 12.1l5.7-5.7L11.1 5 6.8 9.3 4.9 7.4 3.5 8.8z"/>
      </symbol>
      <symbol id="symbol-error" viewBox="0 0 16 16">
        <path fill-rule="evenodd" d="M8 0a8 8 0 1 1 0 16A8 8 0 0 1 8 0zM4 5.4 6.6 8 4 10.6 5.4 12 8 9.4l2.6 2.6 1.4-1.4L9.4 8 12 5.4 10.6 4 8 6.6 5.4 4z"/>
      </symbol>
    </svg>
  </xsl:template>

  <!-- Adds the buttons if the browser lets a page copy. The script reads its words from attributes,
       as text, so nothing of the report becomes code. -->
  <xsl:template name="script">
    <p class="spoken" role="status" id="status">
      <xsl:attribute name="data-copy">
        <xsl:value-of select="$words[@id = 'copy']"/>
      </xsl:attribute>
      <xsl:attribute name="data-copied">
        <xsl:value-of select="$words[@id = 'copied']"/>
      </xsl:attribute>
    </p>
    <script><![CDATA[
"use strict";
const announcement = document.getElementById("status");
const words = announcement.dataset;

function addCopyButton(command) {
  const code = command.querySelector("code");
  code.id = "command-" + (document.querySelectorAll(".command button").length + 1);
  const button = document.createElement("button");
  button.type = "button";
  button.textContent = words.copy;
  button.setAttribute("aria-describedby", code.id);
  button.addEventListener("click", async () => {
    try {
      await navigator.clipboard.writeText(code.textContent);
      button.textContent = announcement.textContent = words.copied;
    } catch { // Copying is not allowed: select the command, so that the reader can copy it.
      getSelection().selectAllChildren(code);
    }
  });
  button.addEventListener("blur", () => {
    button.textContent = words.copy;
    announcement.textContent = "";
  });
  command.append(button);
}

if (navigator.clipboard) {
  document.querySelectorAll(".command").forEach(addCopyButton);
}
]]></script>
  </xsl:template>

</xsl:stylesheet>
