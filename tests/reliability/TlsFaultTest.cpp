// HTTPS to a service whose certificate must not be accepted: signed by a CA the client does not trust,
// expired, or issued for another name. Certificates are made here with OpenSSL; the client trusts the test
// CA through TrustedCAFile. Each failure is followed by a connect of the same handle that succeeds.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "ReliabilitySupport.h"

namespace qn::reliability {
namespace {

using KeyPtr = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using CertPtr = std::unique_ptr<X509, decltype(&X509_free)>;

KeyPtr NewKey() {
    return KeyPtr(EVP_EC_gen("P-256"), EVP_PKEY_free);
}

void AddExtension(X509* cert, X509* issuer, int nid, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, cert, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
    if (extension == nullptr) throw std::runtime_error("bad certificate extension");
    X509_add_ext(cert, extension, -1);
    X509_EXTENSION_free(extension);
}

// A certificate for `name` valid from `fromDays` to `toDays` relative to now; self-signed when no issuer.
CertPtr NewCertificate(EVP_PKEY* key, const std::string& name, const char* altNames, long fromDays,
                       long toDays, X509* issuer, EVP_PKEY* issuerKey, bool isCa, long serial) {
    CertPtr cert(X509_new(), X509_free);
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), serial);
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), fromDays * 86400);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), toDays * 86400);
    X509_NAME* subject = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    X509_set_issuer_name(cert.get(), issuer ? X509_get_subject_name(issuer) : subject);
    X509_set_pubkey(cert.get(), key);
    X509* signer = issuer ? issuer : cert.get();
    if (isCa) {
        AddExtension(cert.get(), signer, NID_basic_constraints, "critical,CA:TRUE");
        AddExtension(cert.get(), signer, NID_key_usage, "critical,keyCertSign,cRLSign");
    } else {
        AddExtension(cert.get(), signer, NID_basic_constraints, "CA:FALSE");
        AddExtension(cert.get(), signer, NID_ext_key_usage, "serverAuth");
        AddExtension(cert.get(), signer, NID_subject_alt_name, altNames);
    }
    if (X509_sign(cert.get(), issuerKey ? issuerKey : key, EVP_sha256()) == 0)
        throw std::runtime_error("cannot sign the certificate");
    return cert;
}

void WritePem(const std::filesystem::path& file, X509* cert) {
    std::unique_ptr<FILE, decltype(&fclose)> out(fopen(file.c_str(), "w"), fclose);
    if (!out || PEM_write_X509(out.get(), cert) == 0)
        throw std::runtime_error("cannot write " + file.string());
}

void WritePem(const std::filesystem::path& file, EVP_PKEY* key) {
    std::unique_ptr<FILE, decltype(&fclose)> out(fopen(file.c_str(), "w"), fclose);
    if (!out || PEM_write_PrivateKey(out.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 0)
        throw std::runtime_error("cannot write " + file.string());
}

// The test CA and server certificates, in a folder of their own (the bench's folder holds the client
// settings, which must name the CA before the handle exists).
class Certificates {
  public:
    Certificates() {
        std::string pattern = (std::filesystem::temp_directory_path() / "qnsnwsm-tls-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
        folder_ = pattern;
        KeyPtr caKey = NewKey();
        CertPtr ca =
            NewCertificate(caKey.get(), "Reliability Test CA", nullptr, -1, 30, nullptr, nullptr, true, 1);
        WritePem(CaFile(), ca.get());
        const char* localNames = "DNS:localhost,IP:127.0.0.1";
        Issue("good", "localhost", localNames, -1, 30, ca.get(), caKey.get(), 2);
        Issue("expired", "localhost", localNames, -30, -1, ca.get(), caKey.get(), 3);
        Issue("other-name", "other.example", "DNS:other.example", -1, 30, ca.get(), caKey.get(), 4);
        Issue("untrusted", "localhost", localNames, -1, 30, nullptr, nullptr, 5);
    }
    ~Certificates() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    Certificates(const Certificates&) = delete;
    Certificates& operator=(const Certificates&) = delete;

    std::filesystem::path CaFile() const { return folder_ / "ca.pem"; }
    SimSetup Setup(const std::string& which) const {
        SimSetup setup;
        setup.https = true;
        setup.certFile = (folder_ / (which + ".pem")).string();
        setup.keyFile = (folder_ / (which + ".key")).string();
        return setup;
    }

  private:
    void Issue(const std::string& which, const std::string& name, const char* altNames, long fromDays,
               long toDays, X509* ca, EVP_PKEY* caKey, long serial) {
        KeyPtr key = NewKey();
        CertPtr cert = NewCertificate(key.get(), name, altNames, fromDays, toDays, ca, caKey, false, serial);
        WritePem(folder_ / (which + ".pem"), cert.get());
        WritePem(folder_ / (which + ".key"), key.get());
    }

    std::filesystem::path folder_;
};

class TlsFaultTest : public ::testing::TestWithParam<const char*> {
  protected:
    static void SetUpTestSuite() { certificates_ = new Certificates(); }
    static void TearDownTestSuite() {
        delete certificates_;
        certificates_ = nullptr;
    }
    static Certificates* certificates_;
};

Certificates* TlsFaultTest::certificates_ = nullptr;

TEST_P(TlsFaultTest, CertificateIsRefusedAndTheHandleConnectsToAGoodOneAfterwards) {
    Bench bench(Transport::BasicOverHttp, "TrustedCAFile=" + certificates_->CaFile().string() + "\n");
    std::string error;
    ASSERT_TRUE(bench.StartSim(certificates_->Setup(GetParam()), error)) << error;
    EXPECT_EQ(bench.ConnectToSim(), QNSNWSM_FAILURE);
    EXPECT_EQ(bench.ErrorText(), WinrmErrorText(0x80072F8F));

    ASSERT_TRUE(bench.StartSim(certificates_->Setup("good"), error)) << error;
    ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();
    std::string list;
    EXPECT_EQ(bench.ServiceList(list), QNSNWSM_OK) << bench.ErrorText();
    EXPECT_EQ(list, ExpectedServiceList());
}

INSTANTIATE_TEST_SUITE_P(BadCertificates, TlsFaultTest,
                         ::testing::Values("untrusted", "expired", "other-name"), [](const auto& info) {
                             std::string name = info.param;
                             name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
                             return name;
                         });

}  // namespace
}  // namespace qn::reliability
