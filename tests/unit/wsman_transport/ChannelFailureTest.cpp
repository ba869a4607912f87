// What goes on the wire, and what comes back from an HTTP server that is no WinRM service. The HRESULTs of
// network faults and HTTP statuses are provoked through the exports in tests/reliability.
#include <gtest/gtest.h>

#include "ChannelTestSupport.h"
#include "wsman/security/Base64.h"

namespace wsman {
namespace {

using test::LoopbackSettings;
using test::SendOnce;

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
