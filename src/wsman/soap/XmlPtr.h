// Owning handles for libxml2 objects and the one safe way this client parses XML it did not write.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string>
#include <string_view>

namespace wsman::xml {

struct DocDeleter {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
struct CharDeleter {
    void operator()(xmlChar* text) const { xmlFree(text); }
};
struct NodeDeleter {
    void operator()(xmlNode* node) const { xmlFreeNode(node); }
};

using DocPtr = std::unique_ptr<xmlDoc, DocDeleter>;
using CharPtr = std::unique_ptr<xmlChar, CharDeleter>;
using NodePtr = std::unique_ptr<xmlNode, NodeDeleter>;

// Parses text from the network or a caller: no network access, no DTD loading, no entity substitution,
// and a document carrying a DTD is refused (SOAP forbids one). Null when the text is not well-formed or an
// element carries more attributes than AttributeBound.h allows.
DocPtr ParseUntrusted(std::string_view text);

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
