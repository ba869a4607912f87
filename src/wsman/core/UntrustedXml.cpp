#include "wsman/core/UntrustedXml.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <mutex>

#include "wsman/core/AttributeBound.h"

namespace wsman::xml {

namespace {

void DiscardGenericError(void*, const char*, ...) {}

void RefuseDoctype(void* parserContext, const xmlChar*, const xmlChar*, const xmlChar*) {
    xmlStopParser(static_cast<xmlParserCtxt*>(parserContext));
}

struct ByteSource {
    std::string_view text;
    std::size_t at = 0;
};

int ReadBytes(void* context, char* buffer, int length) {
    ByteSource& source = *static_cast<ByteSource*>(context);
    const std::size_t count = std::min(static_cast<std::size_t>(length), source.text.size() - source.at);
    std::memcpy(buffer, source.text.data() + source.at, count);
    source.at += count;
    return static_cast<int>(count);
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
    if (!AttributesWithinBound(text)) return nullptr;
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

UntrustedRead ReadUntrusted(std::string_view text, const xmlSAXHandler& handlers, void* user,
                            xmlDict* dictionary) {
    if (text.size() > static_cast<std::size_t>(INT_MAX) || !ReadsAsUtf8(text)) return UntrustedRead::Refused;
    if (!AttributesWithinBound(text)) return UntrustedRead::AttributeFlood;
    EnsureXmlParserReady();
    xmlSAXHandler sax{};
    xmlSAXVersion(&sax, 2);  // libxml2's own handlers for the rest (predefined entities)
    sax.serror = DiscardStructuredError;
    sax.internalSubset = RefuseDoctype;
    sax.externalSubset = RefuseDoctype;
    sax.startDocument = nullptr;  // no document
    sax.endDocument = nullptr;
    sax.startElementNs = handlers.startElementNs;
    sax.endElementNs = handlers.endElementNs;
    sax.characters = handlers.characters;
    sax.ignorableWhitespace = handlers.characters;
    sax.cdataBlock = nullptr;
    sax.comment = handlers.comment;
    sax.processingInstruction = handlers.processingInstruction;
    sax.reference = handlers.reference;
    // The parser pulls the text through a window of its own that it keeps small, rather than copying a
    // reply of half a megabyte into fresh memory first.
    ByteSource source{text};
    ParserCtxtPtr ctxt(
        xmlCreateIOParserCtxt(&sax, nullptr, ReadBytes, nullptr, &source, XML_CHAR_ENCODING_NONE));
    if (ctxt == nullptr) return UntrustedRead::Refused;
    if (dictionary != nullptr && xmlDictReference(dictionary) == 0) {
        // Nothing is interned yet: the parse interns "xml" and "xmlns" when it starts.
        xmlDictFree(ctxt->dict);
        ctxt->dict = dictionary;
    }
    ctxt->_private = user;
    xmlCtxtUseOptions(ctxt.get(), kUntrustedTextOptions);
    ThreadXmlErrorsSilenced silenced;
    xmlParseDocument(ctxt.get());
    DocPtr none(ctxt->myDoc);
    ctxt->myDoc = nullptr;
    // A DOCTYPE or a handler stops the parse; libxml2 reports that as the user's stop, not as an error.
    const bool accepted =
        ctxt->wellFormed != 0 && ctxt->nsWellFormed != 0 && ctxt->errNo != XML_ERR_USER_STOP;
    return accepted ? UntrustedRead::Accepted : UntrustedRead::Refused;
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
