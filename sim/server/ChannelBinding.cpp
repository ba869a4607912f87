#include "server/ChannelBinding.h"

#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <memory>

namespace qnsim {

std::optional<std::string> TlsServerEndPointBinding(const std::string& certificatePem) {
    std::unique_ptr<BIO, decltype(&BIO_free)> bio(
        BIO_new_mem_buf(certificatePem.data(), static_cast<int>(certificatePem.size())), &BIO_free);
    if (!bio) return std::nullopt;
    std::unique_ptr<X509, decltype(&X509_free)> certificate(
        PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr), &X509_free);
    if (!certificate) return std::nullopt;
    int digestNid = NID_undef;
    if (OBJ_find_sigid_algs(X509_get_signature_nid(certificate.get()), &digestNid, nullptr) == 0)
        digestNid = NID_undef;
    const EVP_MD* digest = digestNid == NID_undef || digestNid == NID_md5 || digestNid == NID_sha1
                               ? EVP_sha256()
                               : EVP_get_digestbynid(digestNid);
    if (digest == nullptr) digest = EVP_sha256();
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (X509_digest(certificate.get(), digest, hash, &length) != 1) return std::nullopt;
    return "tls-server-end-point:" + std::string(reinterpret_cast<const char*>(hash), length);
}

}  // namespace qnsim
