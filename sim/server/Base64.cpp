#include "server/Base64.h"

#include <openssl/evp.h>

#include <vector>

namespace qnsim {

std::string EncodeBase64(std::string_view bytes) {
    std::vector<unsigned char> out(4 * ((bytes.size() + 2) / 3) + 1);
    const int written = EVP_EncodeBlock(out.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                                        static_cast<int>(bytes.size()));
    return std::string(reinterpret_cast<const char*>(out.data()), static_cast<std::size_t>(written));
}

std::optional<std::string> DecodeBase64(std::string_view text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    if (text.size() % 4 != 0) return std::nullopt;
    for (char c : text) {
        const bool valid = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                           c == '+' || c == '/' || c == '=';
        if (!valid) return std::nullopt;
    }
    std::vector<unsigned char> out(text.size() / 4 * 3 + 1);
    const int written = EVP_DecodeBlock(out.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                        static_cast<int>(text.size()));
    if (written < 0) return std::nullopt;
    // EVP_DecodeBlock counts the padding as data bytes; drop them.
    std::size_t length = static_cast<std::size_t>(written);
    if (text.size() >= 1 && text[text.size() - 1] == '=') --length;
    if (text.size() >= 2 && text[text.size() - 2] == '=') --length;
    return std::string(reinterpret_cast<const char*>(out.data()), length);
}

}  // namespace qnsim
