#include "wsman/security/Base64.h"

#include <openssl/evp.h>

namespace wsman::security {
namespace {

constexpr const char* kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string EncodeBase64(const std::string& bytes) {
    std::string text(4 * ((bytes.size() + 2) / 3), '\0');
    const int written =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(written));
    return text;
}

std::optional<std::string> DecodeBase64(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) {
        return std::string();
    }
    const std::string trimmed = text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
    // EVP_DecodeBlock skips checks that matter here: at most two '=', and only at the end.
    const std::size_t padding = trimmed.size() - (trimmed.find_last_not_of('=') + 1);
    if (trimmed.size() % 4 != 0 || padding > 2 ||
        trimmed.find_first_not_of(kAlphabet) < trimmed.size() - padding) {
        return std::nullopt;
    }
    std::string bytes(trimmed.size() / 4 * 3, '\0');
    const int decoded = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                        reinterpret_cast<const unsigned char*>(trimmed.data()),
                                        static_cast<int>(trimmed.size()));
    if (decoded < 0 || static_cast<std::size_t>(decoded) < padding) {
        return std::nullopt;
    }
    // EVP_DecodeBlock counts the padding as zero bytes; drop them.
    const std::size_t length = static_cast<std::size_t>(decoded) - padding;
    bytes.resize(length);
    return bytes;
}

}  // namespace wsman::security
