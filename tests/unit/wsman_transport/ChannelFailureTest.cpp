// The HRESULTs of transport situations that need no WinRM server.
#include <gtest/gtest.h>

#include "ChannelTestSupport.h"
#include "TestHttpServer.h"
#include "wsman/TransportErrors.h"
#include "wsman/security/Base64.h"

namespace wsman {
namespace {

using namespace transport_error;
using test::LoopbackSettings;
using test::SendOnce;

TEST(ChannelFailures, NetworkSituationsMapToWindowsCodes) {
    EXPECT_EQ(SendOnce(LoopbackSettings("http://host.invalid:5985/wsman")).code, kNameNotResolved);
    EXPECT_EQ(SendOnce(LoopbackSettings(test::HttpUrl(test::ClosedLoopbackPort()))).code,
              kDestinationUnreachable);

    test::SilentListener silent;
    auto settings = LoopbackSettings(test::HttpUrl(silent.Port()));
    settings.operationTimeoutMs = 200;
    const auto timedOut = SendOnce(settings);
    EXPECT_EQ(timedOut.code, kNetworkTimedOut) << timedOut.detail;

    EXPECT_EQ(SendOnce(LoopbackSettings("ftp://127.0.0.1/wsman")).code, kFail);
}

TEST(ChannelFailures, BasicNeverGoesOutInClearUnlessAllowed) {
    // Nothing listens on the port: a refusal before any network use returns its own code.
    auto settings = LoopbackSettings(test::HttpUrl(test::ClosedLoopbackPort()), AuthScheme::Basic);
    EXPECT_EQ(SendOnce(settings).code, kUnencryptedDisabled);
    settings.allowUnencrypted = true;
    EXPECT_EQ(SendOnce(settings).code, kDestinationUnreachable);
    settings.userName.clear();
    EXPECT_EQ(SendOnce(settings).code, kCredentialsNeeded);
}

class ChannelStatuses : public ::testing::Test {
  protected:
    test::HttpReply reply_;
    test::HttpRequest lastRequest_;
    test::TestHttpServer server_{[this](const test::HttpRequest& request, test::ConnectionState&) {
        lastRequest_ = request;
        return reply_;
    }};

    test::SendResult Send(int status, std::string body = {}, std::string contentType = {}) {
        reply_ = test::HttpReply{status, {}, std::move(body), false};
        if (!contentType.empty()) {
            reply_.headers.push_back("Content-Type: " + contentType);
        }
        auto settings = LoopbackSettings(test::HttpUrl(server_.Port()), AuthScheme::Basic);
        settings.allowUnencrypted = true;
        return SendOnce(settings);
    }
};

TEST_F(ChannelStatuses, UnexpectedStatusesBecomeHResults) {
    const std::pair<int, HResult> cases[] = {
        {400, kHttpBadRequest},  {404, kHttpNotFound},   {503, kHttpServiceUnavailable}, {401, kAccessDenied},
        {500, kHttpServerError}, {302, kHttpBadRequest}, {502, kHttpServerError},
    };
    for (const auto& [status, expected] : cases) {
        const auto result = Send(status, "<html>error page</html>", "text/html");
        EXPECT_EQ(result.code, expected) << "HTTP " << status;
        EXPECT_EQ(result.detail.find(test::kPassword), std::string::npos);
    }
    EXPECT_EQ(Send(500).code, kHttpServerError);
}

TEST_F(ChannelStatuses, SoapRepliesAreHandedUp) {
    const auto fault = Send(500, "<s:Envelope><s:Fault/></s:Envelope>", "application/soap+xml;charset=UTF-8");
    EXPECT_EQ(fault.code, 0);
    EXPECT_EQ(fault.exchange.httpStatus, 500);
    EXPECT_EQ(fault.exchange.body, "<s:Envelope><s:Fault/></s:Envelope>");

    const auto ok = Send(200, "<s:Envelope/>", "application/soap+xml;charset=UTF-8");
    EXPECT_EQ(ok.code, 0);
    EXPECT_EQ(ok.exchange.httpStatus, 200);
    EXPECT_EQ(ok.exchange.contentType, "application/soap+xml;charset=UTF-8");

    // What went on the wire: the Windows client's headers, Basic credentials, the envelope as is.
    EXPECT_EQ(lastRequest_.Header("authorization"),
              "Basic " + security::EncodeBase64("TESTDOM\\alice:Passw0rd!"));
    EXPECT_EQ(lastRequest_.Header("user-agent"), "Microsoft WinRM Client");
    EXPECT_EQ(lastRequest_.Header("connection"), "Keep-Alive");
    EXPECT_EQ(lastRequest_.Header("content-type"), "application/soap+xml;charset=UTF-8");
    EXPECT_EQ(lastRequest_.Header("expect"), "");
    EXPECT_EQ(lastRequest_.body, "<s:Envelope>probe</s:Envelope>");
}

}  // namespace
}  // namespace wsman
