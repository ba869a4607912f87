#include <gtest/gtest.h>

#include <map>

#include "wsman/client/ClientSettings.h"
#include "wsman/client/ConnectionUrl.h"

namespace wsman::client {
namespace {

// The defaults show through the exports: tests/reliability refuses unencrypted Basic and every bad
// certificate with an empty store's settings, tests/e2e connects with the default scheme.
TEST(ClientSettings, ValuesOverrideTheDefaults) {
    const std::map<std::string, std::string> values = {{"AuthScheme", " kerberos "},
                                                       {"TrustedCAFile", "/etc/ca.pem"},
                                                       {"CertificateThumbprintSHA256", "AB12"},
                                                       {"SkipCACheck", "1"},
                                                       {"SkipCNCheck", "true"},
                                                       {"AllowUnencrypted", "yes"},
                                                       {"ConnectTimeoutMs", "5000"},
                                                       {"OperationTimeoutMs", "90000"},
                                                       {"BatchItems", "20"}};
    const ClientSettings settings =
        LoadClientSettings([&](const std::string& name) -> std::optional<std::string> {
            const auto found = values.find(name);
            return found == values.end() ? std::nullopt : std::optional<std::string>(found->second);
        });
    EXPECT_EQ(settings.scheme, AuthScheme::Kerberos);
    EXPECT_EQ(settings.trustedCaFile, "/etc/ca.pem");
    EXPECT_EQ(settings.pinnedSha256, "AB12");
    EXPECT_TRUE(settings.skipCaCheck && settings.skipNameCheck && settings.allowUnencrypted);
    EXPECT_EQ(settings.connectTimeoutMs, 5000);
    EXPECT_EQ(settings.operationTimeoutMs, 90000);
    EXPECT_EQ(settings.maxElements, 20);

    const auto channel = MakeChannelSettings(settings, "https://h:5986/wsman", "DOM\\u", "pw");
    EXPECT_EQ(channel.scheme, AuthScheme::Kerberos);
    EXPECT_EQ(channel.caFile, "/etc/ca.pem");
    EXPECT_EQ(channel.operationTimeoutMs, 90000);
    EXPECT_EQ(channel.userName, "DOM\\u");
}

TEST(ClientSettings, UnreadableValuesKeepDefaults) {
    const ClientSettings settings =
        LoadClientSettings([](const std::string& name) -> std::optional<std::string> {
            if (name == "AuthScheme") return "Digest";
            if (name == "AllowUnencrypted") return "maybe";
            if (name == "OperationTimeoutMs") return "-5";
            if (name == "BatchItems") return "12abc";
            return std::nullopt;
        });
    EXPECT_EQ(settings.scheme, AuthScheme::Negotiate);
    EXPECT_FALSE(settings.allowUnencrypted);
    EXPECT_EQ(settings.operationTimeoutMs, 60000);
    EXPECT_EQ(settings.maxElements, 32000);
}

TEST(ConnectionUrl, ParsesWhatTheModuleAndUsersWrite) {
    const auto https = ParseConnectionUrl("https://server.example.com:5986/wsman");
    ASSERT_TRUE(https);
    EXPECT_TRUE(https->https);
    EXPECT_EQ(https->host, "server.example.com");
    EXPECT_EQ(https->port, 5986u);
    EXPECT_EQ(https->ToString(), "https://server.example.com:5986/wsman");

    EXPECT_EQ(ParseConnectionUrl("HTTP://10.0.0.1:8080/wsman")->ToString(), "http://10.0.0.1:8080/wsman");
    EXPECT_EQ(ParseConnectionUrl("https://host")->ToString(), "https://host:5986/wsman");
    EXPECT_EQ(ParseConnectionUrl("host")->ToString(), "http://host:5985/wsman");
    EXPECT_EQ(ParseConnectionUrl("http://[fe80::1]:5985/wsman")->host, "[fe80::1]");

    for (const char* bad : {"", "ftp://host/wsman", "http://:5985/wsman", "http://host:0/wsman",
                            "http://host:70000/wsman", "http://host:/wsman", "http://ho st:5985/wsman",
                            "http://[fe80::1/wsman", "http://host:59x5/wsman"}) {
        EXPECT_FALSE(ParseConnectionUrl(bad).has_value()) << bad;
    }
}

}  // namespace
}  // namespace wsman::client
