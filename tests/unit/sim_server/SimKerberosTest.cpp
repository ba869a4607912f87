// Kerberos through the simulator against a throw-away loopback KDC: raw Kerberos and SPNEGO legs with
// the AP-REP on the 200, and bodies sealed with gss_wrap_iov HEADER|DATA|PADDING as Windows seals them.
// A program of its own: the KDC's configuration must be in the environment before GSSAPI first runs.
#include <arpa/inet.h>
#include <gssapi/gssapi.h>
#include <gssapi/gssapi_ext.h>
#include <gssapi/gssapi_krb5.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "FakeComputerModel.h"
#include "TestClients.h"
#include "TestXml.h"
#include "WsmanTestRequests.h"
#include "server/SimServer.h"

namespace qnsim {
namespace {

namespace fs = std::filesystem;

int FreePort() {
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address);
    getsockname(s, reinterpret_cast<sockaddr*>(&address), &length);
    close(s);
    return ntohs(address.sin_port);
}

bool Listening(int port) {
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool ok = connect(s, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(s);
    return ok;
}

// The realm LAB.TEST with alice and HTTP/localhost, served by krb5kdc on a free loopback port.
class LoopbackKdc {
  public:
    bool Start(std::string& error) {
        char pattern[] = "/tmp/qnsim-kdc-XXXXXX";
        if (mkdtemp(pattern) == nullptr) return Fail(error, "mkdtemp");
        dir_ = pattern;
        const int port = FreePort();
        std::ofstream(dir_ / "krb5.conf")
            << "[libdefaults]\n default_realm = LAB.TEST\n dns_canonicalize_hostname = false\n"
               " rdns = false\n dns_lookup_kdc = false\n dns_lookup_realm = false\n"
               "[realms]\n LAB.TEST = {\n  kdc = 127.0.0.1:"
            << port << "\n }\n[domain_realm]\n localhost = LAB.TEST\n";
        std::ofstream(dir_ / "kdc.conf")
            << "[realms]\n LAB.TEST = {\n  database_name = " << (dir_ / "principal").string()
            << "\n  key_stash_file = " << (dir_ / "stash").string()
            << "\n  acl_file = " << (dir_ / "kadm5.acl").string() << "\n  kdc_listen = 127.0.0.1:" << port
            << "\n  kdc_tcp_listen = 127.0.0.1:" << port
            << "\n  supported_enctypes = aes256-cts-hmac-sha1-96:normal\n }\n";
        setenv("KRB5_CONFIG", (dir_ / "krb5.conf").c_str(), 1);
        setenv("KRB5_KDC_PROFILE", (dir_ / "kdc.conf").c_str(), 1);
        keytab_ = (dir_ / "http.keytab").string();
        const std::string quiet = " >/dev/null 2>&1";
        if (std::system(("kdb5_util create -s -r LAB.TEST -P masterpw" + quiet).c_str()) != 0)
            return Fail(error, "kdb5_util create");
        for (const std::string& query :
             std::vector<std::string>{"addprinc -pw Passw0rd! alice", "addprinc -randkey HTTP/localhost",
                                      "ktadd -k " + keytab_ + " HTTP/localhost"})
            if (std::system(("kadmin.local -r LAB.TEST -q '" + query + "'" + quiet).c_str()) != 0)
                return Fail(error, "kadmin.local " + query);
        kdc_ = fork();
        if (kdc_ == 0) {
            execlp("krb5kdc", "krb5kdc", "-n", "-r", "LAB.TEST", static_cast<char*>(nullptr));
            _exit(127);
        }
        for (int attempt = 0; attempt < 100 && !Listening(port); ++attempt) usleep(50000);
        return Listening(port) || Fail(error, "krb5kdc did not start");
    }
    ~LoopbackKdc() {
        if (kdc_ > 0) {
            kill(kdc_, SIGTERM);
            waitpid(kdc_, nullptr, 0);
        }
        std::error_code ignored;
        if (!dir_.empty()) fs::remove_all(dir_, ignored);
    }
    const std::string& Keytab() const { return keytab_; }

  private:
    static bool Fail(std::string& error, const std::string& what) {
        error = what;
        return false;
    }
    fs::path dir_;
    std::string keytab_;
    pid_t kdc_ = -1;
};

TEST(SimKerberosTest, KerberosAndSpnegoKerberosSealLikeWindows) {
    if (std::system("command -v krb5kdc kdb5_util kadmin.local >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "krb5-kdc and krb5-admin-server are not installed";
    LoopbackKdc kdc;
    std::string error;
    ASSERT_TRUE(kdc.Start(error)) << error;

    SimOptions options;
    options.keytabFile = kdc.Keytab();
    options.logFile = "/dev/null";
    auto server = StartSimServer(options, std::make_unique<test::FakeComputerModel>(5), error);
    ASSERT_TRUE(server) << error;
    const std::string url = "http://localhost:" + std::to_string(server->Port()) + "/wsman";

    for (const bool spnego : {false, true}) {
        SCOPED_TRACE(spnego ? "Negotiate (SPNEGO/Kerberos)" : "Kerberos");
        test::HttpClient client;
        test::GssInitiator kerberos(
            "alice@LAB.TEST", "Passw0rd!",
            spnego ? test::GssInitiator::Kind::SpnegoKerberos : test::GssInitiator::Kind::Kerberos);
        const auto token = kerberos.Step("");
        ASSERT_TRUE(token) << "no ticket for HTTP/localhost";
        const std::string scheme = spnego ? "Negotiate" : "Kerberos";
        const test::HttpResult done =
            client.Post(url, {"Authorization: " + scheme + " " + EncodeBase64(*token)}, "");
        ASSERT_EQ(done.status, 200);  // one leg; the AP-REP rides on the 200
        const std::string apRep = test::ServerToken(done.Header("www-authenticate"));
        ASSERT_FALSE(apRep.empty());
        ASSERT_TRUE(kerberos.Step(apRep));
        ASSERT_TRUE(kerberos.Complete());

        auto [body, type] = kerberos.Seal(test::EnumerateWql("select * from Win32_Service", 10));
        const test::HttpResult reply = client.Post(url, {type}, body);
        ASSERT_EQ(reply.status, 200);
        // Negotiate seals under the SPNEGO protocol name even when Kerberos was chosen inside it.
        const std::string expectedProtocol(spnego ? kSpnegoEncrypted : kKerberosEncrypted);
        EXPECT_NE(reply.Header("content-type").find(expectedProtocol), std::string::npos);
        const auto plain = kerberos.Unseal(reply.Header("content-type"), reply.body);
        ASSERT_TRUE(plain);
        test::TestXml first(*plain);
        EXPECT_EQ(first.Count("//w:Items/*"), 1);

        auto [pullBody, pullType] = kerberos.Seal(test::Pull(first.Text("//n:EnumerationContext"), 10));
        const test::HttpResult pulled = client.Post(url, {pullType}, pullBody);
        const auto pullPlain = kerberos.Unseal(pulled.Header("content-type"), pulled.body);
        ASSERT_TRUE(pullPlain);
        EXPECT_EQ(test::TestXml(*pullPlain).Count("//n:Items/*"), 4);
    }
}

}  // namespace
}  // namespace qnsim
