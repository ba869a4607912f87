// HTTPS to a service whose certificate must not be accepted: signed by a CA the client does not trust,
// expired, or issued for another name. Certificates are made here with OpenSSL; the client trusts the test
// CA through TrustedCAFile. Each failure is followed by a connect of the same handle that succeeds.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "ReliabilitySupport.h"
#include "TestCertificate.h"

namespace qn::reliability {
namespace {

constexpr long kDay = 86400;

// The test CA and server certificates, in a folder of their own (the bench's folder holds the client
// settings, which must name the CA before the handle exists).
class Certificates {
  public:
    Certificates() {
        const qntest::CertificateOptions local{"localhost", "DNS:localhost,IP:127.0.0.1", -kDay, 30 * kDay,
                                               false};
        qntest::CertificateOptions expired = local, otherName = local;
        expired.fromSeconds = -30 * kDay;
        expired.toSeconds = -kDay;
        otherName.commonName = "other.example";
        otherName.altNames = "DNS:other.example";
        ca_ = qntest::MakeCertificate(folder_, "ca", {"Reliability Test CA", "", -kDay, 30 * kDay, true});
        qntest::MakeCertificate(folder_, "good", local, &ca_);
        qntest::MakeCertificate(folder_, "expired", expired, &ca_);
        qntest::MakeCertificate(folder_, "other-name", otherName, &ca_);
        qntest::MakeCertificate(folder_, "untrusted", local);
    }

    std::string CaFile() const { return ca_.certificateFile; }
    SimSetup Setup(const std::string& which) const {
        SimSetup setup;
        setup.https = true;
        setup.certFile = folder_.File(which + ".pem");
        setup.keyFile = folder_.File(which + ".key");
        return setup;
    }

  private:
    qntest::ScratchFolder folder_;
    qntest::TestCertificate ca_;
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
    Bench bench(Transport::BasicOverHttp, "TrustedCAFile=" + certificates_->CaFile() + "\n");
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
