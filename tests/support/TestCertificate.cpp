#include "TestCertificate.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace qntest {
namespace {

using KeyPtr = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using CertPtr = std::unique_ptr<X509, decltype(&X509_free)>;
using FilePtr = std::unique_ptr<FILE, decltype(&fclose)>;

FilePtr Open(const std::string& file, const char* mode) {
    FilePtr opened(fopen(file.c_str(), mode), fclose);
    if (!opened) throw std::runtime_error("cannot open " + file);
    return opened;
}

void AddExtension(X509* cert, X509* issuer, int nid, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, cert, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
    if (extension == nullptr) throw std::runtime_error("bad certificate extension " + value);
    X509_add_ext(cert, extension, -1);
    X509_EXTENSION_free(extension);
}

}  // namespace

TestCertificate MakeCertificate(const ScratchFolder& folder, const std::string& stem,
                                const CertificateOptions& options, const TestCertificate* issuer) {
    KeyPtr key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    CertPtr cert(X509_new(), X509_free);
    CertPtr issuerCert(
        issuer ? PEM_read_X509(Open(issuer->certificateFile, "r").get(), nullptr, nullptr, nullptr) : nullptr,
        X509_free);
    KeyPtr issuerKey(
        issuer ? PEM_read_PrivateKey(Open(issuer->keyFile, "r").get(), nullptr, nullptr, nullptr) : nullptr,
        EVP_PKEY_free);
    static long serial = 1;
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), serial++);
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), options.fromSeconds);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), options.toSeconds);
    X509_NAME* subject = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(options.commonName.c_str()), -1, -1, 0);
    X509_set_issuer_name(cert.get(), issuerCert ? X509_get_subject_name(issuerCert.get()) : subject);
    X509_set_pubkey(cert.get(), key.get());
    X509* signer = issuerCert ? issuerCert.get() : cert.get();
    AddExtension(cert.get(), signer, NID_basic_constraints, options.isCa ? "critical,CA:TRUE" : "CA:FALSE");
    if (!options.isCa) AddExtension(cert.get(), signer, NID_ext_key_usage, "serverAuth");
    if (!options.altNames.empty()) AddExtension(cert.get(), signer, NID_subject_alt_name, options.altNames);
    if (X509_sign(cert.get(), issuerKey ? issuerKey.get() : key.get(), EVP_sha256()) == 0)
        throw std::runtime_error("cannot sign the certificate");

    TestCertificate result{folder.File(stem + ".pem"), folder.File(stem + ".key"), {}};
    PEM_write_X509(Open(result.certificateFile, "w").get(), cert.get());
    PEM_write_PrivateKey(Open(result.keyFile, "w").get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    result.der.resize(static_cast<std::size_t>(i2d_X509(cert.get(), nullptr)));
    auto* cursor = reinterpret_cast<unsigned char*>(result.der.data());
    i2d_X509(cert.get(), &cursor);
    return result;
}

SslContext MakeServerTlsContext(const TestCertificate& certificate) {
    SslContext context(SSL_CTX_new(TLS_server_method()));
    SSL_CTX_use_certificate_file(context.get(), certificate.certificateFile.c_str(), SSL_FILETYPE_PEM);
    SSL_CTX_use_PrivateKey_file(context.get(), certificate.keyFile.c_str(), SSL_FILETYPE_PEM);
    return context;
}

}  // namespace qntest
