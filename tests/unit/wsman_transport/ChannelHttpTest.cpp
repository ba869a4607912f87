// The channel against plain loopback servers: what goes on the wire and HTTPS trust (CA, host name,
// pinning). Sealed conversations are in ChannelSimulatorTest; timeouts and the HRESULTs of HTTP statuses and
// network faults through the exports are in tests/reliability.
#include <gtest/gtest.h>

#include <cctype>

#include "ChannelTestSupport.h"
#include "TestCertificate.h"
#include "wsman/core/ErrorCodes.h"
#include "wsman/security/TlsChannelBinding.h"

namespace wsman {
namespace {

using namespace errors;

test::HttpReply SoapReply(int status, const std::string& body) {
    return test::HttpReply{status, {"Content-Type: application/soap+xml;charset=UTF-8"}, body};
}

TEST(ChannelHttp, BasicRequestAsWindowsSendsItAndSoapFaultsAreHandedUp) {
    test::HttpRequest last;
    test::TestHttpServer server([&](const test::HttpRequest& request, test::ConnectionState&) {
        last = request;
        return SoapReply(500, "<s:Envelope><s:Fault/></s:Envelope>");
    });
    auto settings = test::LoopbackSettings(test::Url("http", server.Port()), AuthScheme::Basic);
    settings.allowUnencrypted = true;
    const auto fault = test::SendOnce(settings);
    EXPECT_EQ(fault.code, 0) << fault.detail;
    EXPECT_EQ(fault.exchange.httpStatus, 500);
    EXPECT_EQ(fault.exchange.body, "<s:Envelope><s:Fault/></s:Envelope>");

    EXPECT_EQ(last.Header("authorization"),
              "Basic VEVTVERPTVxhbGljZTpQYXNzdzByZCE=");  // TESTDOM\\alice:Passw0rd!
    EXPECT_EQ(last.Header("user-agent"), "Microsoft WinRM Client");
    EXPECT_EQ(last.Header("content-type"), "application/soap+xml;charset=UTF-8");
    EXPECT_EQ(last.Header("expect"), "");
    EXPECT_EQ(last.body, "<s:Envelope>probe</s:Envelope>");
}

TEST(ChannelHttp, CertificateTrustHostNameAndPin) {
    test::ScratchFolder folder;
    const test::TestCertificate certificate = test::MakeSelfSignedCertificate(folder);
    ASSERT_FALSE(certificate.der.empty());
    test::TestHttpServer server(
        [](const test::HttpRequest&, test::ConnectionState&) { return SoapReply(200, "<s:Envelope/>"); },
        test::MakeServerTlsContext(certificate));
    // The certificate names localhost only; "upper case with colons" is how certificate viewers print a pin.
    std::string printedPin;
    for (const char c : security::CertificateSha256Hex(certificate.der)) {
        printedPin +=
            (printedPin.size() % 3 == 2 ? ":" : "") + std::string(1, static_cast<char>(std::toupper(c)));
    }
    const std::string trusted = certificate.certificateFile;
    const std::string badCaFile = folder.Write("empty.pem", "not a certificate");
    const struct {
        const char* what;
        const char* host;
        std::string caFile, pin;
        bool skipCa, skipName;
        HResult code;
    } cases[] = {
        {"self-signed, not trusted", "localhost", "", "", false, false, kSecureFailure},
        {"trusted", "localhost", trusted, "", false, false, 0},
        {"trusted, other name", "127.0.0.1", trusted, "", false, false, kSecureFailure},
        {"other name, name check off", "127.0.0.1", trusted, "", false, true, 0},
        {"CA check off", "localhost", "", "", true, false, 0},
        {"CA check off keeps the name check", "127.0.0.1", "", "", true, false, kSecureFailure},
        {"CA file without certificates", "localhost", badCaFile, "", false, false, kCaFileUnusable},
        {"missing CA file", "localhost", folder.File("missing.pem"), "", false, false, kCaFileUnusable},
        {"wrong pin, CA check off", "localhost", "", std::string(64, 'a'), true, false, kSecureFailure},
        {"wrong pin, trusted CA", "localhost", trusted, std::string(64, 'a'), false, false, kSecureFailure},
        {"pin alone, as printed", "localhost", "", printedPin, false, false, 0},
        {"pin alone, other name", "127.0.0.1", "", printedPin, false, false, 0},
    };
    for (const auto& entry : cases) {
        auto settings =
            test::LoopbackSettings(test::Url("https", server.Port(), entry.host), AuthScheme::Basic);
        settings.caFile = entry.caFile;
        settings.pinnedSha256 = entry.pin;
        settings.skipCaCheck = entry.skipCa;
        settings.skipNameCheck = entry.skipName;
        const auto result = test::SendOnce(settings);
        EXPECT_EQ(result.code, entry.code) << entry.what << ": " << result.detail;
    }

    test::TestHttpServer plain(
        [](const test::HttpRequest&, test::ConnectionState&) { return test::HttpReply{}; });
    const auto result =
        test::SendOnce(test::LoopbackSettings(test::Url("https", plain.Port()), AuthScheme::Basic));
    EXPECT_EQ(result.code, kSslConnectionAborted) << "a plain HTTP peer: " << result.detail;
}

}  // namespace
}  // namespace wsman
