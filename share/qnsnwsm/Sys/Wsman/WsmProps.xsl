<?xml version="1.0" encoding="UTF-8"?>
<!--
  Turns a class definition item into the class's property names, one per line, each line ended by CR LF.

  The item has the form of an instance: an element named for the class with one child per property
  (<p:Name xsi:nil="true"/>). Names are local names, listed once each in document order.
-->
<xsl:stylesheet version="1.0"
    xmlns:xsl="http://www.w3.org/1999/XSL/Transform"
    xmlns:cim="http://schemas.dmtf.org/wbem/wscim/1/common">

  <xsl:output method="text" encoding="UTF-8"/>
  <xsl:strip-space elements="*"/>

  <xsl:key name="same-property" match="*" use="concat(generate-id(..), '|', local-name())"/>

  <xsl:template match="/">
    <xsl:for-each select="*/*[not(self::cim:Location)]
        [generate-id() = generate-id(key('same-property', concat(generate-id(..), '|', local-name()))[1])]">
      <xsl:value-of select="local-name()"/>
      <xsl:text xml:space="preserve">&#13;&#10;</xsl:text>
    </xsl:for-each>
  </xsl:template>

</xsl:stylesheet>
