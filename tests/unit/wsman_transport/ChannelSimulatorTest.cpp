// Sealed conversations against the WinRM simulator, a server written independently of this client: NTLM,
// Negotiate and Kerberos over HTTP, Negotiate bound to the certificate over HTTPS, and the codes of refused
// logins. (Basic refused over plain HTTP: tests/reliability.)
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "ChannelTestSupport.h"
#include "LoopbackKdc.h"
#include "TestCertificate.h"
#include "server/SimServer.h"
#include "wsman/core/ErrorCodes.h"
#include "wsman/soap/Requests.h"

namespace wsman {
namespace {

using namespace errors;

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
    void Start(const std::function<void(qnsim::SimOptions&)>& configure = [](qnsim::SimOptions&) {}) {
        qnsim::SimOptions options;
        configure(options);
        options.usersFile = folder_.Write("users", test::kUsers);
        std::string error;
        server_ = qnsim::StartSimServer(options, error);
        ASSERT_TRUE(server_) << error;
    }
    test::SendResult Enumerate(Channel& channel, const std::string& url, int sequence = 0) {
        return test::SendOnce(channel, EnumerateOperatingSystem(url, sequence));
    }
    // Two enumerations on one channel for each scheme: the second one is sealed with the next sequence
    // number.
    void ExpectEnumerations(ChannelSettings settings, std::initializer_list<AuthScheme> schemes) {
        for (const AuthScheme scheme : schemes) {
            settings.scheme = scheme;
            const auto channel = CreateChannel(settings);
            for (int sequence = 0; sequence < 2; ++sequence) {
                const auto result = Enumerate(*channel, settings.url, sequence);
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
    ASSERT_NO_FATAL_FAILURE(Start());
    auto settings = test::LoopbackSettings(test::Url("http", server_->Port()));
    ExpectEnumerations(settings, {AuthScheme::Ntlm, AuthScheme::Negotiate});

    settings.password = "Wr0ng-Secret";
    for (const AuthScheme scheme : {AuthScheme::Ntlm, AuthScheme::Negotiate}) {
        settings.scheme = scheme;
        const auto result = test::SendOnce(settings);
        EXPECT_EQ(result.code, kAccessDenied) << result.detail;
        EXPECT_EQ(result.detail.find("Wr0ng-Secret"), std::string::npos);
    }
}

TEST_F(ChannelSimulator, NegotiateOverHttpsBindsToTheCertificate) {
    const test::TestCertificate certificate = test::MakeSelfSignedCertificate(folder_);
    ASSERT_NO_FATAL_FAILURE(Start([&](qnsim::SimOptions& o) {
        o.https = true;
        o.certFile = certificate.certificateFile;
        o.keyFile = certificate.keyFile;
    }));
    auto settings = test::LoopbackSettings(test::Url("https", server_->Port()));
    settings.caFile = certificate.certificateFile;
    ExpectEnumerations(settings, {AuthScheme::Ntlm, AuthScheme::Negotiate});
}

TEST_F(ChannelSimulator, KerberosWithTheSimulatorsRealm) {
    const test::LoopbackKdc kdc(folder_, test::kPassword);
    if (!kdc.Ready()) GTEST_SKIP() << "no loopback KDC: " << kdc.Problem();
    ASSERT_NO_FATAL_FAILURE(Start([&](qnsim::SimOptions& o) { o.keytabFile = kdc.Keytab(); }));
    const std::uint16_t port = server_->Port();
    const std::string url = test::Url("http", port);
    auto settings = test::LoopbackSettings(url);
    settings.userName = test::LoopbackKdc::kUser;
    ExpectEnumerations(settings, {AuthScheme::Kerberos});
    // Negotiate takes a domain into the realm of that name; the simulator knows no NTLM user TEST\alice, so
    // only Kerberos can succeed here.
    settings.userName = "TEST\\alice";
    ExpectEnumerations(settings, {AuthScheme::Negotiate});

    // Refusals before the server is asked, each with the code Windows gives.
    const auto kerberos = [&](const std::string& userName, const std::string& password) {
        auto refused = test::LoopbackSettings(url, AuthScheme::Kerberos);
        refused.userName = userName;
        refused.password = password;
        const auto result = test::SendOnce(refused);
        EXPECT_EQ(result.detail.find("Wr0ng-Secret"), std::string::npos);
        return result.code;
    };
    EXPECT_EQ(kerberos(test::LoopbackKdc::kUser, "Wr0ng-Secret"), kAccessDenied);
    EXPECT_EQ(kerberos("alice@NOWHERE.TEST", test::kPassword), kNoAuthenticatingAuthority);
    EXPECT_EQ(kerberos("", ""), kCredentialsNeeded) << "no password and no ticket in the (empty) cache";

    // A ticket that has expired by the time the connection is lost is renewed from the password.
    settings.userName = test::LoopbackKdc::kShortLivedUser;
    settings.scheme = AuthScheme::Kerberos;
    const auto channel = CreateChannel(settings);
    ASSERT_EQ(Enumerate(*channel, url).code, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(3000));  // outlive the 2-second ticket
    server_.reset();
    ASSERT_NO_FATAL_FAILURE(Start([&](qnsim::SimOptions& o) {
        o.port = port;
        o.keytabFile = kdc.Keytab();
    }));
    const auto renewed = Enumerate(*channel, url, 1);
    EXPECT_EQ(renewed.code, 0) << renewed.detail;
}

}  // namespace
}  // namespace wsman
