#include "wsman/soap/XmlPtr.h"

#include <libxml/xmlsave.h>

#include <cstring>
#include <new>

namespace wsman::xml {

bool IsElement(const xmlNode* node, const char* namespaceUri, const char* localName) {
    return node != nullptr && node->type == XML_ELEMENT_NODE && node->ns != nullptr &&
           node->ns->href != nullptr && std::strcmp(Chars(node->ns->href), namespaceUri) == 0 &&
           std::strcmp(Chars(node->name), localName) == 0;
}

xmlNode* FirstChildElement(const xmlNode* parent) {
    if (parent == nullptr) return nullptr;
    for (xmlNode* child = parent->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE) return child;
    }
    return nullptr;
}

xmlNode* NextSiblingElement(const xmlNode* node) {
    for (xmlNode* next = node->next; next != nullptr; next = next->next) {
        if (next->type == XML_ELEMENT_NODE) return next;
    }
    return nullptr;
}

xmlNode* FindChild(const xmlNode* parent, const char* namespaceUri, const char* localName) {
    for (xmlNode* child = FirstChildElement(parent); child != nullptr; child = NextSiblingElement(child)) {
        if (IsElement(child, namespaceUri, localName)) return child;
    }
    return nullptr;
}

xmlNode* FindChildInEither(const xmlNode* parent, const char* firstUri, const char* secondUri,
                           const char* localName) {
    for (xmlNode* child = FirstChildElement(parent); child != nullptr; child = NextSiblingElement(child)) {
        if (IsElement(child, firstUri, localName) || IsElement(child, secondUri, localName)) return child;
    }
    return nullptr;
}

std::string TextOf(const xmlNode* node) {
    if (node == nullptr) return {};
    CharPtr content(xmlNodeGetContent(node));
    return content ? std::string(Chars(content.get())) : std::string();
}

std::string AttributeOf(const xmlNode* node, const char* name) {
    if (node == nullptr) return {};
    CharPtr value(xmlGetProp(node, XmlChars(name)));
    return value ? std::string(Chars(value.get())) : std::string();
}

std::string TrimWhitespace(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const auto first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    const auto last = text.find_last_not_of(kBlanks);
    return std::string(text.substr(first, last - first + 1));
}

std::string SaveElement(xmlNode* element) {
    BufferPtr buffer(xmlBufferCreate());
    // Naming the encoding keeps non-ASCII text as UTF-8 rather than character references.
    xmlSaveCtxt* save = buffer ? xmlSaveToBuffer(buffer.get(), "UTF-8", XML_SAVE_NO_DECL) : nullptr;
    if (save == nullptr) throw std::bad_alloc();
    xmlSaveTree(save, element);
    xmlSaveClose(save);
    return std::string(Chars(xmlBufferContent(buffer.get())),
                       static_cast<std::size_t>(xmlBufferLength(buffer.get())));
}

}  // namespace wsman::xml
