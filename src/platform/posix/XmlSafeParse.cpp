#include "platform/posix/XmlSafeParse.h"

#include <climits>

namespace qn::platform::posix {

namespace {

// No XML_PARSE_NOENT, XML_PARSE_DTDLOAD, XML_PARSE_DTDATTR, XML_PARSE_XINCLUDE or XML_PARSE_HUGE: entities
// stay unexpanded, nothing outside the text is read, and libxml2's size limits stay in force.
constexpr int kParseOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA;

// A DOCTYPE is where entity bombs and external entities start; WinRM items and our stylesheets never
// carry one, so the parse stops there.
void RefuseDoctype(void* parserContext, const xmlChar*, const xmlChar*, const xmlChar*) {
    xmlStopParser(static_cast<xmlParserCtxt*>(parserContext));
}

UniqueXmlParserCtxt NewGuardedContext() {
    EnsureXmlLibraryReady();
    UniqueXmlParserCtxt ctxt(xmlNewParserCtxt());
    if (ctxt == nullptr || ctxt->sax == nullptr) return nullptr;
    ctxt->sax->serror = DiscardStructuredError;
    ctxt->sax->internalSubset = RefuseDoctype;
    ctxt->sax->externalSubset = RefuseDoctype;
    return ctxt;
}

// An undeclared prefix is only a namespace error to libxml2; it is fatal to MSXML, and an element named
// "p:Name" without a namespace would be read under the wrong local name.
UniqueXmlDoc KeepWellFormed(xmlParserCtxt& ctxt, xmlDoc* parsed) {
    UniqueXmlDoc doc(parsed);
    if (doc == nullptr || ctxt.wellFormed == 0 || ctxt.nsWellFormed == 0 || doc->intSubset != nullptr ||
        doc->extSubset != nullptr || xmlDocGetRootElement(doc.get()) == nullptr) {
        return nullptr;
    }
    return doc;
}

}  // namespace

UniqueXmlDoc ParseUntrustedText(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(INT_MAX)) return nullptr;
    UniqueXmlParserCtxt ctxt = NewGuardedContext();
    if (ctxt == nullptr) return nullptr;
    ThreadXmlErrorsSilenced silenced;
    xmlDoc* parsed = xmlCtxtReadMemory(ctxt.get(), text.data(), static_cast<int>(text.size()), nullptr,
                                       "UTF-8", kParseOptions);
    return KeepWellFormed(*ctxt, parsed);
}

UniqueXmlDoc ParseUntrustedFile(const char* path) {
    if (path == nullptr || *path == '\0') return nullptr;
    UniqueXmlParserCtxt ctxt = NewGuardedContext();
    if (ctxt == nullptr) return nullptr;
    ThreadXmlErrorsSilenced silenced;  // I/O errors are raised outside the parser context
    xmlDoc* parsed = xmlCtxtReadFile(ctxt.get(), path, nullptr, kParseOptions);
    return KeepWellFormed(*ctxt, parsed);
}

}  // namespace qn::platform::posix
