// The TLS channel binding Negotiate carries over HTTPS (RFC 5929 tls-server-end-point): a hash of the
// server certificate, which ties the authentication to this TLS connection.
#pragma once

#include <optional>
#include <string>

namespace qnsim {

// "tls-server-end-point:" followed by the certificate's hash, with the certificate's own signature hash
// algorithm, or SHA-256 when that is MD5 or SHA-1. Null when the PEM holds no certificate.
std::optional<std::string> TlsServerEndPointBinding(const std::string& certificatePem);

}  // namespace qnsim
