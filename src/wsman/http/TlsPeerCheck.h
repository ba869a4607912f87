// Hooks into libcurl's OpenSSL handshake: records the server certificate of each new connection
// (for channel binding), checks a pinned SHA-256 fingerprint, and adds an extra CA file to the
// system store (libcurl's CAINFO would replace the system store instead).
#pragma once

#include <curl/curl.h>

#include <string>

namespace wsman::http {

struct TlsPeerCheck {
    std::string extraCaFile;  // PEM bundle trusted in addition to the system store
    // Hex; when set the leaf certificate must match it and nothing else is asked of the chain.
    std::string pinnedSha256;
    bool skipCaCheck = false;  // chain errors are ignored (a pin, when set, still applies)

    // Results of the last handshake.
    std::string serverCertificateDer;
    bool pinMismatch = false;
    bool caFileUnusable = false;  // extraCaFile is missing, unreadable or holds no certificate
};

// Installs the hooks on `curl`; `check` must outlive every transfer on it.
void InstallTlsPeerCheck(CURL* curl, TlsPeerCheck& check);

}  // namespace wsman::http
