// The simulator in-process on a free port, driven over real HTTP: routing, the authentication legs,
// sealing, the unencrypted refusal, rights, the connection-bound context and fault injection.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <thread>

#include "FakeComputerModel.h"
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

class SimEndpointTest : public ::testing::Test {
  protected:
    void SetUp() override {
        usersFile_ = WriteTemp("SIMDOM:alice:Passw0rd!\nSIMDOM:bob:Passw0rd!:norights\n");
        options_.usersFile = usersFile_;
    }
    void TearDown() override {
        server_.reset();
        for (const auto& path : temporaries_) std::remove(path.c_str());
    }

    std::string WriteTemp(const std::string& content) {
        char path[] = "/tmp/qnsim-endpoint-test-XXXXXX";
        const int fd = mkstemp(path);
        EXPECT_GE(fd, 0);
        ::close(fd);
        std::ofstream(path) << content;
        temporaries_.emplace_back(path);
        return path;
    }

    void Start() {
        std::string error;
        server_ = StartSimServer(options_, std::make_unique<test::FakeComputerModel>(5), error);
        ASSERT_TRUE(server_) << error;
        ASSERT_NE(server_->Port(), 0);
        url_ = "http://127.0.0.1:" + std::to_string(server_->Port()) + "/wsman";
    }

    // Runs the NTLM legs on `client`'s connection; with `firstBody` the last leg carries it (Windows style).
    HttpResult Authenticate(HttpClient& client, GssInitiator& ntlm, const std::string& firstBody = "",
                            const std::vector<std::string>& extraHeaders = {}) {
        std::string serverToken;
        HttpResult result;
        for (int leg = 0; leg < 4; ++leg) {
            const auto token = ntlm.Step(serverToken);
            if (!token) return result;
            if (token->empty() && ntlm.Complete()) break;  // SPNEGO's last server token needed no answer
            std::vector<std::string> headers = {"Authorization: Negotiate " + EncodeBase64(*token)};
            headers.insert(headers.end(), extraHeaders.begin(), extraHeaders.end());
            result = client.Post(url_, headers, ntlm.Complete() ? firstBody : "");
            serverToken = test::ServerToken(result.Header("www-authenticate"));
            if (result.status != 401) {
                if (!serverToken.empty()) ntlm.Step(serverToken);  // SPNEGO mechListMIC on the 200
                break;
            }
            if (serverToken.empty()) break;  // refused: a bare challenge
        }
        return result;
    }

    SimOptions options_;
    std::unique_ptr<SimServer> server_;
    std::string url_;
    std::string usersFile_;
    std::vector<std::string> temporaries_;
};

TEST_F(SimEndpointTest, AnswersLikeHttpSysBeforeAuthentication) {
    Start();
    HttpClient client;
    const HttpResult challenge =
        client.Post(url_, {kSoapType}, test::EnumerateWql("select * from Win32_Service"));
    EXPECT_EQ(challenge.status, 401);
    EXPECT_EQ(challenge.headers.count("www-authenticate"), 1u);
    EXPECT_EQ(challenge.Header("www-authenticate"), "Negotiate");
    EXPECT_EQ(challenge.Header("server"), "Microsoft-HTTPAPI/2.0");
    EXPECT_EQ(client.Post("http://127.0.0.1:" + std::to_string(server_->Port()) + "/other", {}, "x").status,
              404);
    EXPECT_EQ(client.Send("GET", url_, {}, "").status, 405);
}

