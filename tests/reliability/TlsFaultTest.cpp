// HTTPS to a service whose certificate must not be accepted: signed by a CA the client does not trust,
// expired, or issued for another name. Certificates are made here with OpenSSL; the client trusts the test
// CA through TrustedCAFile. Each failure is followed by a connect of the same handle that succeeds.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ReliabilitySupport.h"
#include "TestCertificate.h"

namespace qn::reliability {
namespace {

constexpr long kDay = 86400;

class TlsFaultTest : public ::testing::TestWithParam<const char*> {
  protected:
    // The test CA and the server certificates, in a folder of their own: the bench's folder holds the client
    // settings, which must name the CA before the handle exists.
    static void SetUpTestSuite() {
        folder_ = std::make_unique<qntest::ScratchFolder>();
        const qntest::CertificateOptions local{"localhost", "DNS:localhost,IP:127.0.0.1", -kDay, 30 * kDay,
                                               false};
        ca_ = qntest::MakeCertificate(*folder_, "ca", {"Reliability Test CA", "", -kDay, 30 * kDay, true});
        qntest::MakeCertificate(*folder_, "good", local, &ca_);
        qntest::MakeCertificate(*folder_, "expired", {"localhost", local.altNames, -30 * kDay, -kDay, false},
                                &ca_);
        qntest::MakeCertificate(*folder_, "othername",
                                {"other.example", "DNS:other.example", -kDay, kDay, false}, &ca_);
        qntest::MakeCertificate(*folder_, "untrusted", local);
    }
    static void TearDownTestSuite() { folder_.reset(); }

    static SimSetup Https(const std::string& which) {
        return {.https = true,
                .certFile = folder_->File(which + ".pem"),
                .keyFile = folder_->File(which + ".key")};
    }

    static inline std::unique_ptr<qntest::ScratchFolder> folder_;
    static inline qntest::TestCertificate ca_;
};

TEST_P(TlsFaultTest, CertificateIsRefusedAndTheHandleConnectsToAGoodOneAfterwards) {
    Bench bench(Transport::BasicOverHttp, "TrustedCAFile=" + ca_.certificateFile + "\n");
    std::string error;
    ASSERT_TRUE(bench.StartSim(Https(GetParam()), error)) << error;
    EXPECT_EQ(bench.ConnectToSim(), QNSNWSM_FAILURE);
    EXPECT_EQ(bench.ErrorText(), WinrmErrorText(0x80072F8F));

    ASSERT_TRUE(bench.StartSim(Https("good"), error)) << error;
    ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();
    std::string list;
    EXPECT_EQ(bench.ServiceList(list), QNSNWSM_OK) << bench.ErrorText();
    EXPECT_EQ(list, ExpectedServiceList());
}

INSTANTIATE_TEST_SUITE_P(BadCertificates, TlsFaultTest,
                         ::testing::Values("untrusted", "expired", "othername"),
                         [](const auto& info) { return std::string(info.param); });

}  // namespace
}  // namespace qn::reliability
