// The fault-injection file: parsing, matching order and limits.
#include <gtest/gtest.h>

#include "server/FaultRules.h"

namespace qnsim {
namespace {

TEST(FaultRulesTest, MatchesByRequestNumberActionAndClassInFileOrder) {
    std::string error;
    auto rules = FaultRules::Parse(
        "# comment line\n"
        "request=2            status=503\n"
        "action=Pull times=1  drop   # only the first Pull\n"
        "action=Enumerate class=Win32_Process fault=AccessDenied delay=1500\n"
        "class=win32_service  truncate=10 content-type=text/plain\n"
        "request=7-8          malformed oversize=100 bad-signature\n",
        "rules", error);
    ASSERT_TRUE(rules) << error;
    // value() throws, and so fails the test, where a rule was expected to match. What each effect does
    // meets the client in tests/reliability (FaultMatrixTest).
    EXPECT_EQ(rules->Match(2, "Enumerate", "Win32_Process").value().httpStatus, 503u);  // first rule wins
    EXPECT_TRUE(rules->Match(3, "Pull", "*").value().dropConnection);
    EXPECT_FALSE(rules->Match(4, "Pull", "*"));  // times=1 used up
    // Actions and classes match in any case; a rule naming a class and an action needs both.
    const FaultEffect enumerate = rules->Match(5, "enumerate", "WIN32_PROCESS").value();
    EXPECT_EQ(enumerate.fault, FaultKind::AccessDenied);
    EXPECT_EQ(enumerate.delay, std::chrono::milliseconds(1500));
    EXPECT_FALSE(rules->Match(6, "Get", "Win32_Process"));
    EXPECT_EQ(rules->Match(6, "Get", "Win32_Service").value().truncateAt, 10u);
    EXPECT_EQ(rules->Match(8, "Get", "Other").value().oversizeBy, 100u);  // a range of request numbers
    EXPECT_FALSE(rules->Match(9, "Get", "Other"));
}

TEST(FaultRulesTest, ReportsTheLineOfAnythingNotUnderstood) {
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {"status=503\nfrobnicate\n", "rules:2: unknown word 'frobnicate'"},
        {"request=5-2 drop\n", "rules:1: bad value '5-2' for 'request'"},
        {"\n\ndelay= \n", "rules:3: 'delay' needs a value"},
    };
    for (const auto& c : cases) {
        std::string error;
        EXPECT_FALSE(FaultRules::Parse(c.text, "rules", error)) << c.text;
        EXPECT_EQ(error, c.expected);
    }
}

}  // namespace
}  // namespace qnsim
