// The simulator in-process on a free port, driven over real HTTP by clients of the tests' own: what
// HTTP.sys answers before authentication, Basic, NTLM with the first request on the final leg as Windows
// sends it, tampered bodies, channel binding over HTTPS and the refusals at start-up. pywinrm_sim_test.py
// adds an independent client; tests/unit/wsman_transport runs the module's channel against the simulator.
#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <functional>

#include "FakeComputer.h"
#include "TestCertificate.h"
#include "TestClients.h"
#include "TestXml.h"
#include "WsmanTestRequests.h"
#include "server/Base64.h"
#include "server/SimServer.h"

namespace qnsim {
namespace {

using test::HttpClient;
using test::HttpResult;
using test::NtlmInitiator;
using test::TestXml;

const std::string kSoapType = "Content-Type: application/soap+xml;charset=UTF-8";
const std::string kServices = test::EnumerateWql("select * from Win32_Service");

class SimEndpointTest : public ::testing::Test {
  protected:
    void Start() {
        options_.usersFile = scratch_.Write("users", "SIMDOM:alice:Passw0rd!\n");
        std::string error;
        server_ = StartSimServer(options_, test::FakeComputer(), error);
        ASSERT_TRUE(server_) << error;
        url_ = std::string(options_.https ? "https" : "http") +
               "://127.0.0.1:" + std::to_string(server_->Port()) + "/wsman";
    }

    // The NTLM legs on `client`'s connection; the final leg carries `body`, sealed or clear, as Windows
    // sends its first request.
    HttpResult Authenticate(HttpClient& client, NtlmInitiator& ntlm, const std::string& body, bool seal) {
        const auto negotiate = ntlm.Step("");
        const HttpResult challenge =
            client.Post(url_, {"Authorization: Negotiate " + EncodeBase64(negotiate.value_or(""))}, "");
        const std::string header = challenge.Header("www-authenticate");
        const auto authenticate = ntlm.Step(
            DecodeBase64(header.substr(std::min(header.size(), header.find(' ') + 1))).value_or(""));
        if (challenge.status != 401 || !authenticate || !ntlm.Complete()) return challenge;
        auto [content, type] = seal ? ntlm.Seal(body) : std::pair{body, kSoapType};
        return client.Post(url_, {type, "Authorization: Negotiate " + EncodeBase64(*authenticate)}, content);
    }

    qntest::ScratchFolder scratch_;
    SimOptions options_;
    std::unique_ptr<SimServer> server_;
    std::string url_;
};

TEST_F(SimEndpointTest, AnswersLikeHttpSysBeforeAuthenticationAndBasicOnlyWhenEnabled) {
    Start();
    HttpClient client;
    const HttpResult challenge = client.Post(url_, {kSoapType}, kServices);
    EXPECT_EQ(challenge.status, 401);
    EXPECT_EQ(challenge.headers.count("www-authenticate"), 1u);  // no Basic unless enabled
    EXPECT_EQ(challenge.Header("www-authenticate"), "Negotiate");
    EXPECT_EQ(challenge.Header("server"), "Microsoft-HTTPAPI/2.0");
    EXPECT_EQ(client.Post("http://127.0.0.1:" + std::to_string(server_->Port()) + "/other", {}, "x").status,
              404);
    EXPECT_EQ(client.Send("GET", url_, {}, "").status, 405);

    // Basic, once enabled, is offered too and must prove itself on every request.
    options_.basic = options_.allowUnencrypted = true;
    Start();
    EXPECT_EQ(client.Post(url_, {}, "").headers.count("www-authenticate"), 2u);
    const std::string alice = "Authorization: Basic " + EncodeBase64("SIMDOM\\alice:Passw0rd!");
    EXPECT_EQ(TestXml(client.Post(url_, {alice, kSoapType}, kServices).body).Count("//w:Items/*"), 1);
    EXPECT_EQ(client.Post(url_, {"Authorization: Basic " + EncodeBase64("alice:bad"), kSoapType}, "x").status,
              401);
    EXPECT_EQ(client.Post(url_, {kSoapType}, kServices).status, 401);
}

TEST_F(SimEndpointTest, SealedFinalLegAnswersAndATamperedBodyEndsTheContext) {
    Start();
    HttpClient client;
    NtlmInitiator ntlm("SIMDOM\\alice", "Passw0rd!");
    const HttpResult result = Authenticate(client, ntlm, kServices, true);
    ASSERT_EQ(result.status, 200);
    const auto plain = ntlm.Unseal(result.Header("content-type"), result.body);
    ASSERT_TRUE(plain);
    EXPECT_EQ(TestXml(*plain).Count("//w:Items/*"), 1);

    auto [body, type] = ntlm.Seal(kServices);
    body[body.find("octet-stream\r\n") + 14 + 4 + 5] ^= 0x01;  // a signature byte
    const HttpResult tampered = client.Post(url_, {type}, body);
    EXPECT_EQ(tampered.status, 400);
    EXPECT_EQ(tampered.Header("connection"), "close");
    // The context is gone with the connection: the next request must authenticate again.
    const HttpResult after = client.Post(url_, {type}, body);
    EXPECT_EQ(after.status, 401);
    EXPECT_EQ(after.newConnections, 1);
}

TEST_F(SimEndpointTest, HttpsChecksTheChannelBindingWhenSent) {
    const qntest::TestCertificate certificate = qntest::MakeSelfSignedCertificate(scratch_);
    options_.https = true;
    options_.certFile = certificate.certificateFile;
    options_.keyFile = certificate.keyFile;
    Start();
    const auto run = [&](const std::string& binding) {
        HttpClient client;
        NtlmInitiator ntlm("SIMDOM\\alice", "Passw0rd!", binding);
        return Authenticate(client, ntlm, kServices, false);
    };
    // tls-server-end-point of a SHA-256-signed certificate: the SHA-256 of its DER form.
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(certificate.der.data()), certificate.der.size(), digest);
    const HttpResult bound = run("tls-server-end-point:" + std::string(reinterpret_cast<char*>(digest), 32));
    ASSERT_EQ(bound.code, CURLE_OK);
    EXPECT_EQ(bound.status, 200);
    EXPECT_EQ(TestXml(bound.body).Count("//w:Items/*"), 1);  // clear body over TLS, on the final leg
    // Like CbtHardeningLevel=Relaxed: a client that sends no binding is accepted, a wrong one is not.
    EXPECT_EQ(run("").status, 200);
    EXPECT_EQ(run("tls-server-end-point:" + std::string(32, 'x')).status, 401);
}

TEST(SimServerStartTest, ReportsWhatKeepsItFromStarting) {
    const std::function<void(SimOptions&)> changes[] = {
        [](SimOptions& o) { o.usersFile = "/nonexistent/users"; },
        [](SimOptions& o) { o.https = true; },  // without a certificate
        [](SimOptions& o) { o.faultsFile = "/nonexistent/faults"; },
    };
    std::string error;
    for (const auto& change : changes) {
        SimOptions options;
        change(options);
        EXPECT_FALSE(StartSimServer(options, test::FakeComputer(), error));
        EXPECT_FALSE(error.empty());
        error.clear();
    }
    auto first = StartSimServer(SimOptions{}, test::FakeComputer(), error);
    ASSERT_TRUE(first) << error;
    SimOptions taken;
    taken.port = first->Port();
    EXPECT_FALSE(StartSimServer(taken, test::FakeComputer(), error));
    EXPECT_NE(error.find(std::to_string(first->Port())), std::string::npos);
    first->Stop();
    first->Stop();  // idempotent
}

}  // namespace
}  // namespace qnsim
