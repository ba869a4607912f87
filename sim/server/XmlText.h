// Escaping of text placed into the envelopes this server writes.
#pragma once

#include <string>
#include <string_view>

namespace qnsim {

std::string EscapeEnvelopeText(std::string_view text);       // element content
std::string EscapeEnvelopeAttribute(std::string_view text);  // double-quoted attribute value

}  // namespace qnsim
