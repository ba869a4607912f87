// The channel against the WinRM simulator: a server written independently of this client.
#include <gtest/gtest.h>

#include "ChannelTestSupport.h"
#include "LoopbackKdc.h"
#include "TestCertificate.h"
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
    void Start(qnsim::SimOptions options) {
        options.usersFile = folder_.Write("users", "TESTDOM:alice:Passw0rd!\n");
        std::string error;
        server_ = qnsim::StartSimServer(options, error);
        ASSERT_TRUE(server_) << error;
    }
    // Two enumerations on one channel for each scheme.
    void ExpectEnumerations(ChannelSettings settings, std::initializer_list<AuthScheme> schemes) {
        for (const AuthScheme scheme : schemes) {
            settings.scheme = scheme;
            const auto channel = CreateChannel(settings);
            for (int sequence = 0; sequence < 2; ++sequence) {
                const auto result =
                    test::SendOnce(*channel, EnumerateOperatingSystem(settings.url, sequence));
                ASSERT_EQ(result.code, 0) << result.detail;
                EXPECT_EQ(result.exchange.httpStatus, 200);
                EXPECT_NE(result.exchange.body.find("EnumerateResponse"), std::string::npos);
            }
        }
    }

    test::ScratchFolder folder_;
    std::unique_ptr<qnsim::SimServer> server_;
};

TEST_F(ChannelSimulator, SealedEnumerationsWithNtlmAndNegotiateAndAWrongPassword) {
    ASSERT_NO_FATAL_FAILURE(Start({}));
    auto settings = test::LoopbackSettings(test::HttpUrl(server_->Port(), "localhost"));
    ExpectEnumerations(settings, {AuthScheme::Ntlm, AuthScheme::Negotiate});

    settings.scheme = AuthScheme::Negotiate;
    settings.password = "Wr0ng-Secret";
    const auto result = test::SendOnce(settings);
    EXPECT_EQ(result.code, kAccessDenied) << result.detail;
    EXPECT_EQ(result.detail.find("Wr0ng-Secret"), std::string::npos);
}

TEST_F(ChannelSimulator, UnencryptedTrafficOnlyWhenBothSidesAllowIt) {
    qnsim::SimOptions options;
    options.basic = true;
    options.allowUnencrypted = true;
    ASSERT_NO_FATAL_FAILURE(Start(options));
    auto settings = test::LoopbackSettings(test::HttpUrl(server_->Port(), "localhost"), AuthScheme::Basic);
    settings.userName = "alice";
    EXPECT_EQ(test::SendOnce(*CreateChannel(settings), EnumerateOperatingSystem(settings.url, 0)).code,
              kUnencryptedDisabled);
    settings.allowUnencrypted = true;
    ExpectEnumerations(settings, {AuthScheme::Basic});
}

TEST_F(ChannelSimulator, NegotiateOverHttpsBindsToTheCertificate) {
    const test::TestCertificate certificate = test::MakeSelfSignedCertificate(folder_);
    qnsim::SimOptions options;
    options.https = true;
    options.certFile = certificate.certificateFile;
    options.keyFile = certificate.keyFile;
    ASSERT_NO_FATAL_FAILURE(Start(options));
    auto settings = test::LoopbackSettings(test::HttpsUrl(server_->Port()));
    settings.caFile = certificate.certificateFile;
    ExpectEnumerations(settings, {AuthScheme::Ntlm, AuthScheme::Negotiate});
}

TEST_F(ChannelSimulator, KerberosWithTheSimulatorsRealm) {
    const test::LoopbackKdc kdc(folder_, test::kPassword);
    if (!kdc.Ready()) GTEST_SKIP() << "no loopback KDC: " << kdc.Problem();
    qnsim::SimOptions options;
    options.keytabFile = kdc.Keytab();
    ASSERT_NO_FATAL_FAILURE(Start(options));
    auto settings = test::LoopbackSettings(test::HttpUrl(server_->Port(), "localhost"));
    settings.userName = test::LoopbackKdc::kUser;
    ExpectEnumerations(settings, {AuthScheme::Kerberos, AuthScheme::Negotiate});
}

}  // namespace
}  // namespace wsman
