// Replies the simulator would never send, from a loopback HTTP server that answers every request with the
// same canned bytes: entity bombs, absurd nesting, endless bodies, garbage instead of HTTP, a redirect.
// (Unrelated and non-SOAP replies are refused by the reply check; see tests/unit/wsman_soap.) The connect's
// access check meets them; each fails with its code, and the same handle then connects to a proper service.
// A server that answers a Pull with an EnumerateResponse (the reply relates to the Pull, but is no answer to
// it) is refused as well.
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

// One element with 80,000 attributes in a 0.8 MB reply: libxml2 2.9 spends seconds on it unbounded.
std::string AttributeFlood() {
    std::string element = "<p:Item";
    for (int i = 0; i < 80000; ++i) element += " a" + std::to_string(i) + "=''";
    return Envelope(element + "/>");
}

std::string TextBetween(const std::string& text, const std::string& before, char end) {
    const auto start = text.find(before);
    if (start == std::string::npos) return {};
    const auto from = start + before.size();
    return text.substr(from, text.find(end, from) - from);
}

// A reply relating to the request, with the given action and body.
std::string RelatedReply(const HttpRequest& request, const std::string& action, const std::string& body) {
    return "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" "
           "xmlns:a=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\" "
           "xmlns:n=\"http://schemas.xmlsoap.org/ws/2004/09/enumeration\" "
           "xmlns:w=\"http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd\"><s:Header><a:Action>"
           "http://schemas.xmlsoap.org/ws/2004/09/enumeration/" +
           action + "</a:Action><a:RelatesTo>" + TextBetween(request.body, "MessageID>", '<') +
           "</a:RelatesTo></s:Header><s:Body>" + body + "</s:Body></s:Envelope>";
}

struct HostileReply {
    const char* name;
    std::string reply;
    std::uint32_t code;
};

TEST(HostileServerTest, RepliesNoServiceSendsFailTheConnectAndTheHandleConnectsLater) {
    const HostileReply replies[] = {
        {"entity bomb", SoapReply(EntityBomb()), 0x80338043},
        {"80,000 attributes", SoapReply(AttributeFlood()), 0x80338043},
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

TEST(HostileServerTest, APullAnsweredByAnEnumerateResponseClaimingTheEndIsRefused) {
    Bench bench;
    ASSERT_TRUE(bench.StartSim()) << bench.SimError();
    TestHttpServer server([](const HttpRequest& request, ConnectionState&) {
        const std::string action = TextBetween(request.body, "enumeration/", '<');
        const std::string body = action == "Enumerate" ? "<n:EnumerateResponse><n:EnumerationContext>uuid:C</"
                                                         "n:EnumerationContext></n:EnumerateResponse>"
                                 : action == "Pull"
                                     ? "<n:EnumerateResponse><w:Items><p:X xmlns:p=\"urn:x\"/></w:Items>"
                                       "<w:EndOfSequence/></n:EnumerateResponse>"
                                     : "";
        return qntest::HttpReply{
            .headers = {"Content-Type: application/soap+xml;charset=UTF-8"},
            .body =
                RelatedReply(request, action == "Pull" ? "EnumerateResponse" : action + "Response", body)};
    });
    EXPECT_EQ(bench.Connect("127.0.0.1", server.Port()), QNSNWSM_FAILURE);
    EXPECT_EQ(bench.ErrorText(), WinrmErrorText(0x8033800F));
    ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();
    EXPECT_TRUE(bench.ReadsTheComputer()) << bench.ErrorText();
}

}  // namespace
}  // namespace qn::reliability
