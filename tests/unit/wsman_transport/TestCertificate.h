// A self-signed server certificate made at test time (CN and DNS name "localhost").
#pragma once

#include <string>

#include "TestFiles.h"
#include "TestHttpServer.h"

namespace wsman::test {

struct TestCertificate {
    std::string certificateFile;  // PEM
    std::string keyFile;          // PEM
    std::string der;
};

TestCertificate MakeSelfSignedCertificate(const TempFolder& folder);

SslContext MakeServerTlsContext(const TestCertificate& certificate);

}  // namespace wsman::test
