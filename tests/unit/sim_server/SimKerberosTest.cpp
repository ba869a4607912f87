// Kerberos through the simulator against a throw-away loopback KDC: raw Kerberos and SPNEGO legs with
// the AP-REP on the 200, and bodies sealed with gss_wrap_iov HEADER|DATA|PADDING as Windows seals them.
// A program of its own: the KDC's configuration must be in the environment before GSSAPI first runs.
#include <gtest/gtest.h>

#include "FakeComputer.h"
#include "LoopbackKdc.h"
#include "TestClients.h"
#include "TestXml.h"
#include "WsmanTestRequests.h"
#include "server/SimServer.h"

namespace qnsim {
namespace {

TEST(SimKerberosTest, KerberosAndSpnegoKerberosSealLikeWindows) {
    const qntest::ScratchFolder folder;
    const qntest::LoopbackKdc kdc(folder, "Passw0rd!");
    if (!kdc.Ready()) GTEST_SKIP() << "no loopback KDC: " << kdc.Problem();
    std::string error;

    SimOptions options;
    options.keytabFile = kdc.Keytab();
    options.logFile = "/dev/null";
    auto server = StartSimServer(options, test::FakeComputer(), error);
    ASSERT_TRUE(server) << error;
    const std::string url = "http://localhost:" + std::to_string(server->Port()) + "/wsman";

    for (const bool spnego : {false, true}) {
        SCOPED_TRACE(spnego ? "Negotiate (SPNEGO/Kerberos)" : "Kerberos");
        test::HttpClient client;
        test::GssInitiator kerberos(
            qntest::LoopbackKdc::kUser, "Passw0rd!",
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
