// The multipart/encrypted framing WinRM wraps sealed SOAP messages in (MS-WSMV 2.2.9.1):
//
//   --Encrypted Boundary\r\n
//   \tContent-Type: application/HTTP-SPNEGO-session-encrypted\r\n
//   \tOriginalContent: type=application/soap+xml;charset=UTF-8;Length=<n>\r\n
//   --Encrypted Boundary\r\n
//   \tContent-Type: application/octet-stream\r\n
//   <LE32 header length><header (signature / krb5 token header)><sealed data>--Encrypted Boundary--\r\n
//
// Pure byte handling; the GSSAPI side lives in SessionEncryption.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace wsman::security {

inline constexpr const char* kSpnegoEncryptedProtocol = "application/HTTP-SPNEGO-session-encrypted";
inline constexpr const char* kEncryptedContentType =
    "multipart/encrypted;protocol=\"application/HTTP-SPNEGO-session-encrypted\";boundary=\"Encrypted "
    "Boundary\"";
inline constexpr const char* kSoapContentType = "application/soap+xml;charset=UTF-8";

struct EncryptedPart {
    std::size_t originalLength = 0;  // "Length=" of the OriginalContent line
    std::string originalType;        // "application/soap+xml;charset=UTF-8"
    // Views into the parsed body, or into the caller's bytes when building. The data follows the header
    // directly, so the two are one token for GSSAPI.
    std::string_view header;  // the bytes the LE32 length announces
    std::string_view data;    // the sealed bytes after the header
};

std::string BuildEncryptedBody(const EncryptedPart& part);

// True for a Content-Type of multipart/encrypted or multipart/x-multi-encrypted.
bool IsEncryptedContentType(const std::string& contentType);

// Splits a reply body into its encrypted parts. Binary-safe: the sealed data is located by the
// announced lengths, not by searching the boundary inside ciphertext (that is only the fallback
// when the lengths do not line up). Accepts header lines with or without the leading TAB and the
// "-- Encrypted Boundary" spelling some servers use. Returns false and sets `error` on malformed input.
bool ParseEncryptedBody(std::string_view body, std::vector<EncryptedPart>& parts, std::string& error);

}  // namespace wsman::security
