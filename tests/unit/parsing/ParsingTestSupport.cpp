#include "ParsingTestSupport.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <memory>
#include <stdexcept>

namespace parsing_test {

namespace {

struct DocFree {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
struct XPathContextFree {
    void operator()(xmlXPathContext* ctxt) const { xmlXPathFreeContext(ctxt); }
};
struct XPathObjectFree {
    void operator()(xmlXPathObject* object) const { xmlXPathFreeObject(object); }
};
struct BufferFree {
    void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
};

std::string SerialiseAsItem(xmlNode* element) {
    std::unique_ptr<xmlDoc, DocFree> itemDoc(xmlNewDoc(BAD_CAST "1.0"));
    xmlNode* copy = xmlDocCopyNode(element, itemDoc.get(), 1);
    xmlDocSetRootElement(itemDoc.get(), copy);
    xmlReconciliateNs(itemDoc.get(), copy);
    std::unique_ptr<xmlBuffer, BufferFree> buffer(xmlBufferCreate());
    xmlNodeDump(buffer.get(), itemDoc.get(), copy, 0, 0);
    return reinterpret_cast<const char*>(xmlBufferContent(buffer.get()));
}

}  // namespace

std::vector<std::string> ExtractItems(const std::string& documentText, const std::string& xpath) {
    std::unique_ptr<xmlDoc, DocFree> doc(xmlReadMemory(
        documentText.data(), static_cast<int>(documentText.size()), nullptr, nullptr, XML_PARSE_NONET));
    if (doc == nullptr) throw std::runtime_error("fixture is not well-formed");
    std::unique_ptr<xmlXPathContext, XPathContextFree> ctxt(xmlXPathNewContext(doc.get()));
    const std::pair<const char*, const char*> prefixes[] = {
        {"s", "http://www.w3.org/2003/05/soap-envelope"},
        {"a", "http://schemas.xmlsoap.org/ws/2004/08/addressing"},
        {"n", "http://schemas.xmlsoap.org/ws/2004/09/enumeration"},
        {"w", "http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd"},
    };
    for (const auto& [prefix, uri] : prefixes) xmlXPathRegisterNs(ctxt.get(), BAD_CAST prefix, BAD_CAST uri);
    std::unique_ptr<xmlXPathObject, XPathObjectFree> found(
        xmlXPathEvalExpression(BAD_CAST xpath.c_str(), ctxt.get()));
    std::vector<std::string> items;
    if (found == nullptr || found->nodesetval == nullptr) return items;
    for (int i = 0; i < found->nodesetval->nodeNr; ++i)
        items.push_back(SerialiseAsItem(found->nodesetval->nodeTab[i]));
    return items;
}

}  // namespace parsing_test
