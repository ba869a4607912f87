#include "wsman/core/UntrustedXml.h"

#include <climits>
#include <mutex>

namespace wsman::xml {

namespace {

void DiscardGenericError(void*, const char*, ...) {}

void RefuseDoctype(void* parserContext, const xmlChar*, const xmlChar*, const xmlChar*) {
    xmlStopParser(static_cast<xmlParserCtxt*>(parserContext));
}

ParserCtxtPtr NewGuardedContext() {
    EnsureXmlParserReady();
    ParserCtxtPtr ctxt(xmlNewParserCtxt());
    if (ctxt == nullptr || ctxt->sax == nullptr) return nullptr;
    ctxt->sax->serror = DiscardStructuredError;
    ctxt->sax->internalSubset = RefuseDoctype;
    ctxt->sax->externalSubset = RefuseDoctype;
    return ctxt;
}

}  // namespace

void EnsureXmlParserReady() {
    static std::once_flag once;
    std::call_once(once, [] { xmlInitParser(); });
}

// libxml2 takes a text for UTF-16 or UCS-4 by a byte-order mark or by NULs among its first four bytes, and
// for EBCDIC by "Lo" in that code page. None of these starts a well-formed UTF-8 document.
bool ReadsAsUtf8(std::string_view text) {
    const std::string_view start = text.substr(0, 4);
    if (start.find('\0') != std::string_view::npos) return false;
    if (start.starts_with("\xFE\xFF") || start.starts_with("\xFF\xFE")) return false;
    return start != std::string_view("\x4C\x6F\xA7\x94", 4);
}

DocPtr ParseUntrusted(std::string_view text, const char* fileUrl) {
    if (text.size() > static_cast<std::size_t>(INT_MAX)) return nullptr;
    if (fileUrl == nullptr && !ReadsAsUtf8(text)) return nullptr;
    ParserCtxtPtr ctxt = NewGuardedContext();
    if (ctxt == nullptr) return nullptr;
    ThreadXmlErrorsSilenced silenced;
    DocPtr doc(xmlCtxtReadMemory(ctxt.get(), text.data(), static_cast<int>(text.size()), fileUrl, nullptr,
                                 fileUrl == nullptr ? kUntrustedTextOptions : kUntrustedParseOptions));
    if (doc == nullptr || ctxt->wellFormed == 0 || ctxt->nsWellFormed == 0 || doc->intSubset != nullptr ||
        doc->extSubset != nullptr || xmlDocGetRootElement(doc.get()) == nullptr) {
        return nullptr;
    }
    return doc;
}

ThreadXmlErrorsSilenced::ThreadXmlErrorsSilenced()
    : previousStructured_(xmlStructuredError),
      previousStructuredContext_(xmlStructuredErrorContext),
      previousGeneric_(xmlGenericError),
      previousGenericContext_(xmlGenericErrorContext) {
    xmlSetStructuredErrorFunc(nullptr, DiscardStructuredError);
    xmlSetGenericErrorFunc(nullptr, DiscardGenericError);
}

ThreadXmlErrorsSilenced::~ThreadXmlErrorsSilenced() {
    xmlSetStructuredErrorFunc(previousStructuredContext_, previousStructured_);
    xmlSetGenericErrorFunc(previousGenericContext_, previousGeneric_);
}

}  // namespace wsman::xml
