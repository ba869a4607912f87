#include "platform/posix/XmlSafeParse.h"

#include <climits>

#include "platform/posix/LockedFileUpdate.h"

namespace qn::platform::posix {

namespace {

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

// libxml2 takes a text for UTF-16 or UCS-4 by a byte-order mark or by NULs among its first four bytes, and
// for EBCDIC by "Lo" in that code page. None of these starts a well-formed UTF-8 document.
bool ReadsAsUtf8(std::string_view text) {
    const std::string_view start = text.substr(0, 4);
    if (start.find('\0') != std::string_view::npos) return false;
    if (start.starts_with("\xFE\xFF") || start.starts_with("\xFF\xFE")) return false;
    return start != std::string_view("\x4C\x6F\xA7\x94", 4);
}

UniqueXmlDoc ParseUntrustedText(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(INT_MAX) || !ReadsAsUtf8(text)) return nullptr;
    UniqueXmlParserCtxt ctxt = NewGuardedContext();
    if (ctxt == nullptr) return nullptr;
    ThreadXmlErrorsSilenced silenced;
    xmlDoc* parsed = xmlCtxtReadMemory(ctxt.get(), text.data(), static_cast<int>(text.size()), nullptr,
                                       nullptr, kUntrustedTextOptions);
    return KeepWellFormed(*ctxt, parsed);
}

UniqueXmlDoc ParseUntrustedFile(const char* path, std::string& bytes) {
    bytes.clear();
    if (path == nullptr || *path == '\0') return nullptr;
    // Read here rather than by the parser, so that the caller sees exactly the bytes that were parsed. A
    // folder or an I/O error is a failed read.
    if (ReadWholeFile(path, bytes) != FileOutcome::kOk || bytes.size() > static_cast<std::size_t>(INT_MAX))
        return nullptr;
    UniqueXmlParserCtxt ctxt = NewGuardedContext();
    if (ctxt == nullptr) return nullptr;
    ThreadXmlErrorsSilenced silenced;
    xmlDoc* parsed = xmlCtxtReadMemory(ctxt.get(), bytes.data(), static_cast<int>(bytes.size()), path,
                                       nullptr, kUntrustedParseOptions);
    return KeepWellFormed(*ctxt, parsed);
}

UniqueXmlDoc ParseUntrustedFile(const char* path) {
    std::string bytes;
    return ParseUntrustedFile(path, bytes);
}

}  // namespace qn::platform::posix