TEST_F(SimEndpointTest, RawNtlmWithSealedBodiesEnumeratesAndPulls) {
    options_.logFile = WriteTemp("");
    Start();
    HttpClient client;
    GssInitiator ntlm("SIMDOM\\alice", "Passw0rd!", GssInitiator::Kind::Ntlm);
    const HttpResult done = Authenticate(client, ntlm);  // pywinrm style: the last leg is empty
    ASSERT_EQ(done.status, 200);
    ASSERT_TRUE(ntlm.Complete());

    auto [body, type] = ntlm.Seal(test::EnumerateWql("select * from Win32_Service", 10));
    HttpResult reply = client.Post(url_, {type}, body);  // no Authorization: the connection is authenticated
    ASSERT_EQ(reply.status, 200);
    EXPECT_EQ(reply.newConnections, 0);
    EXPECT_EQ(reply.Header("content-type"), EncryptedContentType(kSpnegoEncrypted));
    const auto plain = ntlm.Unseal(reply.Header("content-type"), reply.body);
    ASSERT_TRUE(plain);
    TestXml first(*plain);
    EXPECT_EQ(first.Count("//w:Items/*"), 1);

    auto [pullBody, pullType] = ntlm.Seal(test::Pull(first.Text("//n:EnumerationContext"), 10));
    HttpResult pulled = client.Post(url_, {pullType}, pullBody);
    const auto pullPlain = ntlm.Unseal(pulled.Header("content-type"), pulled.body);
    ASSERT_TRUE(pullPlain);
    EXPECT_EQ(TestXml(*pullPlain).Count("//n:Items/*"), 4);

    std::ifstream log(options_.logFile);
    std::string line, all;
    while (std::getline(log, line)) all += line + "\n";
    EXPECT_NE(
        all.find(
            "auth=Negotiate/NTLM action=\"http://schemas.xmlsoap.org/ws/2004/09/enumeration/Enumerate\""),
        std::string::npos)
        << all;
    EXPECT_NE(all.find("filter=\"select * from Win32_Service\" status=200"), std::string::npos);
    EXPECT_EQ(all.find("Passw0rd"), std::string::npos);
}

TEST_F(SimEndpointTest, SpnegoWindowsStyleThirdLegCarriesTheFirstSealedRequest) {
    Start();
    HttpClient client;
    GssInitiator spnego("SIMDOM\\alice", "Passw0rd!", GssInitiator::Kind::SpnegoNtlm);
    // Windows seals the first request with the context the third leg completes; build the legs by hand.
    std::string serverToken;
    HttpResult result;
    for (int leg = 0; leg < 3 && !spnego.Complete(); ++leg) {
        const auto token = spnego.Step(serverToken);
        ASSERT_TRUE(token);
        std::string body;
        std::vector<std::string> headers = {"Authorization: Negotiate " + EncodeBase64(*token)};
        result = client.Post(url_, headers, body);
        serverToken = test::ServerToken(result.Header("www-authenticate"));
        if (result.status != 401) break;
    }
    // With SPNEGO the server completes on the third leg and returns its mechListMIC on the 200.
    ASSERT_EQ(result.status, 200);
    ASSERT_FALSE(serverToken.empty());
    ASSERT_TRUE(spnego.Step(serverToken));
    EXPECT_TRUE(spnego.Complete());
    auto [body, type] = spnego.Seal(test::EnumerateWql("select * from Win32_Service"));
    HttpResult reply = client.Post(url_, {type}, body);
    ASSERT_EQ(reply.status, 200);
    EXPECT_TRUE(spnego.Unseal(reply.Header("content-type"), reply.body));
}

TEST_F(SimEndpointTest, WindowsStyleFinalLegWithSealedBody) {
    Start();
    HttpClient client;
    GssInitiator ntlm("SIMDOM\\alice", "Passw0rd!", GssInitiator::Kind::Ntlm);
    std::string serverToken;
    HttpResult result;
    for (int leg = 0; leg < 3; ++leg) {
        const auto token = ntlm.Step(serverToken);
        ASSERT_TRUE(token);
        std::vector<std::string> headers = {"Authorization: Negotiate " + EncodeBase64(*token)};
        std::string body;
        if (ntlm.Complete()) {
            auto sealed = ntlm.Seal(test::EnumerateWql("select * from Win32_Service"));
            body = sealed.first;
            headers.push_back(sealed.second);
        }
        result = client.Post(url_, headers, body);
        if (result.status != 401) break;
        serverToken = test::ServerToken(result.Header("www-authenticate"));
    }
    ASSERT_EQ(result.status, 200);
    const auto plain = ntlm.Unseal(result.Header("content-type"), result.body);
    ASSERT_TRUE(plain);
    EXPECT_EQ(TestXml(*plain).Count("//w:Items/*"), 1);
}

