// The simulator in-process on a free port, driven over real HTTP by clients of the tests' own: routing, the
// authentication legs as Windows runs them, tampered bodies, Basic, channel binding over HTTPS and the
// refusals at start-up. pywinrm_wire_test.py adds an independent client (NTLM sealing, Pulls, wrong
// passwords, users without rights, clear bodies); tests/reliability provokes the fault rules through the
// module.
#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <functional>

#include "FakeComputer.h"
#include "TestCertificate.h"
#include "TestClients.h"
#include "TestXml.h"
#include "WsmanTestRequests.h"
#include "server/SimServer.h"

namespace qnsim {
namespace {

using test::GssInitiator;
using test::HttpClient;
using test::HttpResult;
using test::TestXml;

const std::string kSoapType = "Content-Type: application/soap+xml;charset=UTF-8";
const std::string kServices = test::EnumerateWql("select * from Win32_Service");

// A request's body and extra headers.
using Request = std::pair<std::string, std::vector<std::string>>;

class SimEndpointTest : public ::testing::Test {
  protected:
    void SetUp() override {
        options_.usersFile =
            scratch_.Write("users", "SIMDOM:alice:Passw0rd!\nSIMDOM:bob:Passw0rd!:norights\n");
    }

    void Start() {
        std::string error;
        server_ = StartSimServer(options_, test::FakeComputer(), error);
        ASSERT_TRUE(server_) << error;
        ASSERT_NE(server_->Port(), 0);
        url_ = std::string(options_.https ? "https" : "http") +
               "://127.0.0.1:" + std::to_string(server_->Port()) + "/wsman";
    }

    // Runs the Negotiate legs on `client`'s connection. The leg on which the client's context completes
    // carries `lastLeg()`, as Windows sends its first request; without it that leg is empty (pywinrm).
    HttpResult Authenticate(HttpClient& client, GssInitiator& gss,
                            const std::function<Request()>& lastLeg = {}) {
        std::string serverToken;
        HttpResult result;
        for (int leg = 0; leg < 4; ++leg) {
            const auto token = gss.Step(serverToken);
            if (!token) return result;
            if (token->empty() && gss.Complete()) break;  // SPNEGO's last server token needed no answer
            Request request{"", {"Authorization: Negotiate " + EncodeBase64(*token)}};
            if (gss.Complete() && lastLeg) {
                auto [body, headers] = lastLeg();
                request.first = body;
                request.second.insert(request.second.end(), headers.begin(), headers.end());
            }
            result = client.Post(url_, request.second, request.first);
            serverToken = test::ServerToken(result.Header("www-authenticate"));
            if (result.status != 401) {
                if (!serverToken.empty()) gss.Step(serverToken);  // SPNEGO's mechListMIC on the 200
                break;
            }
            if (serverToken.empty()) break;  // refused: a bare challenge
        }
        return result;
    }

