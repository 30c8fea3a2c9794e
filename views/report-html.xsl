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
  <xsl:include href="parts/style.xsl"/>

  <!-- Not indented: blanks matter in commands and logs. -->
  <xsl:output method="html" encoding="UTF-8" indent="no" doctype-system="about:legacy-compat"/>

  <xsl:template match="inspection">
    <html lang="{$words-language}" dir="{$direction}">
      <xsl:call-template name="head"/>
      <body class="keldoctl">
        <main><xsl:call-template name="content"/></main>
        <footer class="foot"><xsl:call-template name="bottom"/></footer>
        <xsl:call-template name="script"/>
      </body>
    </html>
  </xsl:template>

  <xsl:template name="head">
    <head>
      <xsl:call-template name="security-policy"/>
      <meta name="viewport" content="width=device-width, initial-scale=1"/>
      <meta name="color-scheme" content="light dark"/>
      <title>
        <xsl:variable name="headline"><xsl:call-template name="headline"/></xsl:variable>
        <xsl:value-of select="concat($headline, ' – ', $host, ' – ', $words[@id = 'title'])"/>
      </title>
      <style>
        <xsl:call-template name="rules"/><![CDATA[
:root {
  color-scheme: light dark;
  background: light-dark(#ffffff, #0f1317); color: light-dark(#18202b, #e8ecf2);
}
html { -webkit-text-size-adjust: 100%; text-size-adjust: 100%; }
body {
  max-width: 60rem; margin: 0 auto; padding: 1.5rem 1rem 2rem; font-family: system-ui, sans-serif;
}
.foot { color: var(--quiet); }
@media print { :root { color-scheme: light; } }
@media (max-width: 30rem) { body { padding: 0.75rem; } }
]]></style>
    </head>
  </xsl:template>

  <!-- The browser runs and loads nothing but the style and the script of this file, even if a text
       of the inspection became markup. A test prints the hash of a changed style or script. -->
  <xsl:template name="security-policy">
    <meta http-equiv="Content-Security-Policy" content="{concat(
        &quot;default-src 'none'; base-uri 'none'; form-action 'none'; &quot;,
        &quot;style-src 'sha256-Zyd3ZAa+TAG5noOexL+pPgS9/DqGdJ2Py/6lYt7R8aU='; &quot;,
        &quot;script-src 'sha256-BShb8Mj7NLQoU7DWbY8n2zqE9NE7sL8v628YPXTl1Jo='&quot;)}"/>
  </xsl:template>

  <xsl:variable name="has-forms" select="false()"/>
  <xsl:variable name="heading-level" select="1"/>

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

  <!-- Adds the buttons if the browser lets a page copy. The script reads its words from attributes,
       as text, so no text of the inspection becomes code. -->
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
