#include "wsman/security/TlsChannelBinding.h"

#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509.h>

#include <cctype>
#include <memory>

namespace wsman::security {
namespace {

struct X509Free {
    void operator()(X509* certificate) const { X509_free(certificate); }
};

std::string Digest(const EVP_MD* algorithm, const std::string& bytes) {
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), hash, &length, algorithm, nullptr) != 1) {
        return {};
    }
    return std::string(reinterpret_cast<const char*>(hash), length);
}

std::string NormalizeHex(const std::string& text) {
    std::string hex;
    for (const char c : text) {
        if (std::isxdigit(static_cast<unsigned char>(c))) {
            hex += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        } else if (c != ':' && c != ' ') {
            return {};
        }
    }
    return hex;
}

}  // namespace

std::string TlsServerEndPointBinding(const std::string& certificateDer) {
    const auto* cursor = reinterpret_cast<const unsigned char*>(certificateDer.data());
    std::unique_ptr<X509, X509Free> certificate(
        d2i_X509(nullptr, &cursor, static_cast<long>(certificateDer.size())));
    if (!certificate) {
        return {};
    }
    int digestNid = NID_undef;
    if (OBJ_find_sigid_algs(X509_get_signature_nid(certificate.get()), &digestNid, nullptr) != 1) {
        digestNid = NID_undef;
    }
    const EVP_MD* algorithm = digestNid == NID_undef || digestNid == NID_md5 || digestNid == NID_sha1
                                  ? EVP_sha256()
                                  : EVP_get_digestbynid(digestNid);
    const std::string hash = Digest(algorithm ? algorithm : EVP_sha256(), certificateDer);
    return hash.empty() ? std::string() : "tls-server-end-point:" + hash;
}

std::string CertificateSha256Hex(const std::string& certificateDer) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (const char byte : Digest(EVP_sha256(), certificateDer)) {
        const auto value = static_cast<unsigned char>(byte);
        hex += kDigits[value >> 4];
        hex += kDigits[value & 0x0F];
    }
    return hex;
}

bool SameFingerprint(const std::string& fingerprint, const std::string& hex) {
    const std::string normalized = NormalizeHex(fingerprint);
    return !normalized.empty() && normalized == NormalizeHex(hex);
}

}  // namespace wsman::security
