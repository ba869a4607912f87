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

class KerberosInitiator {
  public:
    explicit KerberosInitiator(bool spnego) : spnego_(spnego) {
        OM_uint32 minor = 0;
        const std::string user = "alice@LAB.TEST", password = "Passw0rd!", target = "HTTP@localhost";
        gss_buffer_desc userBuffer{user.size(), const_cast<char*>(user.data())};
        gss_import_name(&minor, &userBuffer, GSS_C_NT_USER_NAME, &user_);
        gss_buffer_desc passwordBuffer{password.size(), const_cast<char*>(password.data())};
        gss_OID_set_desc mechs{1, spnego ? &spnegoOid_ : const_cast<gss_OID>(gss_mech_krb5)};
        gss_acquire_cred_with_password(&minor, user_, &passwordBuffer, GSS_C_INDEFINITE, &mechs,
                                       GSS_C_INITIATE, &credential_, nullptr, nullptr);
        gss_buffer_desc targetBuffer{target.size(), const_cast<char*>(target.data())};
        gss_import_name(&minor, &targetBuffer, GSS_C_NT_HOSTBASED_SERVICE, &target_);
    }
    ~KerberosInitiator() {
        OM_uint32 minor = 0;
        if (context_ != GSS_C_NO_CONTEXT) gss_delete_sec_context(&minor, &context_, GSS_C_NO_BUFFER);
        gss_release_cred(&minor, &credential_);
        gss_release_name(&minor, &user_);
        gss_release_name(&minor, &target_);
    }

    std::optional<std::string> Step(const std::string& serverToken) {
        OM_uint32 minor = 0;
        gss_buffer_desc input{serverToken.size(), const_cast<char*>(serverToken.data())};
        gss_buffer_desc output{0, nullptr};
        const OM_uint32 major =
            gss_init_sec_context(&minor, credential_, &context_, target_,
                                 spnego_ ? &spnegoOid_ : const_cast<gss_OID>(gss_mech_krb5),
                                 GSS_C_CONF_FLAG | GSS_C_INTEG_FLAG | GSS_C_MUTUAL_FLAG | GSS_C_SEQUENCE_FLAG,
                                 0, GSS_C_NO_CHANNEL_BINDINGS, serverToken.empty() ? GSS_C_NO_BUFFER : &input,
                                 nullptr, &output, nullptr, nullptr);
        std::string token = test::BufferText(output);
        gss_release_buffer(&minor, &output);
        if (GSS_ERROR(major)) return std::nullopt;
        complete_ = !(major & GSS_S_CONTINUE_NEEDED);
        return token;
    }
    bool Complete() const { return complete_; }

    // Sealed the way Windows and pywinrm seal Kerberos: HEADER | DATA | PADDING.
    std::pair<std::string, std::string> Seal(const std::string& plaintext) {
        OM_uint32 minor = 0;
        std::string data = plaintext;
        gss_iov_buffer_desc iov[3] = {};
        iov[0].type = GSS_IOV_BUFFER_TYPE_HEADER | GSS_IOV_BUFFER_FLAG_ALLOCATE;
        iov[1].type = GSS_IOV_BUFFER_TYPE_DATA;
        iov[1].buffer = {data.size(), data.data()};
        iov[2].type = GSS_IOV_BUFFER_TYPE_PADDING | GSS_IOV_BUFFER_FLAG_ALLOCATE;
        gss_wrap_iov(&minor, context_, 1, GSS_C_QOP_DEFAULT, nullptr, iov, 3);
        EncryptedBody parts;
        parts.protocol = kKerberosEncrypted;
        parts.signature = test::BufferText(iov[0].buffer);
        parts.sealed = data + test::BufferText(iov[2].buffer);
        parts.originalLength = parts.sealed.size();
        gss_release_iov_buffer(&minor, iov, 3);
        return {BuildEncryptedBody(parts), "Content-Type: " + EncryptedContentType(kKerberosEncrypted)};
    }

    // Unsealed as MIT clients do: HEADER | DATA, the header telling how much of the data is padding.
    std::optional<std::string> Unseal(const std::string& contentType, const std::string& body) {
        const auto parts = ParseEncryptedBody(contentType, body);
        if (!parts) return std::nullopt;
        const std::string token = parts->signature + parts->sealed;
        OM_uint32 minor = 0;
        gss_buffer_desc input{token.size(), const_cast<char*>(token.data())};
        gss_buffer_desc output{0, nullptr};
        const OM_uint32 major = gss_unwrap(&minor, context_, &input, &output, nullptr, nullptr);
        std::string plaintext = test::BufferText(output);
        gss_release_buffer(&minor, &output);
        if (GSS_ERROR(major)) return std::nullopt;
        return plaintext;
    }

  private:
    bool spnego_;
    gss_OID_desc spnegoOid_{6, const_cast<char*>("\x2b\x06\x01\x05\x05\x02")};
    gss_name_t user_ = GSS_C_NO_NAME, target_ = GSS_C_NO_NAME;
    gss_cred_id_t credential_ = GSS_C_NO_CREDENTIAL;
    gss_ctx_id_t context_ = GSS_C_NO_CONTEXT;
    bool complete_ = false;
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
        KerberosInitiator kerberos(spnego);
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
        const std::string expectedProtocol = std::string(kKerberosEncrypted);
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