TEST_F(SimEndpointTest, RefusesWrongPasswordsClearBodiesTamperingAndUsersWithoutRights) {
    Start();
    {
        HttpClient client;
        GssInitiator wrong("SIMDOM\\alice", "nope", GssInitiator::Kind::Ntlm);
        EXPECT_EQ(Authenticate(client, wrong).status, 401);
    }
    {
        HttpClient client;
        GssInitiator ntlm("SIMDOM\\alice", "Passw0rd!", GssInitiator::Kind::Ntlm);
        ASSERT_EQ(Authenticate(client, ntlm).status, 200);
        const HttpResult clear =
            client.Post(url_, {kSoapType}, test::EnumerateWql("select * from Win32_Service"));
        EXPECT_EQ(clear.status, 500);
        EXPECT_TRUE(clear.body.empty());

        auto [body, type] = ntlm.Seal(test::EnumerateWql("select * from Win32_Service"));
        body[body.find("octet-stream\r\n") + 14 + 4 + 5] ^= 0x01;  // a signature byte
        const HttpResult tampered = client.Post(url_, {type}, body);
        EXPECT_EQ(tampered.status, 400);
        EXPECT_EQ(tampered.Header("connection"), "close");
        // The context is gone with the connection: the next request must authenticate again.
        const HttpResult after = client.Post(url_, {type}, body);
        EXPECT_EQ(after.status, 401);
        EXPECT_EQ(after.newConnections, 1);
    }
    {
        HttpClient client;
        GssInitiator bob("SIMDOM\\bob", "Passw0rd!", GssInitiator::Kind::Ntlm);
        ASSERT_EQ(Authenticate(client, bob).status, 200);
        auto [body, type] = bob.Seal(test::EnumerateWql("select * from Win32_Service"));
        const HttpResult denied = client.Post(url_, {type}, body);
        EXPECT_EQ(denied.status, 500);
        const auto plain = bob.Unseal(denied.Header("content-type"), denied.body);
        ASSERT_TRUE(plain);
        EXPECT_EQ(TestXml(*plain).Subcode(), "w:AccessDenied");
        EXPECT_EQ(TestXml(*plain).FaultCode(), "2147942405");
    }
}

TEST_F(SimEndpointTest, BasicOnlyWhenEnabledAndClearBodiesOnlyWhenAllowed) {
    options_.basic = true;
    options_.allowUnencrypted = true;
    Start();
    HttpClient client;
    const HttpResult challenge = client.Post(url_, {}, "");
    EXPECT_EQ(challenge.headers.count("www-authenticate"), 2u);
    const std::string good = "Authorization: Basic " + EncodeBase64("SIMDOM\\alice:Passw0rd!");
    const HttpResult ok =
        client.Post(url_, {good, kSoapType}, test::EnumerateWql("select * from Win32_Service"));
    EXPECT_EQ(ok.status, 200);
    EXPECT_EQ(ok.Header("content-type"), "application/soap+xml;charset=UTF-8");
    EXPECT_EQ(TestXml(ok.body).Count("//w:Items/*"), 1);
    EXPECT_EQ(client.Post(url_, {"Authorization: Basic " + EncodeBase64("alice:bad"), kSoapType}, "x").status,
              401);
    // Basic proves itself per request: the next request without the header is challenged.
    EXPECT_EQ(client.Post(url_, {kSoapType}, test::EnumerateWql("select * from Win32_Service")).status, 401);
}

