<?xml version="1.0" encoding="UTF-8"?>
<!-- SPDX-License-Identifier: MIT -->
<!-- The ids of the default repairs that an inspection proposes, each once and on a line of its own. If
     the parameter "which" is "all", the ids of all repairs that it proposes. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">

  <xsl:include href="parts/inspection.xsl"/>

  <xsl:output method="text" encoding="UTF-8"/>

  <xsl:param name="which" select="'default'"/>

  <xsl:template match="inspection">
    <xsl:for-each select="($defaults | $problems[$which = 'all']/solutions/action)
        [not(contains(@id, '&#10;'))]">
      <xsl:value-of select="concat(@id, '&#10;')"/>
    </xsl:for-each>
  </xsl:template>

</xsl:stylesheet>
