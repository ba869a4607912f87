// The multipart/encrypted framing WinRM puts around a sealed SOAP message over HTTP:
//   --Encrypted Boundary / Content-Type: <protocol> / OriginalContent: ...;Length=N
//   --Encrypted Boundary / Content-Type: application/octet-stream / LE32 len, signature, sealed bytes
//   --Encrypted Boundary--
// The sealed bytes are binary, so the parser walks by lengths, never by searching for the boundary.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qnsim {

inline constexpr std::string_view kSpnegoEncrypted = "application/HTTP-SPNEGO-session-encrypted";
inline constexpr std::string_view kKerberosEncrypted = "application/HTTP-Kerberos-session-encrypted";

struct EncryptedBody {
    std::string protocol;            // one of the two strings above
    std::size_t originalLength = 0;  // the OriginalContent Length= value
    std::string signature;  // the security header (16 bytes for NTLM, the RFC 4121 header for Kerberos)
    std::string sealed;     // originalLength sealed bytes
};

// True when the Content-Type announces a multipart/encrypted body.
bool IsEncryptedContentType(std::string_view contentType);

// Null when the content type or the framing is malformed.
std::optional<EncryptedBody> ParseEncryptedBody(std::string_view contentType, std::string_view body);

// The Content-Type header and the body for a reply sealed under `protocol`.
std::string EncryptedContentType(std::string_view protocol);
std::string BuildEncryptedBody(const EncryptedBody& parts);

}  // namespace qnsim
