<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The frame of a whole page. The stylesheet that includes this file defines the templates "content"
     and "bottom", which write the main part and the footer. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="style.xsl"/>

  <!-- Not indented: blanks matter in commands and logs. -->
  <xsl:output method="html" encoding="UTF-8" indent="no" doctype-system="about:legacy-compat"/>

  <xsl:variable name="heading-level" select="1"/>

  <!-- Writes the page. Its own style and script, if there are any, come with their hashes, which begin
       with a blank: " 'sha256-...'". -->
  <xsl:template name="frame">
    <xsl:param name="title"/>
    <xsl:param name="style"/>
    <xsl:param name="style-hash"/>
    <xsl:param name="script"/>
    <xsl:param name="script-hash"/>
    <html lang="{$words-language}" dir="{$direction}">
      <head>
        <!-- The browser runs and loads nothing but the styles and the scripts of this file, even if
             a text of the document became markup. A test prints the hash of a changed style or
             script. -->
        <meta http-equiv="Content-Security-Policy" content="{concat(
            &quot;default-src 'none'; base-uri 'none'; form-action 'none'; &quot;,
            &quot;style-src 'sha256-Zyd3ZAa+TAG5noOexL+pPgS9/DqGdJ2Py/6lYt7R8aU='&quot;, $style-hash,
            &quot;; script-src 'sha256-BShb8Mj7NLQoU7DWbY8n2zqE9NE7sL8v628YPXTl1Jo='&quot;,
            $script-hash)}"/>
        <meta name="viewport" content="width=device-width, initial-scale=1"/>
        <meta name="color-scheme" content="light dark"/>
        <title><xsl:value-of select="$title"/></title>
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
        <xsl:if test="string($style)">
          <style><xsl:value-of select="$style"/></style>
        </xsl:if>
      </head>
      <body class="keldoctl">
        <main><xsl:call-template name="content"/></main>
        <footer class="foot"><xsl:call-template name="bottom"/></footer>
        <xsl:call-template name="script"/>
        <xsl:if test="string($script)">
          <script><xsl:value-of select="$script"/></script>
        </xsl:if>
      </body>
    </html>
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
