// The one way the client and the module's POSIX platform parse XML they did not write: network replies,
// items, a caller's method input, stylesheet files. The rules:
//  - no network, no DTD loading, no entity expansion, no XInclude, no error printing; libxml2's size limits
//    stay in force (no XML_PARSE_HUGE);
//  - a DOCTYPE stops the parse and the document is refused (SOAP forbids one, WinRM items and our stylesheets
//    never carry one, and it is where entity bombs and external entities start);
//  - namespaces must be well-formed: an undeclared prefix is fatal to MSXML, and an element "p:Name" without
//    a namespace would be read under the wrong local name;
//  - a text is UTF-8 whatever its declaration says (the client asks for UTF-8 and the module's texts are
//    UTF-8); a start from which libxml2 would detect UTF-16, UCS-4 or EBCDIC is refused;
//  - CDATA is read as text;
//  - no element may carry more attributes than AttributeBound.h allows (libxml2 2.9 is quadratic in them).
// The simulator parses with its own rules on purpose: a bug shared by client and server would hide itself.
#pragma once

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <string_view>

#include "wsman/core/XmlOwners.h"

namespace wsman::xml {

inline constexpr int kUntrustedParseOptions =
    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA;
// For texts: the declaration is ignored and no converter is set up, once ReadsAsUtf8 has ruled out the
// starts from which libxml2 would detect another encoding.
inline constexpr int kUntrustedTextOptions = kUntrustedParseOptions | XML_PARSE_IGNORE_ENC;

// False for the starts libxml2 reads as another encoding than UTF-8 (byte-order marks, NULs, EBCDIC).
bool ReadsAsUtf8(std::string_view text);

// Null when the text is not a well-formed, namespace-well-formed document with a root element, carries
// a DOCTYPE or an element beyond the attribute bound. With `fileUrl` the text is a file's content: its
// declared encoding is honoured and the URL becomes the document's base URL (for the file's relative
// references).
DocPtr ParseUntrusted(std::string_view text, const char* fileUrl = nullptr);

enum class UntrustedRead { Accepted, Refused, AttributeFlood };

// A text under the same rules, read by SAX handlers instead of into a tree: the element, character,
// comment, processing-instruction and reference handlers of `handlers` are used (CDATA and blanks come as
// characters), libxml2 builds no document, and
// `user` is the context's _private while it runs. A handler may refuse the text with xmlStopParser.
// With `dictionary`, names are interned there instead of in a dictionary of the parse's own.
UntrustedRead ReadUntrusted(std::string_view text, const xmlSAXHandler& handlers, void* user,
                            xmlDict* dictionary = nullptr);

// Initialises libxml2 once per process, before any thread uses it.
void EnsureXmlParserReady();

// A structured error handler that drops the error (a template, so it fits the handler type of every
// libxml2 version: the error pointer became const in 2.12).
template <typename ErrorPointer>
void DiscardStructuredError(void*, ErrorPointer) {}

// While alive, libxml2 errors raised on this thread without a context handler of their own (XPath
// compilation inside libxslt, for one) are dropped instead of printed. libxml2 keeps these handlers per
// thread, so other threads are not affected.
class ThreadXmlErrorsSilenced {
  public:
    ThreadXmlErrorsSilenced();
    ~ThreadXmlErrorsSilenced();
    ThreadXmlErrorsSilenced(const ThreadXmlErrorsSilenced&) = delete;
    ThreadXmlErrorsSilenced& operator=(const ThreadXmlErrorsSilenced&) = delete;

  private:
    xmlStructuredErrorFunc previousStructured_;
    void* previousStructuredContext_;
    xmlGenericErrorFunc previousGeneric_;
    void* previousGenericContext_;
};

}  // namespace wsman::xml
