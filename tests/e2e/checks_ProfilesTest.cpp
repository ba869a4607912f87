// The process list against the simulator's bundled computers, 20 items to a message. The expected answer is
// read from a second copy of the same profile, asked directly, so the test holds for whatever the profiles
// contain. A profile that is not bundled is skipped. (Each check's reading of its records: EveryExportTest
// and tests/unit/checks.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "ModuleBench.h"

namespace qn::e2e {
namespace {

// The text of a property of a rendered instance, entities resolved; empty when missing or nil.
std::string Value(const std::string& xml, const std::string& property) {
    static const std::pair<const char*, const char*> kEntities[] = {
        {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&apos;", "'"}, {"&amp;", "&"}};
    std::smatch match;
    if (!std::regex_search(xml, match, std::regex("<p:" + property + ">([^<]*)</p:" + property + ">")))
        return {};
    std::string text = match[1].str();
    for (const auto& [entity, plain] : kEntities) text = std::regex_replace(text, std::regex(entity), plain);
    return text;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

class ProfileTest : public ::testing::TestWithParam<const char*> {};

// Every process name once, folded and sorted, however many Pulls the list takes.
TEST_P(ProfileTest, ProcessListAgreesWithTheProfile) {
    std::string error;
    const auto profile = qnsim::LoadComputerModel(GetParam(), error);
    if (!profile) GTEST_SKIP() << "profile " << GetParam() << " is not bundled: " << error;
    std::set<std::string> names;
    for (const auto& item :
         profile->ExecQuery("root/cimv2", "select * from Win32_Process", std::chrono::steady_clock::now())
             .value)
        names.insert(Lower(Value(item.xml, "Name")));
    names.erase("");
    std::string expected;
    for (const auto& name : names) expected += (expected.empty() ? "" : "||") + name;

    qntest::Bench bench;
    ASSERT_TRUE(bench.StartSim({.maxItemsInEnumerateResponse = 20, .profile = GetParam()}))
        << bench.SimError();
    ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();
    std::vector<char> list(1 << 20);
    char text[512];
    ASSERT_EQ(WSManGetProcessList(bench.Handle(), list.data(), static_cast<uint32_t>(list.size()), text,
                                  sizeof text),
              QNSNWSM_OK)
        << text;
    EXPECT_EQ(Lower(list.data()), expected);
}

INSTANTIATE_TEST_SUITE_P(BundledComputers, ProfileTest,
                         ::testing::Values("workstation", "server", "unhealthy"));

}  // namespace
}  // namespace qn::e2e
