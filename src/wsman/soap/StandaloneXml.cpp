#include "wsman/soap/StandaloneXml.h"

#include <cstring>

#include "wsman/soap/XmlPtr.h"

namespace wsman::xml {

namespace {

constexpr const char* kXmlSchemaInstance = "http://www.w3.org/2001/XMLSchema-instance";

bool IsXsiType(const xmlAttr* attribute) {
    return attribute->ns != nullptr && attribute->ns->href != nullptr &&
           std::strcmp(Chars(attribute->ns->href), kXmlSchemaInstance) == 0 &&
           std::strcmp(Chars(attribute->name), "type") == 0;
}

// libxml2 keeps element and attribute namespaces in scope when copying, but cannot see the QName inside
// xsi:type values ("p:Win32_Service_Type"); their prefixes are declared on the copy's root. Walks the
// original and the copy side by side (same shape).
void DeclareQNameValuePrefixes(const xmlNode* original, xmlNode* copy, xmlDoc* copyDoc, xmlNode* copyRoot) {
    for (; original != nullptr && copy != nullptr; original = original->next, copy = copy->next) {
        if (original->type != XML_ELEMENT_NODE) continue;
        for (const xmlAttr* attribute = original->properties; attribute != nullptr;
             attribute = attribute->next) {
            if (!IsXsiType(attribute)) continue;
            const std::string value = TextOf(reinterpret_cast<const xmlNode*>(attribute));
            const auto colon = value.find(':');
            const std::string prefix = colon == std::string::npos ? std::string() : value.substr(0, colon);
            const xmlChar* prefixName = prefix.empty() ? nullptr : XmlChars(prefix.c_str());
            if (xmlSearchNs(copyDoc, copy, prefixName) != nullptr) continue;
            const xmlNs* ns = xmlSearchNs(original->doc, const_cast<xmlNode*>(original), prefixName);
            if (ns != nullptr) xmlNewNs(copyRoot, ns->href, ns->prefix);
        }
        DeclareQNameValuePrefixes(original->children, copy->children, copyDoc, copyRoot);
    }
}

}  // namespace

std::string SerializeStandalone(const xmlNode* element) {
    if (element == nullptr) return {};
    DocPtr doc(xmlNewDoc(XmlChars("1.0")));
    xmlNode* copy = xmlDocCopyNode(const_cast<xmlNode*>(element), doc.get(), 1);
    if (copy == nullptr) return {};
    xmlDocSetRootElement(doc.get(), copy);
    DeclareQNameValuePrefixes(element, copy, doc.get(), copy);
    return SaveElement(copy);
}

}  // namespace wsman::xml
