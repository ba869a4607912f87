// Escaping of text placed into the envelopes this server writes.
#pragma once

#include <string>
#include <string_view>

namespace qnsim {

std::string EscapeXmlText(std::string_view text);       // element content
std::string EscapeXmlAttribute(std::string_view text);  // double-quoted attribute value

}  // namespace qnsim
