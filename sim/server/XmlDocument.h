// Owning handles for libxml2 objects and the one safe way this server parses XML.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string>
#include <string_view>

namespace qnsim {

struct XmlDocFree {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
using XmlDocPtr = std::unique_ptr<xmlDoc, XmlDocFree>;

// Null for text that is not well-formed or that carries a DTD; never loads DTDs, expands entities or
// touches the network.
XmlDocPtr ParseXmlSafely(std::string_view xml);

bool IsElement(const xmlNode* node, std::string_view namespaceUri, std::string_view localName);
const xmlNode* FirstChildElement(const xmlNode* parent);
const xmlNode* FindChild(const xmlNode* parent, std::string_view namespaceUri, std::string_view localName);
std::string ElementText(const xmlNode* node);  // whitespace at both ends trimmed
std::string AttributeValue(const xmlNode* node, std::string_view name, const char* namespaceUri = nullptr);
std::string SerializeElement(const xmlNode* node);  // with every namespace it uses declared on it

}  // namespace qnsim
