// Parsing of documents that may come from anywhere: no DTD (a DOCTYPE stops the parse), no entity
// expansion, no network, no XInclude, no error printing.
#pragma once

#include <string_view>

#include "platform/posix/XmlLibrary.h"

namespace qn::platform::posix {

// The text is read as UTF-8 whatever its declaration says. Null when it is not a well-formed document.
UniqueXmlDoc ParseUntrustedText(std::string_view text);

// A file by its POSIX path; the path becomes the document's base URL. Null when it cannot be read or is
// not a well-formed document.
UniqueXmlDoc ParseUntrustedFile(const char* path);

}  // namespace qn::platform::posix
