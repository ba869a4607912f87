#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "wsman/client/ClientSettings.h"
#include "wsman/client/ConnectionUrl.h"

namespace wsman::client {
namespace {

ClientSettings Load(const std::map<std::string, std::string>& values) {
    return LoadClientSettings([&](const std::string& name) -> std::optional<std::string> {
        const auto found = values.find(name);
        return found == values.end() ? std::nullopt : std::optional<std::string>(found->second);
    });
}

// The defaults show through the exports: tests/reliability refuses unencrypted Basic and every bad
// certificate with an empty store's settings, tests/e2e connects with the default scheme.
TEST(ClientSettings, ValuesAsUsersWriteThemAndUnreadableOnesKeepTheDefaults) {
    const ClientSettings set = Load({{"AuthScheme", " kerberos "},
                                     {"SkipCACheck", "1"},
                                     {"SkipCNCheck", "true"},
                                     {"AllowUnencrypted", "yes"},
                                     {"OperationTimeoutMs", "90000"},
                                     {"BatchItems", "20"}});
    EXPECT_EQ(set.scheme, AuthScheme::Kerberos);
    EXPECT_TRUE(set.skipCaCheck && set.skipNameCheck && set.allowUnencrypted);
    EXPECT_EQ(set.operationTimeoutMs, 90000);
    EXPECT_EQ(set.maxElements, 20);
    EXPECT_EQ(MakeChannelSettings(set, "https://h:5986/wsman", "DOM\\u", "pw").operationTimeoutMs, 90000);
    // The request margin follows the operation timeout unless set.
    for (const auto& [operation, margin, expected] : {std::tuple{"90000", "", 22500L},
                                                      {"5000", "", 1250L},
                                                      {"2000", "", 1000L},
                                                      {"600000", "", 30000L},
                                                      {"5000", "300", 300L},
                                                      {"5000", "-1", 1250L}}) {
        std::map<std::string, std::string> values{{"OperationTimeoutMs", operation}};
        if (*margin != '\0') values["RequestMarginMs"] = margin;
        EXPECT_EQ(MakeChannelSettings(Load(values), "http://h/wsman", "u", "pw").requestTimeoutMarginMs,
                  expected)
            << operation << " " << margin;
    }

    const ClientSettings unreadable = Load({{"AuthScheme", "Digest"},
                                            {"AllowUnencrypted", "maybe"},
                                            {"OperationTimeoutMs", "-5"},
                                            {"BatchItems", "12abc"},
                                            {"EnumerationTimeoutMs", "0"}});
    EXPECT_EQ(unreadable.scheme, AuthScheme::Negotiate);
    EXPECT_FALSE(unreadable.allowUnencrypted);
    EXPECT_EQ(unreadable.operationTimeoutMs, 60000);
    EXPECT_EQ(unreadable.maxElements, 32000);
    EXPECT_EQ(unreadable.enumeration.timeoutMs, 120000) << "no bound is ever switched off";
}

TEST(ConnectionUrl, ParsesWhatTheModuleAndUsersWrite) {
    EXPECT_EQ(ParseConnectionUrl("https://server.example.com:5986/wsman")->host, "server.example.com");
    EXPECT_EQ(ParseConnectionUrl("HTTP://10.0.0.1:8080/wsman")->ToString(), "http://10.0.0.1:8080/wsman");
    EXPECT_EQ(ParseConnectionUrl("https://host")->ToString(), "https://host:5986/wsman");
    EXPECT_EQ(ParseConnectionUrl("host")->ToString(), "http://host:5985/wsman");
    EXPECT_EQ(ParseConnectionUrl("http://[fe80::1]:5985/wsman")->host, "[fe80::1]");
    for (const char* bad : {"", "ftp://host/wsman", "http://:5985/wsman", "http://host:0/wsman",
                            "http://host:70000/wsman", "http://[fe80::1/wsman", "http://host:59x5/wsman"}) {
        EXPECT_FALSE(ParseConnectionUrl(bad).has_value()) << bad;
    }
}

}  // namespace
}  // namespace wsman::client
