<?xml version="1.0" encoding="UTF-8"?>
<!--
  Turns one WinRM item into record text: one "Name:=value" line per property, each line ended by CR LF.

  The item is the document element: a WMI instance (<p:Win32_Service ...>), a class definition in the same
  form, a method's output (<p:Reboot_OUTPUT ...>), or the w:XmlFragment of a projection query.
  - The first line is "__CLASS:=" with the element's local name. A w:XmlFragment names no class, so it has
    no such line (and a projected __CLASS property, if any, is not shadowed).
  - Properties are read by local name; namespaces and prefixes do not matter (fragments use none).
  - xsi:nil gives an empty value; a datetime or interval wrapper gives its inner text.
  - An array (the property element repeated) gives its values joined by "," on one line.
  - A reference (an endpoint reference inside the property) gives its object path in WMI's relative form,
    Class.Key="value",Key2="value" (Class=@ for a singleton), with \ and " escaped by a backslash.
  - An embedded object gives Name=value pairs of its own properties, joined by ";".
  - Tabs and line breaks inside values become blanks: the reader ends a record at its first empty line.
-->
<xsl:stylesheet version="1.0"
    xmlns:xsl="http://www.w3.org/1999/XSL/Transform"
    xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
    xmlns:cim="http://schemas.dmtf.org/wbem/wscim/1/common"
    xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing"
    xmlns:w="http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd">

  <xsl:output method="text" encoding="UTF-8"/>
  <!-- Indentation between elements is not content, whichever parser loaded the item. -->
  <xsl:strip-space elements="*"/>

  <!-- The elements of one parent that share a local name: the values of one (array) property. -->
  <xsl:key name="same-property" match="*" use="concat(generate-id(..), '|', local-name())"/>

  <xsl:template match="/">
    <xsl:apply-templates select="*" mode="item"/>
  </xsl:template>

  <xsl:template match="w:XmlFragment" mode="item">
    <xsl:call-template name="property-lines"/>
  </xsl:template>

  <xsl:template match="*" mode="item">
    <xsl:call-template name="line">
      <xsl:with-param name="name" select="'__CLASS'"/>
      <xsl:with-param name="value" select="local-name()"/>
    </xsl:call-template>
    <xsl:call-template name="property-lines"/>
  </xsl:template>

  <!-- One line per property of the context element, in document order of first appearance. -->
  <xsl:template name="property-lines">
    <xsl:for-each select="*[not(self::cim:Location)]
        [generate-id() = generate-id(key('same-property', concat(generate-id(..), '|', local-name()))[1])]">
      <xsl:call-template name="line">
        <xsl:with-param name="name" select="local-name()"/>
        <xsl:with-param name="value">
          <xsl:call-template name="joined-values"/>
        </xsl:with-param>
      </xsl:call-template>
    </xsl:for-each>
  </xsl:template>

  <xsl:template name="line">
    <xsl:param name="name"/>
    <xsl:param name="value"/>
    <xsl:value-of select="$name"/>
    <xsl:text>:=</xsl:text>
    <xsl:value-of select="translate($value, '&#9;&#10;&#13;', '   ')"/>
    <xsl:text xml:space="preserve">&#13;&#10;</xsl:text>
  </xsl:template>

  <!-- The values of the context property and of its repetitions, joined by ",". -->
  <xsl:template name="joined-values">
    <xsl:for-each select="key('same-property', concat(generate-id(..), '|', local-name()))">
      <xsl:if test="position() != 1">
        <xsl:text>,</xsl:text>
      </xsl:if>
      <xsl:apply-templates select="." mode="value"/>
    </xsl:for-each>
  </xsl:template>

  <!-- Values of one property element. -->

  <xsl:template match="*[@xsi:nil = 'true' or @xsi:nil = '1']" mode="value" priority="4"/>

  <xsl:template mode="value" priority="3" match="*[*[1][self::cim:Datetime or self::cim:Interval
      or self::cim:Date or self::cim:Time or self::cim:CIM_DateTime or self::Datetime or self::Interval]]">
    <xsl:value-of select="*[1]"/>
  </xsl:template>

  <!-- In fragments the reference's elements come without a namespace, like the properties. -->
  <xsl:template match="*[a:ReferenceParameters or ReferenceParameters]" mode="value" priority="2">
    <xsl:apply-templates select="(a:ReferenceParameters | ReferenceParameters)[1]" mode="object-path"/>
  </xsl:template>

  <xsl:template match="*[a:Address]" mode="value" priority="1.5">
    <xsl:value-of select="a:Address"/>
  </xsl:template>

  <xsl:template match="*[*]" mode="value" priority="1">
    <xsl:for-each select="*[not(self::cim:Location)]
        [generate-id() = generate-id(key('same-property', concat(generate-id(..), '|', local-name()))[1])]">
      <xsl:if test="position() != 1">
        <xsl:text>;</xsl:text>
      </xsl:if>
      <xsl:value-of select="local-name()"/>
      <xsl:text>=</xsl:text>
      <xsl:call-template name="joined-values"/>
    </xsl:for-each>
  </xsl:template>

  <xsl:template match="*" mode="value">
    <xsl:value-of select="."/>
  </xsl:template>

  <!-- References. -->

  <xsl:template match="*" mode="object-path">
    <xsl:call-template name="after-last-slash">
      <xsl:with-param name="text" select="normalize-space((w:ResourceURI | ResourceURI)[1])"/>
    </xsl:call-template>
    <xsl:variable name="selectors" select="(w:SelectorSet | SelectorSet)/*[self::w:Selector or self::Selector]"/>
    <xsl:choose>
      <xsl:when test="$selectors">
        <xsl:text>.</xsl:text>
        <xsl:for-each select="$selectors">
          <xsl:if test="position() != 1">
            <xsl:text>,</xsl:text>
          </xsl:if>
          <xsl:value-of select="@Name"/>
          <xsl:text>="</xsl:text>
          <xsl:call-template name="escape-path-value">
            <xsl:with-param name="text" select="string(.)"/>
          </xsl:call-template>
          <xsl:text>"</xsl:text>
        </xsl:for-each>
      </xsl:when>
      <xsl:otherwise>
        <xsl:text>=@</xsl:text>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <xsl:template name="after-last-slash">
    <xsl:param name="text"/>
    <xsl:choose>
      <xsl:when test="contains($text, '/')">
        <xsl:call-template name="after-last-slash">
          <xsl:with-param name="text" select="substring-after($text, '/')"/>
        </xsl:call-template>
      </xsl:when>
      <xsl:otherwise>
        <xsl:value-of select="$text"/>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- Backslash and double quote get a backslash before them, as in WMI object paths. -->
  <xsl:template name="escape-path-value">
    <xsl:param name="text"/>
    <xsl:variable name="special" select="substring(translate($text, translate($text, '\&quot;', ''), ''), 1, 1)"/>
    <xsl:choose>
      <xsl:when test="$special = ''">
        <xsl:value-of select="$text"/>
      </xsl:when>
      <xsl:otherwise>
        <xsl:value-of select="substring-before($text, $special)"/>
        <xsl:text>\</xsl:text>
        <xsl:value-of select="$special"/>
        <xsl:call-template name="escape-path-value">
          <xsl:with-param name="text" select="substring-after($text, $special)"/>
        </xsl:call-template>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

</xsl:stylesheet>
