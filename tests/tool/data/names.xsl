<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:template match="/">
    <names><xsl:for-each select="//paper"><n><xsl:value-of select="@name"/></n></xsl:for-each></names>
  </xsl:template>
</xsl:stylesheet>
