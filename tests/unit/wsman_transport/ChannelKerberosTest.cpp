// Kerberos and SPNEGO-chosen Kerberos against a throwaway loopback realm: ticket, AP-REP, sealing
// with the RFC 4121 token header, the codes for a refused password, an unknown realm, an unknown
// service and a missing ticket, and which domain names Negotiate takes into the realm.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "ChannelTestSupport.h"
#include "GssTestAcceptor.h"
#include "LoopbackKdc.h"
#include "TestFiles.h"
#include "TestWinrmEndpoint.h"
#include "wsman/TransportErrors.h"

namespace wsman {
namespace {

using namespace transport_error;

class ChannelKerberos : public ::testing::TestWithParam<AuthScheme> {
  protected:
    static void SetUpTestSuite() {
        folder_ = std::make_unique<test::ScratchFolder>();
        kdc_ = std::make_unique<test::LoopbackKdc>(*folder_, test::kPassword);
    }
    static void TearDownTestSuite() {
        kdc_.reset();
        folder_.reset();
    }
    void SetUp() override {
        if (!kdc_->Ready()) {
            GTEST_SKIP() << "no loopback KDC: " << kdc_->Problem();
        }
        credential_ = test::AcquireAcceptorCredential(folder_->Write("users", "TESTDOM:alice:Passw0rd!\n"),
                                                      kdc_->Keytab());
        ASSERT_TRUE(credential_);
        server_ = std::make_unique<test::TestHttpServer>(test::MakeWinrmHandler(credential_.Get(), log_));
    }
    ChannelSettings Settings(const std::string& host = "localhost") const {
        auto settings = test::LoopbackSettings(test::HttpUrl(server_->Port(), host), GetParam());
        settings.userName = test::LoopbackKdc::kUser;
        return settings;
    }

    static std::unique_ptr<test::ScratchFolder> folder_;
    static std::unique_ptr<test::LoopbackKdc> kdc_;
    security::GssCredential credential_;
    test::EndpointLog log_;
    std::unique_ptr<test::TestHttpServer> server_;
};

std::unique_ptr<test::ScratchFolder> ChannelKerberos::folder_;
std::unique_ptr<test::LoopbackKdc> ChannelKerberos::kdc_;

TEST_P(ChannelKerberos, AuthenticatesWithATicketAndSealsMessages) {
    const auto channel = CreateChannel(Settings());
    for (const std::string envelope :
         {"<s:Envelope>krb one</s:Envelope>", "<s:Envelope>krb two</s:Envelope>"}) {
        const auto result = test::SendOnce(*channel, envelope);
        ASSERT_EQ(result.code, 0) << result.detail;
        EXPECT_EQ(result.exchange.body, "<s:Envelope><s:Body>" + envelope + "</s:Body></s:Envelope>");
    }
    EXPECT_EQ(log_.peers, std::vector<std::string>{test::LoopbackKdc::kUser});
    EXPECT_EQ(log_.received.size(), 2u);
    EXPECT_EQ(log_.headerLengths,
              (std::vector<std::size_t>{60, 60}));  // RFC 4121 header for AES, not NTLM's 16
    EXPECT_EQ(server_->Connections(), 1);
    const std::string expected = GetParam() == AuthScheme::Negotiate ? "SPNEGO" : "Kerberos";
    EXPECT_EQ(log_.firstTokens, std::vector<std::string>{expected});
}

TEST_P(ChannelKerberos, NegotiateTakesADomainIntoItsConfiguredRealmOnly) {
    if (GetParam() != AuthScheme::Negotiate) {
        GTEST_SKIP() << "Kerberos takes the name as it is given";
    }
    for (const std::string userName : {"TEST\\alice", "test.local\\alice"}) {
        SCOPED_TRACE(userName);
        auto settings = Settings();
        settings.userName = userName;
        const auto result = test::SendOnce(settings);
        ASSERT_EQ(result.code, 0) << result.detail;
        EXPECT_EQ(log_.peers.back(), test::LoopbackKdc::kUser);
        EXPECT_EQ(log_.headerLengths.back(), 60u);
        EXPECT_EQ(log_.firstTokens.back(), "SPNEGO");
    }
    // TEST.LOCAL is the default realm with a reachable KDC, but it is not TESTDOM's: NTLM directly,
    // without asking the KDC about "TESTDOM\alice@TEST.LOCAL".
    const auto result = test::SendOnce(
        test::LoopbackSettings(test::HttpUrl(server_->Port(), "localhost"), AuthScheme::Negotiate));
    ASSERT_EQ(result.code, 0) << result.detail;
    EXPECT_EQ(log_.peers.back(), "TESTDOM\\alice");
    EXPECT_EQ(log_.headerLengths.back(), 16u);
    EXPECT_EQ(log_.firstTokens.back(), "NTLM");
}

TEST_P(ChannelKerberos, FailuresBeforeTheServerIsAsked) {
    auto wrongPassword = Settings();
    wrongPassword.password = "Wr0ng-Secret";
    const auto refused = test::SendOnce(wrongPassword);
    if (GetParam() == AuthScheme::Kerberos) {
        EXPECT_EQ(refused.code, kAccessDenied) << refused.detail;
    } else {
        // SPNEGO falls back to NTLM, which the server then refuses.
        EXPECT_EQ(refused.code, kAccessDenied) << refused.detail;
        EXPECT_TRUE(log_.peers.empty());
    }
    EXPECT_EQ(refused.detail.find("Wr0ng-Secret"), std::string::npos);

    if (GetParam() == AuthScheme::Kerberos) {
        auto unknownRealm = Settings();
        unknownRealm.userName = "alice@NOWHERE.TEST";
        EXPECT_EQ(test::SendOnce(unknownRealm).code, kNoAuthenticatingAuthority);

        // The realm has no HTTP/127.0.0.1 service key.
        EXPECT_EQ(test::SendOnce(Settings("127.0.0.1")).code, kNoAuthenticatingAuthority);

        // No password and no ticket in the (empty) cache.
        auto ownIdentity = Settings();
        ownIdentity.userName.clear();
        ownIdentity.password.clear();
        EXPECT_EQ(test::SendOnce(ownIdentity).code, kCredentialsNeeded);
    }
    EXPECT_TRUE(log_.received.empty());
}

TEST_P(ChannelKerberos, ExpiredTicketIsRenewedFromThePassword) {
    if (GetParam() != AuthScheme::Kerberos) {
        GTEST_SKIP() << "SPNEGO would fall back to NTLM instead";
    }
    // A new connection for every request, so every request needs a service ticket.
    test::EndpointOptions options;
    options.closeAfterReply = true;
    server_ =
        std::make_unique<test::TestHttpServer>(test::MakeWinrmHandler(credential_.Get(), log_, options));
    auto settings = Settings();
    settings.userName = test::LoopbackKdc::kShortLivedUser;
    const auto channel = CreateChannel(settings);
    ASSERT_EQ(test::SendOnce(*channel).code, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(3000));  // outlive the 2-second ticket
    const auto renewed = test::SendOnce(*channel);
    EXPECT_EQ(renewed.code, 0) << renewed.detail;
    EXPECT_EQ(log_.peers.size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(Schemes, ChannelKerberos,
                         ::testing::Values(AuthScheme::Kerberos, AuthScheme::Negotiate),
                         [](const auto& info) {
                             return info.param == AuthScheme::Kerberos ? "Kerberos" : "Negotiate";
                         });

}  // namespace
}  // namespace wsman