TEST_F(SimEndpointTest, InjectedFaultsFollowTheRulesFile) {
    options_.basic = true;
    options_.allowUnencrypted = true;
    options_.faultsFile = WriteTemp(
        "request=1 status=503\n"
        "request=2 fault=QuotaLimit\n"
        "request=3 drop\n"
        "request=4 truncate=40\n"
        "request=5 delay=5000\n"
        "request=6 malformed content-type=text/html\n");
    Start();
    const std::vector<std::string> headers = {
        "Authorization: Basic " + EncodeBase64("SIMDOM\\alice:Passw0rd!"), kSoapType};
    test::RequestText request;
    request.action = "http://schemas.xmlsoap.org/ws/2004/09/transfer/Get";
    request.resourceUri = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_OperatingSystem";
    request.operationTimeout = "PT0.200S";
    const std::string get = test::Envelope(request);
    HttpClient client;
    const HttpResult unavailable = client.Post(url_, headers, get);
    EXPECT_EQ(unavailable.status, 503);
    EXPECT_TRUE(unavailable.body.empty());
    EXPECT_EQ(TestXml(client.Post(url_, headers, get).body).Subcode(), "w:QuotaLimit");
    // On a reused connection libcurl would silently resend a dropped request; a fresh one shows the drop.
    EXPECT_EQ(HttpClient().Post(url_, headers, get).code, CURLE_GOT_NOTHING);
    EXPECT_EQ(client.Post(url_, headers, get).code, CURLE_PARTIAL_FILE);
    const HttpResult late = client.Post(url_, headers, get);  // 5 s of work against a 0.2 s OperationTimeout
    EXPECT_EQ(TestXml(late.body).Subcode(), "w:TimedOut");
    const HttpResult garbled = client.Post(url_, headers, get);
    EXPECT_EQ(garbled.Header("content-type"), "text/html");
    EXPECT_FALSE(TestXml(garbled.body).Valid());
    EXPECT_EQ(client.Post(url_, headers, get).status, 200);  // no rule left
}

TEST_F(SimEndpointTest, InjectedBadSignatureReachesTheSealedReply) {
    options_.faultsFile = WriteTemp("request=1 bad-signature\n");
    Start();
    HttpClient client;
    GssInitiator ntlm("SIMDOM\\alice", "Passw0rd!", GssInitiator::Kind::Ntlm);
    ASSERT_EQ(Authenticate(client, ntlm).status, 200);
    auto [body, type] = ntlm.Seal(test::EnumerateWql("select * from Win32_Service"));
    const HttpResult reply = client.Post(url_, {type}, body);
    EXPECT_EQ(reply.status, 200);
    EXPECT_FALSE(ntlm.Unseal(reply.Header("content-type"), reply.body));  // the client must notice
}

TEST_F(SimEndpointTest, ManyConnectionsAuthenticateAndEnumerateAtOnce) {
    Start();
    constexpr int kClients = 8;
    std::vector<int> items(kClients, -1);
    std::vector<std::thread> threads;
    for (int i = 0; i < kClients; ++i) {
        threads.emplace_back([this, i, &items] {
            HttpClient client;
            GssInitiator ntlm("SIMDOM\\alice", "Passw0rd!", GssInitiator::Kind::Ntlm);
            if (Authenticate(client, ntlm).status != 200) return;
            int count = 0;
            for (int round = 0; round < 3; ++round) {  // several sealed requests per connection
                auto [body, type] = ntlm.Seal(test::EnumerateWql("select * from Win32_Service"));
                const HttpResult reply = client.Post(url_, {type}, body);
                const auto plain = ntlm.Unseal(reply.Header("content-type"), reply.body);
                if (reply.status == 200 && plain && reply.newConnections == 0)
                    count += TestXml(*plain).Count("//w:Items/*");
            }
            items[i] = count;
        });
    }
    for (auto& thread : threads) thread.join();
    for (int i = 0; i < kClients; ++i) EXPECT_EQ(items[i], 3) << "client " << i;
}

