// HTTPS: certificate trust, host name, pinning, and Negotiate with channel binding over TLS.
#include <gtest/gtest.h>

#include "ChannelTestSupport.h"
#include "GssTestAcceptor.h"
#include "TestCertificate.h"
#include "TestWinrmEndpoint.h"
#include "wsman/TransportErrors.h"
#include "wsman/security/TlsChannelBinding.h"

namespace wsman {
namespace {

using namespace transport_error;

class ChannelTls : public ::testing::Test {
  protected:
    void SetUp() override {
        certificate_ = test::MakeSelfSignedCertificate(folder_);
        ASSERT_FALSE(certificate_.der.empty());
    }
    void ServeSoap() {
        server_ = std::make_unique<test::TestHttpServer>(
            [](const test::HttpRequest&, test::ConnectionState&) {
                return test::HttpReply{
                    200, {"Content-Type: application/soap+xml;charset=UTF-8"}, "<s:Envelope/>"};
            },
            test::MakeServerTlsContext(certificate_));
    }
    ChannelSettings BasicSettings(const std::string& host = "localhost") const {
        return test::LoopbackSettings(test::HttpsUrl(server_->Port(), host), AuthScheme::Basic);
    }

    test::ScratchFolder folder_;
    test::TestCertificate certificate_;
    std::unique_ptr<test::TestHttpServer> server_;
};

TEST_F(ChannelTls, CertificateTrustAndHostName) {
    ServeSoap();
    auto settings = BasicSettings();
    EXPECT_EQ(test::SendOnce(settings).code, kSecureFailure) << "a self-signed certificate is not trusted";

    settings.caFile = certificate_.certificateFile;
    const auto trusted = test::SendOnce(settings);
    EXPECT_EQ(trusted.code, 0) << trusted.detail;
    EXPECT_EQ(trusted.exchange.body, "<s:Envelope/>");

    auto otherName = BasicSettings("127.0.0.1");
    otherName.caFile = certificate_.certificateFile;
    EXPECT_EQ(test::SendOnce(otherName).code, kSecureFailure) << "the certificate names only localhost";
    otherName.skipNameCheck = true;
    EXPECT_EQ(test::SendOnce(otherName).code, 0);

    auto anyCa = BasicSettings();
    anyCa.skipCaCheck = true;
    EXPECT_EQ(test::SendOnce(anyCa).code, 0);
    auto anyCaOtherName = BasicSettings("127.0.0.1");
    anyCaOtherName.skipCaCheck = true;
    EXPECT_EQ(test::SendOnce(anyCaOtherName).code, kSecureFailure)
        << "skipping the CA check keeps the name check";

    auto badCaFile = BasicSettings();
    badCaFile.caFile = folder_.Write("empty.pem", "not a certificate");
    EXPECT_EQ(test::SendOnce(badCaFile).code, kSslConnectionAborted);
}

TEST_F(ChannelTls, PinnedFingerprintDecides) {
    ServeSoap();
    auto settings = BasicSettings();
    settings.skipCaCheck = true;
    settings.pinnedSha256 = std::string(64, 'a');
    EXPECT_EQ(test::SendOnce(settings).code, kSecureFailure);

    // Upper case with colons, as certificate viewers print it.
    std::string printed;
    const std::string hex = security::CertificateSha256Hex(certificate_.der);
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        printed += (i ? ":" : "") + hex.substr(i, 2);
    }
    for (char& c : printed) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    settings.pinnedSha256 = printed;
    EXPECT_EQ(test::SendOnce(settings).code, 0);
}

TEST_F(ChannelTls, PlainHttpPeerIsAnAbortedTlsConnection) {
    test::TestHttpServer plain(
        [](const test::HttpRequest&, test::ConnectionState&) { return test::HttpReply{}; });
    const auto result =
        test::SendOnce(test::LoopbackSettings(test::HttpsUrl(plain.Port()), AuthScheme::Basic));
    EXPECT_EQ(result.code, kSslConnectionAborted) << result.detail;
}

TEST_F(ChannelTls, NegotiateBindsToTheServerCertificateAndSendsPlainSoap) {
    const auto credential =
        test::AcquireAcceptorCredential(folder_.Write("users", "TESTDOM:alice:Passw0rd!\n"));
    test::EndpointLog log;
    const std::string binding = security::TlsServerEndPointBinding(certificate_.der);
    ASSERT_FALSE(binding.empty());
    test::EndpointOptions options;
    options.overTls = true;
    options.channelBinding = binding;
    server_ = std::make_unique<test::TestHttpServer>(test::MakeWinrmHandler(credential.Get(), log, options),
                                                     test::MakeServerTlsContext(certificate_));
    auto settings = test::LoopbackSettings(test::HttpsUrl(server_->Port()), AuthScheme::Ntlm);
    settings.caFile = certificate_.certificateFile;
    const auto channel = CreateChannel(settings);
    for (int round = 0; round < 2; ++round) {
        const auto result = test::SendOnce(*channel, "<s:Envelope>tls</s:Envelope>");
        ASSERT_EQ(result.code, 0) << result.detail;
        EXPECT_EQ(result.exchange.body,
                  "<s:Envelope><s:Body><s:Envelope>tls</s:Envelope></s:Body></s:Envelope>");
    }
    EXPECT_EQ(log.peers.size(), 1u);
    EXPECT_EQ(log.received,
              (std::vector<std::string>{"<s:Envelope>tls</s:Envelope>", "<s:Envelope>tls</s:Envelope>"}));

    // A server expecting another certificate's binding refuses the login.
    test::EndpointLog otherLog;
    server_ = std::make_unique<test::TestHttpServer>(
        test::MakeWinrmHandler(
            credential.Get(), otherLog,
            {.overTls = true, .channelBinding = "tls-server-end-point:" + std::string(32, 'x')}),
        test::MakeServerTlsContext(certificate_));
    settings.url = test::HttpsUrl(server_->Port());
    EXPECT_EQ(test::SendOnce(settings).code, kAccessDenied);
}

}  // namespace
}  // namespace wsman
