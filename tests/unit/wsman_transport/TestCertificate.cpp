#include "TestCertificate.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>

namespace wsman::test {
namespace {

struct PkeyFree {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct X509Free {
    void operator()(X509* certificate) const { X509_free(certificate); }
};
struct FileClose {
    void operator()(FILE* file) const { fclose(file); }
};

}  // namespace

TestCertificate MakeSelfSignedCertificate(const TempFolder& folder) {
    std::unique_ptr<EVP_PKEY, PkeyFree> key(EVP_EC_gen("P-256"));
    std::unique_ptr<X509, X509Free> certificate(X509_new());
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 86400);
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME* name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("localhost"),
                               -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate.get(), certificate.get(), nullptr, nullptr, 0);
    for (const auto& [nid, value] : {std::pair{NID_subject_alt_name, "DNS:localhost"},
                                     std::pair{NID_basic_constraints, "critical,CA:TRUE"}}) {
        X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
        X509_add_ext(certificate.get(), extension, -1);
        X509_EXTENSION_free(extension);
    }
    X509_sign(certificate.get(), key.get(), EVP_sha256());

    TestCertificate result{folder.Path("server.pem"), folder.Path("server.key"), {}};
    {
        std::unique_ptr<FILE, FileClose> file(fopen(result.certificateFile.c_str(), "w"));
        PEM_write_X509(file.get(), certificate.get());
    }
    {
        std::unique_ptr<FILE, FileClose> file(fopen(result.keyFile.c_str(), "w"));
        PEM_write_PrivateKey(file.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    }
    const int length = i2d_X509(certificate.get(), nullptr);
    result.der.resize(static_cast<std::size_t>(length));
    auto* cursor = reinterpret_cast<unsigned char*>(result.der.data());
    i2d_X509(certificate.get(), &cursor);
    return result;
}

SslContext MakeServerTlsContext(const TestCertificate& certificate) {
    SslContext context(SSL_CTX_new(TLS_server_method()));
    SSL_CTX_use_certificate_file(context.get(), certificate.certificateFile.c_str(), SSL_FILETYPE_PEM);
    SSL_CTX_use_PrivateKey_file(context.get(), certificate.keyFile.c_str(), SSL_FILETYPE_PEM);
    return context;
}

}  // namespace wsman::test
