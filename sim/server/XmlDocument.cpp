#include "server/XmlDocument.h"

#include <libxml/parser.h>
#include <libxml/xmlsave.h>

#include <cstring>

namespace qnsim {
namespace {

struct XmlCharFree {
    void operator()(xmlChar* text) const { xmlFree(text); }
};
using XmlCharPtr = std::unique_ptr<xmlChar, XmlCharFree>;

struct XmlBufferFree {
    void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
};

const xmlChar* Xml(std::string_view text) {
    return reinterpret_cast<const xmlChar*>(text.data());
}

bool NameEquals(const xmlChar* name, std::string_view expected) {
    return name != nullptr && std::strlen(reinterpret_cast<const char*>(name)) == expected.size() &&
           std::memcmp(name, expected.data(), expected.size()) == 0;
}

std::string Trim(std::string text) {
    const char* blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return {};
    const std::size_t last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

}  // namespace

// The simulator keeps a parser of its own on purpose rather than the client's (wsman/core/UntrustedXml.h): a
// parsing bug shared by client and server would hide itself in every test that runs one against the other.
XmlDocPtr ParseXmlSafely(std::string_view xml) {
    if (xml.size() > static_cast<std::size_t>(INT32_MAX)) return nullptr;
    // No XML_PARSE_NOENT / DTDLOAD / DTDATTR: entities stay unexpanded and no external subset is read.
    const int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA;
    XmlDocPtr doc(xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "request.xml", nullptr, options));
    if (!doc) return nullptr;
    // SOAP forbids a document type declaration; refusing it also shuts out internal-subset entity tricks.
    if (doc->intSubset != nullptr || doc->extSubset != nullptr) return nullptr;
    if (xmlDocGetRootElement(doc.get()) == nullptr) return nullptr;
    return doc;
}

bool IsElement(const xmlNode* node, std::string_view namespaceUri, std::string_view localName) {
    return node != nullptr && node->type == XML_ELEMENT_NODE && node->ns != nullptr &&
           NameEquals(node->ns->href, namespaceUri) && NameEquals(node->name, localName);
}

const xmlNode* FirstChildElement(const xmlNode* parent) {
    if (parent == nullptr) return nullptr;
    for (const xmlNode* child = parent->children; child != nullptr; child = child->next)
        if (child->type == XML_ELEMENT_NODE) return child;
    return nullptr;
}

const xmlNode* FindChild(const xmlNode* parent, std::string_view namespaceUri, std::string_view localName) {
    if (parent == nullptr) return nullptr;
    for (const xmlNode* child = parent->children; child != nullptr; child = child->next)
        if (IsElement(child, namespaceUri, localName)) return child;
    return nullptr;
}

std::string ElementText(const xmlNode* node) {
    if (node == nullptr) return {};
    XmlCharPtr content(xmlNodeGetContent(node));
    if (!content) return {};
    return Trim(reinterpret_cast<const char*>(content.get()));
}

std::string AttributeValue(const xmlNode* node, std::string_view name, const char* namespaceUri) {
    if (node == nullptr) return {};
    const std::string nameText(name);
    XmlCharPtr value(namespaceUri == nullptr
                         ? xmlGetNoNsProp(node, Xml(nameText))
                         : xmlGetNsProp(node, Xml(nameText), reinterpret_cast<const xmlChar*>(namespaceUri)));
    return value ? std::string(reinterpret_cast<const char*>(value.get())) : std::string{};
}

std::string SerializeElement(const xmlNode* node) {
    if (node == nullptr) return {};
    // A copy into a document of its own declares the namespaces inherited from the envelope on the element.
    XmlDocPtr holder(xmlNewDoc(reinterpret_cast<const xmlChar*>("1.0")));
    xmlNode* copy = xmlDocCopyNode(const_cast<xmlNode*>(node), holder.get(), 1);
    if (copy == nullptr) return {};
    xmlDocSetRootElement(holder.get(), copy);
    xmlReconciliateNs(holder.get(), copy);
    std::unique_ptr<xmlBuffer, XmlBufferFree> buffer(xmlBufferCreate());
    if (!buffer || xmlNodeDump(buffer.get(), holder.get(), copy, 0, 0) < 0) return {};
    return std::string(reinterpret_cast<const char*>(xmlBufferContent(buffer.get())),
                       static_cast<std::size_t>(xmlBufferLength(buffer.get())));
}

}  // namespace qnsim