    qntest::ScratchFolder scratch_;
    SimOptions options_;
    std::unique_ptr<SimServer> server_;
    std::string url_;
};

TEST_F(SimEndpointTest, AnswersLikeHttpSysBeforeAuthentication) {
    Start();
    HttpClient client;
    const HttpResult challenge = client.Post(url_, {kSoapType}, kServices);
    EXPECT_EQ(challenge.status, 401);
    EXPECT_EQ(challenge.headers.count("www-authenticate"), 1u);
    EXPECT_EQ(challenge.Header("www-authenticate"), "Negotiate");
    EXPECT_EQ(challenge.Header("server"), "Microsoft-HTTPAPI/2.0");
    EXPECT_EQ(client.Post("http://127.0.0.1:" + std::to_string(server_->Port()) + "/other", {}, "x").status,
              404);
    EXPECT_EQ(client.Send("GET", url_, {}, "").status, 405);
}

TEST_F(SimEndpointTest, SpnegoCompletesWithTheMechListMicOnThe200AndSeals) {
    Start();
    HttpClient client;
    GssInitiator spnego("SIMDOM\\alice", "Passw0rd!", GssInitiator::Kind::SpnegoNtlm);
    const HttpResult done = Authenticate(client, spnego);
    ASSERT_EQ(done.status, 200);
    EXPECT_NE(done.Header("www-authenticate"), "");
    EXPECT_TRUE(spnego.Complete());
    auto [body, type] = spnego.Seal(kServices);
    HttpResult reply = client.Post(url_, {type}, body);  // no Authorization: the connection is authenticated
    ASSERT_EQ(reply.status, 200);
    EXPECT_EQ(reply.newConnections, 0);
    EXPECT_EQ(reply.Header("content-type"), EncryptedContentType(kSpnegoEncrypted));
    EXPECT_TRUE(spnego.Unseal(reply.Header("content-type"), reply.body));
}

TEST_F(SimEndpointTest, WindowsStyleFinalLegWithSealedBodyAndATamperedBodyEndsTheContext) {
    Start();
    HttpClient client;
    GssInitiator ntlm("SIMDOM\\alice", "Passw0rd!", GssInitiator::Kind::Ntlm);
    const HttpResult result = Authenticate(client, ntlm, [&] {
        auto [body, type] = ntlm.Seal(kServices);
        return Request{body, {type}};
    });
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

TEST_F(SimEndpointTest, BasicOnlyWhenEnabledAndClearBodiesOnlyWhenAllowed) {
    options_.basic = true;
    options_.allowUnencrypted = true;
    Start();
    HttpClient client;
    const HttpResult challenge = client.Post(url_, {}, "");
    EXPECT_EQ(challenge.headers.count("www-authenticate"), 2u);
    const std::string good = "Authorization: Basic " + EncodeBase64("SIMDOM\\alice:Passw0rd!");
    const HttpResult ok = client.Post(url_, {good, kSoapType}, kServices);
    EXPECT_EQ(ok.status, 200);
    EXPECT_EQ(ok.Header("content-type"), "application/soap+xml;charset=UTF-8");
    EXPECT_EQ(TestXml(ok.body).Count("//w:Items/*"), 1);
    EXPECT_EQ(client.Post(url_, {"Authorization: Basic " + EncodeBase64("alice:bad"), kSoapType}, "x").status,
              401);
    // Basic proves itself per request: the next request without the header is challenged.
    EXPECT_EQ(client.Post(url_, {kSoapType}, kServices).status, 401);
}

TEST_F(SimEndpointTest, HttpsCarriesClearBodiesAndChecksTheChannelBindingWhenSent) {
    const qntest::TestCertificate certificate = qntest::MakeSelfSignedCertificate(scratch_);
    options_.https = true;
    options_.certFile = certificate.certificateFile;
    options_.keyFile = certificate.keyFile;
    Start();
    const auto run = [&](const std::string& binding) {
        HttpClient client;
        GssInitiator ntlm("SIMDOM\\alice", "Passw0rd!", GssInitiator::Kind::Ntlm, binding);
        return Authenticate(client, ntlm, [] { return Request{kServices, {kSoapType}}; });
    };
    // tls-server-end-point of a SHA-256-signed certificate: the SHA-256 of its DER form.
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(certificate.der.data()), certificate.der.size(), digest);
    const HttpResult bound = run("tls-server-end-point:" + std::string(reinterpret_cast<char*>(digest), 32));
    ASSERT_EQ(bound.code, CURLE_OK);
    EXPECT_EQ(bound.status, 200);
    EXPECT_EQ(TestXml(bound.body).Count("//w:Items/*"), 1);
    // Like CbtHardeningLevel=Relaxed: a client that sends no binding is accepted, a wrong one is not.
    EXPECT_EQ(run("").status, 200);
    EXPECT_EQ(run("tls-server-end-point:" + std::string(32, 'x')).status, 401);
}

TEST(SimServerStartTest, ReportsWhatKeepsItFromStarting) {
    const std::pair<const char*, std::function<void(SimOptions&)>> cases[] = {
        {"missing users file", [](SimOptions& o) { o.usersFile = "/nonexistent/users"; }},
        {"https without certificate", [](SimOptions& o) { o.https = true; }},
        {"bad faults file", [](SimOptions& o) { o.faultsFile = "/nonexistent/faults"; }},
    };
    for (const auto& [name, change] : cases) {
        SimOptions options;
        change(options);
        std::string error;
        EXPECT_FALSE(StartSimServer(options, test::FakeComputer(), error)) << name;
        EXPECT_FALSE(error.empty()) << name;
    }
    // A port in use.
    std::string error;
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
