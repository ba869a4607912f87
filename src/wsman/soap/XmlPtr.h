// Reading and writing the nodes of a parsed SOAP document (owners and the parse itself are in wsman/core/).
#pragma once

#include <libxml/tree.h>

#include <string>
#include <string_view>

#include "wsman/core/UntrustedXml.h"
#include "wsman/core/XmlOwners.h"

namespace wsman::xml {

inline const char* Chars(const xmlChar* text) {
    return reinterpret_cast<const char*>(text);
}
inline const xmlChar* XmlChars(const char* text) {
    return reinterpret_cast<const xmlChar*>(text);
}

// The element's name and namespace match (namespace by URI).
bool IsElement(const xmlNode* node, const char* namespaceUri, const char* localName);
// First child element with that namespace URI and local name, or null.
xmlNode* FindChild(const xmlNode* parent, const char* namespaceUri, const char* localName);
// First child element with that local name in any of the namespaces, or null.
xmlNode* FindChildInEither(const xmlNode* parent, const char* firstUri, const char* secondUri,
                           const char* localName);
xmlNode* FirstChildElement(const xmlNode* parent);
xmlNode* NextSiblingElement(const xmlNode* node);
// Concatenated text of the node and its descendants.
std::string TextOf(const xmlNode* node);
std::string AttributeOf(const xmlNode* node, const char* name);
std::string TrimWhitespace(std::string_view text);
// The element and its subtree as UTF-8 text without an XML declaration.
std::string SaveElement(xmlNode* element);

}  // namespace wsman::xml
