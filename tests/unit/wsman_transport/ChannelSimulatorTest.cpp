// The channel against the WinRM simulator: a server written independently of this client.
#include <gtest/gtest.h>

#include "ChannelTestSupport.h"
#include "LoopbackKdc.h"
#include "TestCertificate.h"
#include "TestFiles.h"
#include "server/SimServer.h"
#include "wsman/TransportErrors.h"
#include "wsman/soap/Requests.h"

namespace wsman {
namespace {

using namespace transport_error;

std::string EnumerateOperatingSystem(const std::string& url, int sequence) {
    soap::RequestHeader header;
    header.to = url;
    header.resourceUri = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*";
    header.action = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/Enumerate";
    header.messageId = "uuid:0C2B9B0E-6D4C-4B8E-9E1A-00000000000" + std::to_string(sequence);
    return soap::BuildEnumerateRequest(header, "select * from Win32_OperatingSystem",
                                       "http://schemas.microsoft.com/wbem/wsman/1/WQL", 20);
}

class ChannelSimulator : public ::testing::Test {
  protected:
    // Skips the test (the caller checks IsSkipped) until the simulator's bundled profile exists.
    void Start(qnsim::SimOptions options = {}) {
        options.usersFile = folder_.Write("users", "TESTDOM:alice:Passw0rd!\n");
        std::string error;
        server_ = qnsim::StartSimServer(options, error);
        if (!server_ && error.find("cannot be read") != std::string::npos) {
            GTEST_SKIP() << "the simulator's profile is not available: " << error;
        }
        ASSERT_TRUE(server_) << error;
    }
    ChannelSettings Settings(AuthScheme scheme) const {
        return test::LoopbackSettings(test::HttpUrl(server_->Port(), "localhost"), scheme);
    }

    test::TempFolder folder_;
    std::unique_ptr<qnsim::SimServer> server_;
};

TEST_F(ChannelSimulator, SealedEnumerationsWithNtlmAndNegotiate) {
    Start();
    if (IsSkipped()) {
        return;
    }
    for (const AuthScheme scheme : {AuthScheme::Ntlm, AuthScheme::Negotiate}) {
        const auto settings = Settings(scheme);
        const auto channel = CreateChannel(settings);
        for (int sequence = 0; sequence < 2; ++sequence) {
            const auto result = test::SendOnce(*channel, EnumerateOperatingSystem(settings.url, sequence));
            ASSERT_EQ(result.code, 0) << result.detail;
            EXPECT_EQ(result.exchange.httpStatus, 200);
            EXPECT_NE(result.exchange.body.find("EnumerateResponse"), std::string::npos)
                << result.exchange.body;
        }
    }
}

TEST_F(ChannelSimulator, WrongPasswordIsAccessDenied) {
    Start();
    if (IsSkipped()) {
        return;
    }
    auto settings = Settings(AuthScheme::Negotiate);
    settings.password = "Wr0ng-Secret";
    const auto result = test::SendOnce(settings);
    EXPECT_EQ(result.code, kAccessDenied) << result.detail;
    EXPECT_EQ(result.detail.find("Wr0ng-Secret"), std::string::npos);
}

TEST_F(ChannelSimulator, UnencryptedTrafficOnlyWhenBothSidesAllowIt) {
    qnsim::SimOptions options;
    options.basic = true;
    options.allowUnencrypted = true;
    Start(options);
    if (IsSkipped()) {
        return;
    }
    auto settings = Settings(AuthScheme::Basic);
    settings.userName = "alice";
    EXPECT_EQ(test::SendOnce(*CreateChannel(settings), EnumerateOperatingSystem(settings.url, 0)).code,
              kUnencryptedDisabled);

    settings.allowUnencrypted = true;
    const auto allowed = test::SendOnce(*CreateChannel(settings), EnumerateOperatingSystem(settings.url, 1));
    ASSERT_EQ(allowed.code, 0) << allowed.detail;
    EXPECT_NE(allowed.exchange.body.find("EnumerateResponse"), std::string::npos);
}

TEST_F(ChannelSimulator, NegotiateOverHttpsBindsToTheCertificate) {
    const test::TestCertificate certificate = test::MakeSelfSignedCertificate(folder_);
    qnsim::SimOptions options;
    options.https = true;
    options.certFile = certificate.certificateFile;
    options.keyFile = certificate.keyFile;
    Start(options);
    if (IsSkipped()) {
        return;
    }
    for (const AuthScheme scheme : {AuthScheme::Ntlm, AuthScheme::Negotiate}) {
        auto settings = test::LoopbackSettings(test::HttpsUrl(server_->Port()), scheme);
        settings.caFile = certificate.certificateFile;
        const auto channel = CreateChannel(settings);
        for (int sequence = 0; sequence < 2; ++sequence) {
            const auto result = test::SendOnce(*channel, EnumerateOperatingSystem(settings.url, sequence));
            ASSERT_EQ(result.code, 0) << result.detail;
            EXPECT_NE(result.exchange.body.find("EnumerateResponse"), std::string::npos);
        }
    }
}

TEST_F(ChannelSimulator, KerberosWithTheSimulatorsRealm) {
    const test::LoopbackKdc kdc(folder_, test::kPassword);
    if (!kdc.Ready()) {
        GTEST_SKIP() << "no loopback KDC: " << kdc.Problem();
    }
    qnsim::SimOptions options;
    options.keytabFile = kdc.Keytab();
    Start(options);
    if (IsSkipped()) {
        return;
    }
    for (const AuthScheme scheme : {AuthScheme::Kerberos, AuthScheme::Negotiate}) {
        auto settings = Settings(scheme);
        settings.userName = test::LoopbackKdc::kUser;
        const auto channel = CreateChannel(settings);
        for (int sequence = 0; sequence < 2; ++sequence) {
            const auto result = test::SendOnce(*channel, EnumerateOperatingSystem(settings.url, sequence));
            ASSERT_EQ(result.code, 0) << result.detail;
            EXPECT_NE(result.exchange.body.find("EnumerateResponse"), std::string::npos);
        }
    }
}

}  // namespace
}  // namespace wsman
