#include "wsman/soap/StandaloneXml.h"

#include <cstring>
#include <vector>

#include "wsman/soap/XmlPtr.h"

namespace wsman::xml {

namespace {

constexpr const char* kXmlSchemaInstance = "http://www.w3.org/2001/XMLSchema-instance";

bool IsXsiType(const xmlAttr* attribute) {
    return attribute->ns != nullptr && attribute->ns->href != nullptr &&
           std::strcmp(Chars(attribute->ns->href), kXmlSchemaInstance) == 0 &&
           std::strcmp(Chars(attribute->name), "type") == 0;
}

// The namespace that the prefix of an xsi:type value ("p:Win32_Service_Type") names where it stands:
// libxml2 sees only element and attribute namespaces, not the QName inside such values.
const xmlNs* QNameValueNamespace(const xmlNode* element, const xmlAttr* attribute) {
    const std::string value = TextOf(reinterpret_cast<const xmlNode*>(attribute));
    const auto colon = value.find(':');
    const std::string prefix = colon == std::string::npos ? std::string() : value.substr(0, colon);
    return xmlSearchNs(element->doc, const_cast<xmlNode*>(element),
                       prefix.empty() ? nullptr : XmlChars(prefix.c_str()));
}

void Remember(std::vector<const xmlNs*>& list, const xmlNs* ns) {
    if (ns == nullptr) return;
    for (const xmlNs* known : list) {
        if (known == ns) return;
    }
    list.push_back(ns);
}

// The namespaces the element's subtree uses (by its elements, attributes and xsi:type values) and those it
// declares.
void Survey(const xmlNode* element, std::vector<const xmlNs*>& used, std::vector<const xmlNs*>& declared) {
    for (const xmlNs* ns = element->nsDef; ns != nullptr; ns = ns->next) Remember(declared, ns);
    Remember(used, element->ns);
    for (const xmlAttr* attribute = element->properties; attribute != nullptr; attribute = attribute->next) {
        Remember(used, attribute->ns);
        if (IsXsiType(attribute)) Remember(used, QNameValueNamespace(element, attribute));
    }
    for (const xmlNode* child = element->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE) Survey(child, used, declared);
    }
}

// Declares on `element` itself the namespaces its subtree takes from the elements around it. False when
// one of them cannot be declared there under its prefix (the element binds that prefix otherwise).
bool DeclareOutsideNamespaces(xmlNode* element) {
    std::vector<const xmlNs*> used;
    std::vector<const xmlNs*> declared;
    Survey(element, used, declared);
    for (const xmlNs* ns : used) {
        bool inside = false;
        for (const xmlNs* own : declared) inside = inside || own == ns;
        if (inside || xmlStrEqual(ns->prefix, XmlChars("xml"))) continue;
        if (xmlNewNs(element, ns->href, ns->prefix) == nullptr) return false;
    }
    return true;
}

// libxml2 keeps element and attribute namespaces in scope when copying, but not the prefixes of xsi:type
// values; they are declared on the copy's root. Walks the original and the copy side by side (same shape).
void DeclareQNameValuePrefixes(const xmlNode* original, xmlNode* copy, xmlDoc* copyDoc, xmlNode* copyRoot) {
    for (; original != nullptr && copy != nullptr; original = original->next, copy = copy->next) {
        if (original->type != XML_ELEMENT_NODE) continue;
        for (const xmlAttr* attribute = original->properties; attribute != nullptr;
             attribute = attribute->next) {
            if (!IsXsiType(attribute)) continue;
            const xmlNs* ns = QNameValueNamespace(original, attribute);
            if (ns == nullptr || xmlSearchNs(copyDoc, copy, ns->prefix) != nullptr) continue;
            xmlNewNs(copyRoot, ns->href, ns->prefix);
        }
        DeclareQNameValuePrefixes(original->children, copy->children, copyDoc, copyRoot);
    }
}

// The general way, for an element whose prefixes clash with those around it: a copy in a document of its
// own, where libxml2 reconciles the namespaces.
std::string SerializeCopy(const xmlNode* element) {
    DocPtr doc(xmlNewDoc(XmlChars("1.0")));
    xmlNode* copy = xmlDocCopyNode(const_cast<xmlNode*>(element), doc.get(), 1);
    if (copy == nullptr) return {};
    xmlDocSetRootElement(doc.get(), copy);
    DeclareQNameValuePrefixes(element, copy, doc.get(), copy);
    return SaveElement(copy);
}

}  // namespace

std::string SerializeStandalone(xmlNode* element) {
    if (element == nullptr) return {};
    // An item of a reply is serialised where it stands (a copy would cost as much again as the reply's
    // parse): what it takes from the envelope is declared on it first.
    if (element->type == XML_ELEMENT_NODE && DeclareOutsideNamespaces(element)) return SaveElement(element);
    return SerializeCopy(element);
}

}  // namespace wsman::xml