// The certificate's SHA-256 fingerprint as openssl prints it, as raw bytes: the tls-server-end-point
// binding of a SHA-256-signed certificate, computed apart from the server's code.
std::string Sha256Fingerprint(const std::string& certificate) {
    std::unique_ptr<FILE, decltype(&pclose)> pipe(
        popen(("openssl x509 -noout -fingerprint -sha256 -in " + certificate).c_str(), "r"), &pclose);
    char line[256] = {};
    if (!pipe || fgets(line, sizeof line, pipe.get()) == nullptr) return {};
    std::string hex(line);
    hex = hex.substr(hex.find('=') + 1);
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 3)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

TEST_F(SimEndpointTest, HttpsCarriesClearBodiesAndChecksTheChannelBindingWhenSent) {
    const std::string key = WriteTemp(""), certificate = WriteTemp("");
    const std::string command =
        "openssl req -x509 -newkey rsa:2048 -sha256 -nodes -subj /CN=localhost -days 1 "
        "-keyout " +
        key + " -out " + certificate + " >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) GTEST_SKIP() << "openssl cannot make a test certificate";
    options_.https = true;
    options_.certFile = certificate;
    options_.keyFile = key;
    Start();
    const std::string httpsUrl = "https://127.0.0.1:" + std::to_string(server_->Port()) + "/wsman";
    const auto run = [&](const std::string& binding) {
        HttpClient client;
        GssInitiator ntlm("SIMDOM\\alice", "Passw0rd!", GssInitiator::Kind::Ntlm, binding);
        std::string serverToken;
        HttpResult result;
        for (int leg = 0; leg < 3; ++leg) {
            const auto token = ntlm.Step(serverToken);
            if (!token) break;
            result = client.Post(httpsUrl, {"Authorization: Negotiate " + EncodeBase64(*token), kSoapType},
                                 ntlm.Complete() ? test::EnumerateWql("select * from Win32_Service") : "");
            if (result.status != 401) break;
            serverToken = test::ServerToken(result.Header("www-authenticate"));
            if (serverToken.empty()) break;
        }
        return result;
    };
    const std::string binding = "tls-server-end-point:" + Sha256Fingerprint(certificate);
    ASSERT_EQ(binding.size(), 21u + 32u);
    const HttpResult bound = run(binding);
    ASSERT_EQ(bound.code, CURLE_OK);
    EXPECT_EQ(bound.status, 200);
    EXPECT_EQ(TestXml(bound.body).Count("//w:Items/*"), 1);
    // Like CbtHardeningLevel=Relaxed: a client that sends no binding is accepted, a wrong one is not.
    EXPECT_EQ(run("").status, 200);
    EXPECT_EQ(run("tls-server-end-point:" + std::string(32, 'x')).status, 401);
}

TEST(SimServerStartTest, ReportsWhatKeepsItFromStarting) {
    const struct {
        const char* name;
        SimOptions options;
    } cases[] = {
        {"missing users file",
         [] {
             SimOptions o;
             o.usersFile = "/nonexistent/users";
             return o;
         }()},
        {"https without certificate",
         [] {
             SimOptions o;
             o.https = true;
             return o;
         }()},
        {"bad faults file",
         [] {
             SimOptions o;
             o.faultsFile = "/nonexistent/faults";
             return o;
         }()},
    };
    for (const auto& c : cases) {
        std::string error;
        EXPECT_FALSE(StartSimServer(c.options, std::make_unique<test::FakeComputerModel>(), error)) << c.name;
        EXPECT_FALSE(error.empty()) << c.name;
    }
    // A port in use.
    std::string error;
    auto first = StartSimServer(SimOptions{}, std::make_unique<test::FakeComputerModel>(), error);
    ASSERT_TRUE(first) << error;
    SimOptions taken;
    taken.port = first->Port();
    EXPECT_FALSE(StartSimServer(taken, std::make_unique<test::FakeComputerModel>(), error));
    EXPECT_NE(error.find(std::to_string(first->Port())), std::string::npos);
    first->Stop();
    first->Stop();  // idempotent
}

}  // namespace
}  // namespace qnsim
