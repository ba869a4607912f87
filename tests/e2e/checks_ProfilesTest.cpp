// The checks against the simulator's bundled computers. The expected answers are read from a second copy of
// the same profile, asked directly, so the test holds for whatever the profiles contain. A profile that is
// not bundled is skipped.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <memory>
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

class ProfileTest : public ::testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        std::string error;
        expected_ = qnsim::LoadComputerModel(GetParam(), error);
        if (!expected_) GTEST_SKIP() << "profile " << GetParam() << " is not bundled: " << error;
        ASSERT_TRUE(bench_.StartSim({.maxItemsInEnumerateResponse = 20, .profile = GetParam()}))
            << bench_.SimError();
        ASSERT_EQ(bench_.ConnectToSim(), QNSNWSM_OK) << bench_.ErrorText();
    }
    // The profile's own instances of a class; empty when it lacks the class.
    std::vector<std::string> Instances(const std::string& className) {
        std::vector<std::string> items;
        for (const auto& item :
             expected_
                 ->ExecQuery("root/cimv2", "select * from " + className, std::chrono::steady_clock::now())
                 .value)
            items.push_back(item.xml);
        return items;
    }

    qntest::Bench bench_;
    std::unique_ptr<qnsim::ComputerModel> expected_;
    char error_[512] = {};
};

// Every process name once, folded and sorted, however many Pulls the list takes.
TEST_P(ProfileTest, ProcessListAndServiceStateAgreeWithTheProfile) {
    std::set<std::string> names;
    for (const auto& item : Instances("Win32_Process")) names.insert(Lower(Value(item, "Name")));
    names.erase("");
    std::vector<char> list(1 << 20);
    ASSERT_EQ(WSManGetProcessList(bench_.Handle(), list.data(), static_cast<uint32_t>(list.size()), error_,
                                  sizeof error_),
              QNSNWSM_OK)
        << error_;
    std::string expected;
    for (const auto& name : names) expected += (expected.empty() ? "" : "||") + name;
    EXPECT_EQ(Lower(list.data()), expected);

    const auto services = Instances("Win32_Service");
    if (services.empty()) return;
    const std::string name = Value(services.back(), "Name");
    char found[256], display[256], state[64], mode[64];
    uint32_t installed = 0;
    ASSERT_EQ(
        WSManGetServiceState(bench_.Handle(), name.c_str(), found, sizeof found, display, sizeof display,
                             &installed, state, sizeof state, mode, sizeof mode, error_, sizeof error_),
        QNSNWSM_OK)
        << error_;
    EXPECT_EQ(installed, 1u);
    EXPECT_EQ(state, Value(services.back(), "State"));
    EXPECT_EQ(mode, Value(services.back(), "StartMode"));
}

TEST_P(ProfileTest, LogicalDiskSizesAgreeWithTheProfile) {
    for (const auto& item : Instances("Win32_LogicalDisk")) {
        const std::string name = Value(item, "Name");
        if (name.empty()) continue;
        uint32_t found = 0, freeMB = 0, usedMB = 0, sizeMB = 0;
        const uint32_t result = WSManGetLogicalDiskSpace(bench_.Handle(), name.c_str(), &found, &freeMB,
                                                         &usedMB, &sizeMB, error_, sizeof error_);
        EXPECT_EQ(found, 1u) << name;
        if (Value(item, "FreeSpace").empty() || Value(item, "Size").empty()) {
            EXPECT_EQ(result, QNSNWSM_FAILURE) << name;  // a drive without media has no sizes
            continue;
        }
        EXPECT_EQ(result, QNSNWSM_OK) << name << ": " << error_;
        EXPECT_EQ(sizeMB, static_cast<uint32_t>(std::stoll(Value(item, "Size")) / (1LL << 20)));
        EXPECT_EQ(usedMB, sizeMB - freeMB);
    }
}

INSTANTIATE_TEST_SUITE_P(BundledComputers, ProfileTest,
                         ::testing::Values("workstation", "server", "unhealthy"));

}  // namespace
}  // namespace qn::e2e
