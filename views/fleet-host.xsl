<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The page of each host of a fleet: NAME.html beside each NAME.xml of the command line. One run of
     xsltproc makes all pages. The page has the name that the controller knows, since a host might
     claim another's.

     A NAME may have letters, digits and "._-=" only: the processor takes other characters of a path for
     parts of a URI. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform"
    xmlns:exsl="http://exslt.org/common" xmlns:saxon="http://icl.com/saxon"
    extension-element-prefixes="exsl" exclude-result-prefixes="saxon">

  <xsl:import href="report-html.xsl"/>

  <xsl:variable name="path" select="substring-before(concat(saxon:systemId(), '?'), '.xml?')"/>
  <xsl:variable name="host" select="substring-after(concat('/', $path), 'hosts/')"/>

  <xsl:template match="/">
    <exsl:document href="{$path}.html" method="html" encoding="UTF-8" indent="no"
        doctype-system="about:legacy-compat">
      <xsl:apply-imports/>
    </exsl:document>
  </xsl:template>

</xsl:stylesheet>
