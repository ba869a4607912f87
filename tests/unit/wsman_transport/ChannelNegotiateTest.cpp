// Whole conversations over HTTP with a listener that authenticates with GSSAPI and seals like
// WinRM: handshake, sealed requests and replies, re-authentication, refusals; and which mechanism
// Negotiate opens with for each form of user name.
#include <gtest/gtest.h>

#include "ChannelTestSupport.h"
#include "GssTestAcceptor.h"
#include "TestFiles.h"
#include "TestWinrmEndpoint.h"
#include "wsman/TransportErrors.h"
#include "wsman/security/NegotiateIdentity.h"

namespace wsman {
namespace {

using namespace transport_error;

// A realm per name, each with a KDC on a loopback port nobody listens on (refused at once).
std::string Krb5ConfigWithRealms(const std::vector<std::string>& realms,
                                 const std::string& defaultRealm = {}) {
    const std::string kdc = "127.0.0.1:" + std::to_string(test::ClosedLoopbackPort());
    std::string text = "[libdefaults]\n dns_lookup_realm = false\n dns_lookup_kdc = false\n";
    if (!defaultRealm.empty()) {
        text += " default_realm = " + defaultRealm + "\n";
    }
    text += "[realms]\n";
    for (const std::string& realm : realms) {
        text += " " + realm + " = {\n  kdc = " + kdc + "\n }\n";
    }
    return text;
}

class ChannelNegotiate : public ::testing::TestWithParam<AuthScheme> {
  protected:
    void SetUp() override {
        credential_ = test::AcquireAcceptorCredential(folder_.Write("users", "TESTDOM:alice:Passw0rd!\n"));
        ASSERT_TRUE(credential_);
    }
    void Serve(test::EndpointOptions options = {}) {
        server_ =
            std::make_unique<test::TestHttpServer>(test::MakeWinrmHandler(credential_.Get(), log_, options));
    }
    ChannelSettings Settings() const {
        return test::LoopbackSettings(test::HttpUrl(server_->Port(), "localhost"), GetParam());
    }

