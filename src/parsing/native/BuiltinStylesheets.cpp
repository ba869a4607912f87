#include "parsing/native/BuiltinStylesheets.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <string>

namespace qn::parsing::native {

namespace {

// SHA-256 of share/qnsnwsm/Sys/Wsman/WsmTxtEx.xsl, the file InstanceRecordWriter reproduces. A change to
// that file makes a unit test fail until the writer has been brought in line and this digest updated.
constexpr std::string_view kInstanceRecordSha256 =
    "54c14d89a8ac9d336703315b6743319c5c201960a52cabd869306aab7a08ed28";

constexpr std::string_view kInstanceRecordFileName = "WsmTxtEx.xsl";

bool EqualIgnoringAsciiCase(std::string_view left, std::string_view right) {
    return left.size() == right.size() &&
           std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) ==
                      std::tolower(static_cast<unsigned char>(b));
           });
}

std::string Sha256Hex(std::string_view bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) return {};
    std::string hex;
    for (unsigned int i = 0; i < length; ++i) {
        char pair[3];
        std::snprintf(pair, sizeof(pair), "%02x", digest[i]);
        hex.append(pair);
    }
    return hex;
}

}  // namespace

BuiltinStylesheet RecognizeStylesheet(std::string_view fileName, std::string_view fileBytes) {
    if (Sha256Hex(fileBytes) == kInstanceRecordSha256) return BuiltinStylesheet::InstanceRecord;
    return EqualIgnoringAsciiCase(fileName, kInstanceRecordFileName) ? BuiltinStylesheet::EditedInstanceRecord
                                                                     : BuiltinStylesheet::None;
}

}  // namespace qn::parsing::native
