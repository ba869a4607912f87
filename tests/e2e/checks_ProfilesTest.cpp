// The checks against the simulator's bundled computers. The expected answers are read from a second copy of
// the same profile, asked directly, so the test holds for whatever the profiles contain. A profile that is
// not bundled is skipped.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
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
    for (const auto& [entity, plain] : kEntities)
        for (std::size_t at = text.find(entity); at != std::string::npos; at = text.find(entity, at + 1))
            text.replace(at, std::strlen(entity), plain);
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
        qntest::SimSetup setup;
        setup.profile = GetParam();
        setup.maxItemsInEnumerateResponse = 20;
        ASSERT_TRUE(bench_.StartSim(setup, error)) << error;
        ASSERT_EQ(bench_.ConnectToSim(), QNSNWSM_OK) << bench_.ErrorText();
        handle_ = bench_.Handle();
    }
    // The profile's own instances of a class; false when it lacks the class.
    bool Instances(const std::string& className, std::vector<std::string>& items) {
        auto result = expected_->ExecQuery("root/cimv2", "select * from " + className,
                                           std::chrono::steady_clock::now());
        items.clear();
        for (const auto& item : result.value) items.push_back(item.xml);
        return result.ok;
    }

    qntest::Bench bench_;
    std::unique_ptr<qnsim::ComputerModel> expected_;
    QNSNWSM_HANDLE handle_ = nullptr;
    char error_[512] = {};
};

TEST_P(ProfileTest, DomainMatchesTheComputerSystem) {
    std::vector<std::string> items;
    char domain[256];
    uint32_t member = 7;
    const uint32_t result = WSManGetDomain(handle_, domain, sizeof domain, error_, sizeof error_, &member);
    if (!Instances("Win32_ComputerSystem", items) || items.empty() || Value(items[0], "DomainRole").empty() ||
        Value(items[0], "Domain").empty()) {
        EXPECT_EQ(result, QNSNWSM_FAILURE);
        return;
    }
    ASSERT_EQ(result, QNSNWSM_OK) << error_;
    EXPECT_EQ(domain, Value(items[0], "Domain"));
    const std::set<std::string> memberRoles = {"1", "3", "4", "5"};
    EXPECT_EQ(member, memberRoles.count(Value(items[0], "DomainRole")) != 0 ? 1u : 0u);
}

TEST_P(ProfileTest, ProcessAndServiceListsNameEveryInstanceOnce) {
    std::vector<std::string> items;
    std::vector<char> list(1 << 20);
    if (Instances("Win32_Process", items)) {
        std::set<std::string> folded;
        for (const auto& item : items) folded.insert(Lower(Value(item, "Name")));
        folded.erase("");
        ASSERT_EQ(WSManGetProcessList(handle_, list.data(), static_cast<uint32_t>(list.size()), error_,
                                      sizeof error_),
                  QNSNWSM_OK)
            << error_;
        std::vector<std::string> listed;
        const std::string joined(list.data());
        for (std::size_t start = 0; !joined.empty() && start <= joined.size();) {
            const std::size_t end = joined.find("||", start);
            listed.push_back(
                Lower(joined.substr(start, end == std::string::npos ? std::string::npos : end - start)));
            if (end == std::string::npos) break;
            start = end + 2;
        }
        EXPECT_EQ(std::set<std::string>(listed.begin(), listed.end()), folded);
        EXPECT_TRUE(std::is_sorted(listed.begin(), listed.end()));
        EXPECT_EQ(listed.size(), folded.size());
    }
    if (Instances("Win32_Service", items) && !items.empty()) {
        const std::string name = Value(items.back(), "Name");
        char found[256], display[256], state[64], mode[64];
        uint32_t installed = 0;
        ASSERT_EQ(
            WSManGetServiceState(handle_, name.c_str(), found, sizeof found, display, sizeof display,
                                 &installed, state, sizeof state, mode, sizeof mode, error_, sizeof error_),
            QNSNWSM_OK)
            << error_;
        EXPECT_EQ(installed, 1u);
        EXPECT_EQ(state, Value(items.back(), "State"));
        EXPECT_EQ(mode, Value(items.back(), "StartMode"));
    }
}

TEST_P(ProfileTest, DisksAndLogicalDisksAgreeWithTheProfile) {
    std::vector<std::string> items;
    if (Instances("Win32_DiskDrive", items)) {
        uint32_t allOk = 7;
        char list[4096], bad[256], status[256];
        const uint32_t result =
            WSManGetDisksState(handle_, &allOk, list, bad, status, 256, error_, sizeof error_);
        std::string firstBad;
        bool incomplete = false;
        for (const auto& item : items) {
            if (Value(item, "Caption").empty() || Value(item, "Status").empty()) {
                incomplete = true;  // a disk without caption or status fails the check
                break;
            }
            if (Lower(Value(item, "Status")) != "ok") {
                firstBad = "[" + Value(item, "Caption") + "]";
                break;
            }
        }
        EXPECT_EQ(result, incomplete ? QNSNWSM_FAILURE : QNSNWSM_OK) << error_;
        if (!incomplete) {
            EXPECT_EQ(allOk, firstBad.empty() ? 1u : 0u);
            EXPECT_EQ(bad, firstBad);
        }
    }
    if (Instances("Win32_LogicalDisk", items)) {
        for (const auto& item : items) {
            const std::string name = Value(item, "Name");
            if (name.empty()) continue;
            uint32_t found = 0, freeMB = 0, usedMB = 0, sizeMB = 0;
            const uint32_t result = WSManGetLogicalDiskSpace(handle_, name.c_str(), &found, &freeMB, &usedMB,
                                                             &sizeMB, error_, sizeof error_);
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
}

TEST_P(ProfileTest, SchemaBrowsingOffersWin32Classes) {
    std::vector<char> list(1 << 20);
    ASSERT_EQ(
        WSManCollectClasses(handle_, list.data(), static_cast<uint32_t>(list.size()), error_, sizeof error_),
        QNSNWSM_OK)
        << error_;
    const std::string classes(list.data());
    EXPECT_NE(Lower(classes).find("win32_process"), std::string::npos);
    EXPECT_EQ(classes.find("CIM_"), std::string::npos);

    char properties[8192];
    ASSERT_EQ(WSManCollectProperties(handle_, "Win32_Process", properties, sizeof properties, error_,
                                     sizeof error_),
              QNSNWSM_OK)
        << error_;
    EXPECT_NE(std::string(properties).find("Name;;8"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(BundledComputers, ProfileTest,
                         ::testing::Values("workstation", "server", "unhealthy"));

}  // namespace
}  // namespace qn::e2e