    test::ScratchFolder folder_;
    security::GssCredential credential_;
    test::EndpointLog log_;
    std::unique_ptr<test::TestHttpServer> server_;
};

TEST_P(ChannelNegotiate, SealsEveryMessageOnOneAuthenticatedConnection) {
    Serve();
    const auto channel = CreateChannel(Settings());
    for (const std::string envelope : {"<s:Envelope>one</s:Envelope>", "<s:Envelope>two</s:Envelope>"}) {
        const auto result = test::SendOnce(*channel, envelope);
        ASSERT_EQ(result.code, 0) << result.detail;
        EXPECT_EQ(result.exchange.httpStatus, 200);
        EXPECT_EQ(result.exchange.body, "<s:Envelope><s:Body>" + envelope + "</s:Body></s:Envelope>");
        EXPECT_EQ(result.exchange.contentType, "application/soap+xml;charset=UTF-8");
    }
    EXPECT_EQ(server_->Connections(), 1);
    EXPECT_EQ(log_.peers, std::vector<std::string>{"TESTDOM\\alice"});
    EXPECT_EQ(log_.received.size(), 2u);
    EXPECT_EQ(log_.headerLengths, (std::vector<std::size_t>{16, 16}));  // the NTLM signature
    EXPECT_EQ(log_.clearBodiesRefused, 0);
    // No realm is configured for TESTDOM, so Negotiate does not open with SPNEGO (which would try
    // Kerberos first) but with NTLM itself, exactly as the NTLM scheme does.
    EXPECT_EQ(log_.firstTokens, std::vector<std::string>{"NTLM"});
}

TEST_P(ChannelNegotiate, DomainWithAConfiguredRealmTakesSpnego) {
    // The realm's KDC refuses connections, so SPNEGO falls back to NTLM inside its own framing
    // (where sealing starts at sequence number 1).
    const test::ScopedEnv config("KRB5_CONFIG",
                                 folder_.Write("krb5.conf", Krb5ConfigWithRealms({"TESTDOM"})));
    Serve();
    const auto channel = CreateChannel(Settings());
    for (int round = 0; round < 2; ++round) {
        const auto result = test::SendOnce(*channel);
        ASSERT_EQ(result.code, 0) << result.detail;
    }
    EXPECT_EQ(log_.peers, std::vector<std::string>{"TESTDOM\\alice"});
    EXPECT_EQ(log_.headerLengths, (std::vector<std::size_t>{16, 16}));
    const std::string expected = GetParam() == AuthScheme::Negotiate ? "SPNEGO" : "NTLM";
    EXPECT_EQ(log_.firstTokens, std::vector<std::string>{expected});
}

TEST_P(ChannelNegotiate, ReauthenticatesOnANewConnection) {
    test::EndpointOptions options;
    options.closeAfterReply = true;
    Serve(options);
    const auto channel = CreateChannel(Settings());
    for (int round = 0; round < 3; ++round) {
        const auto result = test::SendOnce(*channel);
        ASSERT_EQ(result.code, 0) << result.detail;
    }
    EXPECT_EQ(server_->Connections(), 3);
    EXPECT_EQ(log_.peers.size(), 3u);
}

TEST_P(ChannelNegotiate, SealedSoapFaultIsHandedUp) {
    test::EndpointOptions options;
    options.replyStatus = 500;
    Serve(options);
    const auto result = test::SendOnce(Settings());
    ASSERT_EQ(result.code, 0) << result.detail;
    EXPECT_EQ(result.exchange.httpStatus, 500);
}

TEST_P(ChannelNegotiate, WrongPasswordIsAccessDenied) {
    Serve();
    auto settings = Settings();
    settings.password = "Wr0ng-Secret";
    const auto result = test::SendOnce(settings);
    EXPECT_EQ(result.code, kAccessDenied);
    EXPECT_EQ(result.detail.find("Wr0ng-Secret"), std::string::npos);
    EXPECT_TRUE(log_.received.empty());
}

TEST_P(ChannelNegotiate, RepliesThatDoNotUnsealAreRefused) {
    for (const auto style : {test::ReplyStyle::Clear, test::ReplyStyle::Tampered}) {
        test::EndpointOptions options;
        options.replyStyle = style;
        Serve(options);
        const auto result = test::SendOnce(Settings());
        EXPECT_EQ(result.code, kDecryptFailure) << result.detail;
        EXPECT_TRUE(result.exchange.body.empty());
    }
}

TEST(NegotiateIdentity, RealmForADomain) {
    security::ConfiguredRealms configured{{"LAB.ONE.TEST", "Corp.Example.Test", "LABS.TEST"}, ""};
    const auto realm = [&](const char* domain) {
        return security::RealmForDomain(domain, configured).value_or("-");
    };
    EXPECT_EQ(realm("lab"), "LAB.ONE.TEST");
    EXPECT_EQ(realm("CORP"), "Corp.Example.Test");  // spelled as the configuration spells it
    EXPECT_EQ(realm("corp.example.test"), "Corp.Example.Test");
    EXPECT_EQ(realm("LA"), "-");
    EXPECT_EQ(realm("CORP.EXAMPLE"), "-");
    EXPECT_EQ(realm(""), "-");

    // Two realms share the label: only the default realm, or one named exactly so, is taken.
    configured.realms.push_back("LAB.TWO.TEST");
    EXPECT_EQ(realm("LAB"), "-");
    configured.defaultRealm = "LAB.TWO.TEST";
    EXPECT_EQ(realm("LAB"), "LAB.TWO.TEST");
    configured.realms.push_back("Lab");
    EXPECT_EQ(realm("LAB"), "Lab");

    // A default realm without a section of its own counts too.
    EXPECT_EQ(security::RealmForDomain("LAB", {{}, "LAB.EXAMPLE.TEST"}).value_or("-"), "LAB.EXAMPLE.TEST");
}

TEST(NegotiateIdentity, ChosenFromTheKrb5Configuration) {
    const test::ScratchFolder folder;
    const test::ScopedEnv config(
        "KRB5_CONFIG",
        folder.Write("krb5.conf", Krb5ConfigWithRealms({"LAB.EXAMPLE.TEST", "OTHER.TEST"}, "OTHER.TEST")));
    const auto choose = [](const std::string& userName) {
        const security::NegotiateIdentity identity = security::ChooseNegotiateIdentity(userName);
        return std::string(identity.mechanism == security::GssMechanism::Ntlm ? "NTLM " : "SPNEGO ") +
               identity.userName;
    };
    EXPECT_EQ(choose("LAB\\alice"), "SPNEGO alice@LAB.EXAMPLE.TEST");
    EXPECT_EQ(choose("other\\alice"), "SPNEGO alice@OTHER.TEST");
    // The default realm is no stand-in for an unrelated domain, nor for a name without one.
    EXPECT_EQ(choose("CORP\\alice"), "NTLM CORP\\alice");
    EXPECT_EQ(choose("alice"), "NTLM alice");
    EXPECT_EQ(choose("LAB\\"), "NTLM LAB\\");
    EXPECT_EQ(choose("alice@CORP.TEST"), "SPNEGO alice@CORP.TEST");
    EXPECT_EQ(choose(""), "SPNEGO ");

    const test::ScopedEnv broken("KRB5_CONFIG",
                                 folder.Write("broken.conf", "[realms\n LAB.EXAMPLE.TEST = {\n }\n"));
    EXPECT_EQ(choose("LAB\\alice"), "NTLM LAB\\alice");
}

INSTANTIATE_TEST_SUITE_P(Schemes, ChannelNegotiate,
                         ::testing::Values(AuthScheme::Ntlm, AuthScheme::Negotiate), [](const auto& info) {
                             return info.param == AuthScheme::Ntlm ? "Ntlm" : "Negotiate";
                         });

}  // namespace
}  // namespace wsman
