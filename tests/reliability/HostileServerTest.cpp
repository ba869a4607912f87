// Replies the simulator would never send, from a loopback HTTP server that answers every request with the
// same canned bytes: entity bombs, absurd nesting, endless bodies, garbage instead of HTTP, a redirect.
// (Unrelated and non-SOAP replies are refused by the reply check; see tests/unit/wsman_soap.) The connect's
// access check meets them; each fails with its code, and the same handle then connects to a proper service.
#include <gtest/gtest.h>

#include <string>

#include "ReliabilitySupport.h"

namespace qn::reliability {
namespace {

std::string SoapReply(const std::string& body) {
    return "HTTP/1.1 200 OK\r\nContent-Type: application/soap+xml;charset=UTF-8\r\nConnection: "
           "close\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string Envelope(const std::string& body) {
    return "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body>" + body +
           "</s:Body></s:Envelope>";
}

std::string EntityBomb() {
    std::string dtd = "<?xml version=\"1.0\"?><!DOCTYPE s:Envelope [<!ENTITY e0 \"lol\">";
    for (int i = 1; i < 10; ++i) {
        dtd += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j) dtd += "&e" + std::to_string(i - 1) + ";";
        dtd += "\">";
    }
    return dtd + "]>" + Envelope("&e9;");
}

std::string Repeat(const std::string& text, int times) {
    std::string repeated;
    while (times-- > 0) repeated += text;
    return repeated;
}

struct HostileReply {
    const char* name;
    std::string reply;
    std::uint32_t code;
};

TEST(HostileServerTest, RepliesNoServiceSendsFailTheConnectAndTheHandleConnectsLater) {
    const HostileReply replies[] = {
        {"entity bomb", SoapReply(EntityBomb()), 0x80338043},
        {"deep nesting", SoapReply(Envelope(Repeat("<x>", 100000) + Repeat("</x>", 100000))), 0x80338043},
        {"endless chunked body",  // 2.5 MiB and no end
         "HTTP/1.1 200 OK\r\nContent-Type: application/soap+xml;charset=UTF-8\r\nTransfer-Encoding: "
         "chunked\r\n\r\n" +
             Repeat("10000\r\n" + std::string(0x10000, ' ') + "\r\n", 40),
         0x80338048},
        {"not HTTP", "SSH-2.0-OpenSSH_9.2\r\n\r\n", 0x80338012},
        {"HTTP 302 to elsewhere",
         "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/wsman\r\nContent-Length: 0\r\nConnection: "
         "close\r\n\r\n",
         0x80338171},
    };
    Bench bench;
    ASSERT_TRUE(bench.StartSim()) << bench.SimError();
    for (const HostileReply& hostile : replies) {
        SCOPED_TRACE(hostile.name);
        TestHttpServer server(
            [&](const HttpRequest&, ConnectionState&) { return qntest::HttpReply{.raw = hostile.reply}; });
        EXPECT_EQ(bench.Connect("127.0.0.1", server.Port()), QNSNWSM_FAILURE);
        EXPECT_EQ(bench.ErrorText(), WinrmErrorText(hostile.code));
        ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();
        EXPECT_TRUE(bench.ReadsTheComputer()) << bench.ErrorText();
    }
}

}  // namespace
}  // namespace qn::reliability
