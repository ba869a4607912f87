// Parsing of documents that may come from anywhere: no DTD (a DOCTYPE stops the parse), no entity
// expansion, no network, no XInclude, no error printing.
#pragma once

#include <string>
#include <string_view>

#include "platform/posix/XmlLibrary.h"

namespace qn::platform::posix {

// No DTD loading, no entity expansion, no network, no XInclude, no error printing; CDATA read as text.
// libxml2's size limits stay in force (no XML_PARSE_HUGE).
inline constexpr int kUntrustedParseOptions =
    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA;

// Texts (not files) are the module's own UTF-8 whatever they declare. They are parsed with these options
// and no encoding: the declaration is ignored and no converter is set up, once ReadsAsUtf8 has ruled out
// the starts from which libxml2 would detect another encoding.
inline constexpr int kUntrustedTextOptions = kUntrustedParseOptions | XML_PARSE_IGNORE_ENC;
bool ReadsAsUtf8(std::string_view text);

// The text is read as UTF-8 whatever its declaration says. Null when it is not a well-formed document.
UniqueXmlDoc ParseUntrustedText(std::string_view text);

// The content of the file at `path` (a POSIX path), read into `bytes`; the path becomes the document's base
// URL and the encoding is the one the file declares. Null when it cannot be read or is not a well-formed
// document.
UniqueXmlDoc ParseUntrustedFile(const char* path, std::string& bytes);
UniqueXmlDoc ParseUntrustedFile(const char* path);

}  // namespace qn::platform::posix
