// Whole conversations over HTTP with a listener that authenticates with GSSAPI and seals like
// WinRM: handshake, sealed requests and replies, re-authentication, refusals.
#include <gtest/gtest.h>

#include "ChannelTestSupport.h"
#include "GssTestAcceptor.h"
#include "TestFiles.h"
#include "TestWinrmEndpoint.h"
#include "wsman/TransportErrors.h"

namespace wsman {
namespace {

using namespace transport_error;

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

    test::TempFolder folder_;
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

INSTANTIATE_TEST_SUITE_P(Schemes, ChannelNegotiate,
                         ::testing::Values(AuthScheme::Ntlm, AuthScheme::Negotiate), [](const auto& info) {
                             return info.param == AuthScheme::Ntlm ? "Ntlm" : "Negotiate";
                         });

}  // namespace
}  // namespace wsman
