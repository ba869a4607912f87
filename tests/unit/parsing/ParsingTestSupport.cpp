#include "ParsingTestSupport.h"

#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <memory>
#include <stdexcept>

#include "platform/posix/XmlSafeParse.h"

namespace parsing_test {

std::vector<std::string> ExtractItems(const std::string& documentText, const std::string& xpath) {
    const qn::platform::posix::UniqueXmlDoc doc = qn::platform::posix::ParseUntrustedText(documentText);
    if (doc == nullptr) throw std::runtime_error("fixture is not well-formed");
    std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)> ctxt(xmlXPathNewContext(doc.get()),
                                                                          &xmlXPathFreeContext);
    const std::pair<const char*, const char*> prefixes[] = {
        {"s", "http://www.w3.org/2003/05/soap-envelope"},
        {"a", "http://schemas.xmlsoap.org/ws/2004/08/addressing"},
        {"n", "http://schemas.xmlsoap.org/ws/2004/09/enumeration"},
        {"w", "http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd"},
    };
    for (const auto& [prefix, uri] : prefixes) xmlXPathRegisterNs(ctxt.get(), BAD_CAST prefix, BAD_CAST uri);
    std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)> found(
        xmlXPathEvalExpression(BAD_CAST xpath.c_str(), ctxt.get()), &xmlXPathFreeObject);
    std::vector<std::string> items;
    for (int i = 0; found != nullptr && found->nodesetval != nullptr && i < found->nodesetval->nodeNr; ++i) {
        // Each item stands alone with the namespace declarations it needs, as the WinRM client hands it over.
        std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> itemDoc(xmlNewDoc(BAD_CAST "1.0"), &xmlFreeDoc);
        xmlNode* copy = xmlDocCopyNode(found->nodesetval->nodeTab[i], itemDoc.get(), 1);
        xmlDocSetRootElement(itemDoc.get(), copy);
        xmlReconciliateNs(itemDoc.get(), copy);
        std::unique_ptr<xmlBuffer, decltype(&xmlBufferFree)> buffer(xmlBufferCreate(), &xmlBufferFree);
        xmlNodeDump(buffer.get(), itemDoc.get(), copy, 0, 0);
        items.emplace_back(reinterpret_cast<const char*>(xmlBufferContent(buffer.get())));
    }
    return items;
}

}  // namespace parsing_test
