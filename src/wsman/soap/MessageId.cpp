#include "wsman/soap/MessageId.h"

#include <openssl/rand.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace wsman::soap {

namespace {

std::array<unsigned char, 16> RandomBytes() {
    std::array<unsigned char, 16> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1) return bytes;
    // OpenSSL's generator failing is rare (no entropy source yet); the kernel's is the fallback.
    std::ifstream urandom("/dev/urandom", std::ios::binary);
    if (!urandom.read(reinterpret_cast<char*>(bytes.data()), bytes.size())) {
        throw std::runtime_error("no source of random bytes for message identifiers");
    }
    return bytes;
}

}  // namespace

std::string NewUuidUrn() {
    auto bytes = RandomBytes();
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    char text[48];
    std::snprintf(text, sizeof text,
                  "uuid:%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", bytes[0],
                  bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6], bytes[7], bytes[8], bytes[9],
                  bytes[10], bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
    return text;
}

}  // namespace wsman::soap
