// HTTPS to a service whose certificate must not be accepted: signed by a CA the client does not trust, or
// expired. The client trusts the test CA through TrustedCAFile; each refusal is followed by a connect of the
// same handle to a good certificate. (A certificate for another name: tests/unit/wsman_transport.)
#include <gtest/gtest.h>

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
        ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();
        EXPECT_TRUE(bench.ReadsTheComputer()) << bench.ErrorText();
    }
}

}  // namespace
}  // namespace qn::reliability
