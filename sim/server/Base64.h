// Base64 for the tokens carried in Authorization / WWW-Authenticate headers.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qnsim {

std::string EncodeBase64(std::string_view bytes);
// Null when the text is not valid base64.
std::optional<std::string> DecodeBase64(std::string_view text);

}  // namespace qnsim
