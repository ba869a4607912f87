// Certificates made at test time with OpenSSL: self-signed, or issued by a test CA.
#pragma once

#include <string>

#include "TestFiles.h"
#include "TestHttpServer.h"

namespace qntest {

struct CertificateOptions {
    std::string commonName = "localhost";
    std::string altNames = "DNS:localhost";  // subjectAltName; empty: none
    long fromSeconds = -3600;                // validity, relative to now
    long toSeconds = 86400;
    bool isCa = true;  // a self-signed server certificate is also its own trust anchor
};

struct TestCertificate {
    std::string certificateFile;  // PEM
    std::string keyFile;          // PEM
    std::string der;
};

// Writes <stem>.pem and <stem>.key into `folder`; signed by `issuer` or, without one, by itself.
TestCertificate MakeCertificate(const ScratchFolder& folder, const std::string& stem,
                                const CertificateOptions& options = {},
                                const TestCertificate* issuer = nullptr);

inline TestCertificate MakeSelfSignedCertificate(const ScratchFolder& folder) {
    return MakeCertificate(folder, "server");
}

SslContext MakeServerTlsContext(const TestCertificate& certificate);

}  // namespace qntest
