// The simulator in-process on a free port over real HTTP: what HTTP.sys answers before authentication,
// Basic, and the refusals at start-up. pywinrm_sim_test.py drives the program with an independent client
// (sealing, tampered bodies, channel binding); tests/unit/wsman_transport runs the module's channel against
// the simulator.
#include <curl/curl.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "FakeComputer.h"
#include "TestFiles.h"
#include "WsmanTestMessages.h"
#include "server/Base64.h"
#include "server/SimServer.h"

namespace qnsim {
namespace {

using test::TestXml;

const std::string kSoapType = "Content-Type: application/soap+xml;charset=UTF-8";
const std::string kServices = test::EnumerateWql("select * from Win32_Service");

struct HttpResult {
    long status = 0;
    std::string headers, body;  // headers in lower case
    std::size_t Count(const std::string& header) const {
        std::size_t n = 0;
        for (std::size_t at = headers.find(header); at != std::string::npos;
             at = headers.find(header, at + 1))
            ++n;
        return n;
    }
};

std::size_t Append(char* data, std::size_t size, std::size_t count, void* target) {
    static_cast<std::string*>(target)->append(data, size * count);
    return size * count;
}

// One keep-alive connection for every request, as WinRM clients use one.
HttpResult Post(CURL* curl, const std::string& url, const std::vector<std::string>& headers,
                const std::string& body) {
    HttpResult result;
    curl_slist* list = curl_slist_append(nullptr, "Expect:");
    for (const auto& header : headers) list = curl_slist_append(list, header.c_str());
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 20L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Append);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &result.body);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &Append);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &result.headers);
    curl_easy_perform(curl);
    curl_slist_free_all(list);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &result.status);
    for (char& c : result.headers) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return result;
}

TEST(SimEndpointTest, AnswersLikeHttpSysBeforeAuthenticationAndBasicOnlyWhenEnabled) {
    qntest::ScratchFolder scratch;
    SimOptions options;
    options.usersFile = scratch.Write("users", "SIMDOM:alice:Passw0rd!\n");
    std::unique_ptr<SimServer> server;
    std::string url, error;
    const auto start = [&] {
        server = StartSimServer(options, test::FakeComputer(), error);
        url = server ? "http://127.0.0.1:" + std::to_string(server->Port()) + "/wsman" : "";
        return server != nullptr;
    };
    ASSERT_TRUE(start()) << error;
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), &curl_easy_cleanup);
    const auto post = [&](const std::vector<std::string>& headers, const std::string& body) {
        return Post(curl.get(), url, headers, body);
    };
    const std::string alice = "Authorization: Basic " + EncodeBase64("SIMDOM\\alice:Passw0rd!");
    const HttpResult challenge = post({alice, kSoapType}, kServices);
    EXPECT_EQ(challenge.status, 401);  // Basic credentials are no use until Basic is enabled
    EXPECT_EQ(challenge.Count("www-authenticate:"), 1u);
    EXPECT_EQ(challenge.Count("www-authenticate: negotiate\r\n"), 1u);
    EXPECT_EQ(challenge.Count("server: microsoft-httpapi/2.0\r\n"), 1u);

    // Basic, once enabled, is offered too and must prove itself on every request.
    options.basic = options.allowUnencrypted = true;
    ASSERT_TRUE(start()) << error;
    EXPECT_EQ(post({}, "").Count("www-authenticate:"), 2u);
    EXPECT_EQ(TestXml(post({alice, kSoapType}, kServices).body).Count("//w:Items/*"), 1);
    EXPECT_EQ(post({kSoapType}, kServices).status, 401);
}

TEST(SimServerStartTest, ReportsWhatKeepsItFromStarting) {
    std::string error;
    auto first = StartSimServer(SimOptions{}, test::FakeComputer(), error);
    ASSERT_TRUE(first) << error;
    const std::function<void(SimOptions&)> changes[] = {
        [](SimOptions& o) { o.usersFile = "/nonexistent/users"; },
        [](SimOptions& o) { o.https = true; },  // without a certificate
        [](SimOptions& o) { o.faultsFile = "/nonexistent/faults"; },
        [&](SimOptions& o) { o.port = first->Port(); },  // taken: the last, its error names the port
    };
    for (const auto& change : changes) {
        SimOptions options;
        change(options);
        error.clear();
        EXPECT_FALSE(StartSimServer(options, test::FakeComputer(), error));
        EXPECT_FALSE(error.empty());
    }
    EXPECT_NE(error.find(std::to_string(first->Port())), std::string::npos) << error;
    first->Stop();
    first->Stop();  // idempotent
}

}  // namespace
}  // namespace qnsim
