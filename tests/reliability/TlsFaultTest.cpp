// HTTPS to a service whose certificate must not be accepted: signed by a CA the client does not trust, or
// expired. The client trusts the test CA through TrustedCAFile; each refusal is followed by a connect of the
// same handle to a good certificate. (A certificate for another name: tests/unit/wsman_transport.)
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <string>

#include "ReliabilitySupport.h"
#include "TestCertificate.h"

namespace qn::reliability {
namespace {

constexpr long kDay = 86400;

TEST(TlsFaultTest, UntrustedAndExpiredCertificatesAreRefusedAndTheHandleConnectsToAGoodOne) {
    // A folder apart from the bench's: the client settings must name the CA before the handle exists.
    ScratchFolder folder;
    const CertificateOptions local{"localhost", "DNS:localhost,IP:127.0.0.1", -kDay, 30 * kDay, false};
    const auto ca = MakeCertificate(folder, "ca", {"Reliability Test CA", "", -kDay, 30 * kDay, true});
    MakeCertificate(folder, "good", local, &ca);
    MakeCertificate(folder, "expired", {"localhost", local.altNames, -30 * kDay, -kDay, false}, &ca);
    MakeCertificate(folder, "untrusted", local);
    const auto https = [&](const std::string& which) {
        return SimSetup{
            .https = true, .certFile = folder.File(which + ".pem"), .keyFile = folder.File(which + ".key")};
    };

    for (const char* bad : {"untrusted", "expired"}) {
        SCOPED_TRACE(bad);
        Bench bench(Transport::BasicOverHttp, "TrustedCAFile=" + ca.certificateFile + "\n");
        ASSERT_TRUE(bench.StartSim(https(bad))) << bench.SimError();
        EXPECT_EQ(bench.ConnectToSim(), QNSNWSM_FAILURE);
        EXPECT_EQ(bench.ErrorText(), WinrmErrorText(0x80072F8F));

        ASSERT_TRUE(bench.StartSim(https("good"))) << bench.SimError();
        ExpectHandleRecovers(bench);
    }
}

std::string Sha256Hex(const std::string& der) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_Digest(der.data(), der.size(), digest, &size, EVP_sha256(), nullptr);
    std::string hex;
    for (unsigned int i = 0; i < size; ++i)
        hex += "0123456789abcdef"[digest[i] >> 4], hex += "0123456789abcdef"[digest[i] & 15];
    return hex;
}

// WinRM's own HTTPS listener has a self-signed certificate: pinned, it is trusted on its own, under any name.
// A CA file that is not there says so, not "handshake failed".
TEST(TlsFaultTest, APinnedCertificateNeedsNothingElseAndAMissingCaFileIsNamed) {
    ScratchFolder folder;
    const auto self =
        MakeCertificate(folder, "self", {"winrm-listener", "DNS:winrm-listener", -kDay, 30 * kDay, true});
    const SimSetup https{.https = true, .certFile = self.certificateFile, .keyFile = self.keyFile};

    Bench pinned(Transport::BasicOverHttp, "CertificateThumbprintSHA256=" + Sha256Hex(self.der) + "\n");
    ASSERT_TRUE(pinned.StartSim(https)) << pinned.SimError();
    ExpectHandleRecovers(pinned);

    Bench missing(Transport::BasicOverHttp, "TrustedCAFile=" + folder.File("no-such-ca.pem") + "\n");
    ASSERT_TRUE(missing.StartSim(https)) << missing.SimError();
    EXPECT_EQ(missing.ConnectToSim(), QNSNWSM_FAILURE);
    const std::string text = missing.ErrorText();
    EXPECT_EQ(text.rfind(WinrmErrorText(0x80338192) + ": The TrustedCAFile", 0), 0u) << text;
}

}  // namespace
}  // namespace qn::reliability
