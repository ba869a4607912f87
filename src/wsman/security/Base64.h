// Base64 for Authorization headers, through OpenSSL.
#pragma once

#include <optional>
#include <string>

namespace wsman::security {

std::string EncodeBase64(const std::string& bytes);
// Empty optional when `text` is not valid base64 (surrounding blanks are ignored).
std::optional<std::string> DecodeBase64(const std::string& text);

}  // namespace wsman::security
