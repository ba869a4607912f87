// Channel binding of TLS for NTLM and Kerberos over HTTPS (RFC 5929 "tls-server-end-point"): the
// server certificate's hash, so a man in the middle with another certificate cannot relay the login.
#pragma once

#include <string>

namespace wsman::security {

// "tls-server-end-point:" followed by the hash of the DER certificate: the hash of the certificate's
// own signature algorithm, SHA-256 when that is MD5 or SHA-1. Empty when the DER cannot be parsed.
std::string TlsServerEndPointBinding(const std::string& certificateDer);

// Lower-case hex SHA-256 of the DER certificate (what a pinned fingerprint is compared with).
std::string CertificateSha256Hex(const std::string& certificateDer);

// True when `fingerprint` names the same SHA-256 as `hex`, ignoring case, ':' and blanks.
bool SameFingerprint(const std::string& fingerprint, const std::string& hex);

}  // namespace wsman::security
