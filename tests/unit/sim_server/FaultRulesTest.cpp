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
    EXPECT_EQ(rules->Match(2, "Enumerate", "Win32_Process")->httpStatus, 503u);  // first rule wins
    const auto pull = rules->Match(3, "Pull", "*");
    ASSERT_TRUE(pull);
    EXPECT_TRUE(pull->dropConnection);
    EXPECT_FALSE(rules->Match(4, "Pull", "*"));  // times=1 used up

    const auto enumerate = rules->Match(5, "enumerate", "WIN32_PROCESS");
    ASSERT_TRUE(enumerate);
    EXPECT_EQ(enumerate->fault, FaultKind::AccessDenied);
    EXPECT_EQ(enumerate->delay, std::chrono::milliseconds(1500));
    EXPECT_FALSE(rules->Match(6, "Get", "Win32_Process"));

    EXPECT_EQ(rules->Match(6, "Get", "Win32_Service")->truncateAt, 10u);

    const auto ranged = rules->Match(8, "Get", "Other");
    ASSERT_TRUE(ranged);
    EXPECT_TRUE(ranged->malformedBody && ranged->badSignature);
    EXPECT_EQ(ranged->oversizeBy, 100u);
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
