#include "wsman/soap/StandaloneXml.h"

#include <memory>

#include "wsman/soap/XmlPtr.h"

namespace wsman::xml {

namespace {

struct NsListDeleter {
    void operator()(xmlNs** list) const { xmlFree(list); }
};

void DeclareNamespacesInScope(const xmlNode* original, xmlDoc* copyDoc, xmlNode* copy) {
    std::unique_ptr<xmlNs*, NsListDeleter> inScope(xmlGetNsList(original->doc, original));
    if (!inScope) return;
    for (xmlNs** entry = inScope.get(); *entry != nullptr; ++entry) {
        const xmlNs* ns = *entry;
        if (xmlSearchNs(copyDoc, copy, ns->prefix) == nullptr) xmlNewNs(copy, ns->href, ns->prefix);
    }
}

}  // namespace

std::string SerializeStandalone(const xmlNode* element) {
    if (element == nullptr) return {};
    DocPtr doc(xmlNewDoc(XmlChars("1.0")));
    xmlNode* copy = xmlDocCopyNode(const_cast<xmlNode*>(element), doc.get(), 1);
    if (copy == nullptr) return {};
    xmlDocSetRootElement(doc.get(), copy);
    DeclareNamespacesInScope(element, doc.get(), copy);
    xmlReconciliateNs(doc.get(), copy);
    return SaveElement(copy);
}

}  // namespace wsman::xml
