// Profiles: every bundled computer answers the classes the checks ask for with counters that follow its
// processes and CPUs; a broken profile is refused with a message naming the file, the place and the problem.
#include <set>

#include "ModelTestSupport.h"

namespace qnsim::test {
namespace {

class BundledProfile : public ::testing::TestWithParam<const char*> {};

TEST_P(BundledProfile, AnswersEveryCheckedClassWithCountersPerProcessAndCpu) {
    auto model = LoadBundled(GetParam());
    ASSERT_TRUE(model);
    for (const char* className :
         {"Win32_ComputerSystem", "Win32_DiskDrive", "Win32_LogicalDisk",
          "Win32_PerfFormattedData_PerfOS_Memory", "Win32_Processor", "Win32_Service", "Win32_Printer",
          "Win32_Share", "Win32_PerfFormattedData_Tcpip_NetworkInterface", "Win32_UserAccount",
          "Win32_Group"})
        EXPECT_FALSE(Query(*model, std::string("select * from ") + className).empty()) << className;
    EXPECT_EQ(Query(*model, "select * from Win32_OperatingSystem").size(), 1u);

    // One process counter per process, each name once (svchost, svchost#1, ...), plus _Total.
    const auto processes = Query(*model, "select * from Win32_Process");
    const auto counters = Query(*model, "select Name, IDProcess from Win32_PerfRawData_PerfProc_Process");
    ASSERT_EQ(counters.size(), processes.size() + 1);
    std::set<std::string> names;
    for (const auto& item : counters) EXPECT_TRUE(names.insert(PropertyText(item.xml, "Name")).second);
    for (const char* name : {"Idle", "_Total", "svchost#1"}) EXPECT_TRUE(names.contains(name)) << name;
    const auto cpus = Query(*model, "select Name from Win32_PerfFormattedData_PerfOS_Processor");
    ASSERT_EQ(cpus.size(), model->LogicalProcessors() + 1);
    EXPECT_EQ(PropertyText(cpus.back().xml, "Name"), "_Total");
}

INSTANTIATE_TEST_SUITE_P(Profiles, BundledProfile, ::testing::Values("workstation", "server", "unhealthy"));

TEST(ProfileValidation, NamesFilePlaceAndProblem) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"unknown-class.json", {"instances/root/cimv2/Win32_Spaceship", "unknown class"}},
        {"unknown-property.json", {"Win32_Share[1]", "Colour", "not in Win32_Share"}},
        {"wrong-type.json", {"Win32_Share[0]", "Type", "integer", "\"disk\""}},
        {"bad-datetime.json", {"InstallDate", "date and time"}},
        {"missing-key.json", {"Win32_UserAccount[0]", "key property Domain is missing"}},
        {"duplicate-keys.json", {"Win32_Service[1]", "same keys"}},  // keys compare without case
        {"unknown-namespace.json", {"root/virtualization", "unknown namespace"}},
        {"not-json.json", {"not valid JSON"}},
        {"bad-reference.json", {"GroupComponent", "reference"}},
        {"bad-include.json", {"missing-part.json", "cannot be read"}},
    };
    for (const auto& [file, mentions] : cases) {
        std::string error;
        EXPECT_FALSE(LoadComputerModel(std::string(QN_SIM_MODEL_TEST_DATA "/broken/") + file, error));
        EXPECT_NE(error.find(file), std::string::npos) << error;
        for (const char* fragment : mentions) EXPECT_NE(error.find(fragment), std::string::npos) << error;
    }
    std::string error;
    EXPECT_FALSE(LoadComputerModel("no-such-profile", error));
    EXPECT_NE(error.find("no-such-profile.json"), std::string::npos) << error;
}

TEST(ProfileGenerators, RepeatCycleDefaultsAndPlaceholders) {
    std::string error;
    auto model = LoadComputerModel(QN_SIM_MODEL_TEST_DATA "/generated.json", error);
    ASSERT_TRUE(model) << error;
    const auto shares = Query(*model, "select Name, Path, Type, AllowMaximum, Description from Win32_Share");
    ASSERT_EQ(shares.size(), 6u);
    const std::tuple<std::size_t, const char*, const char*> expected[] = {
        {0, "Path", "D:\\Shares\\1"},
        {0, "Description", "made on GEN1"},
        {1, "Type", "1"},
        {2, "Type", "0"},
        {3, "AllowMaximum", "true"},
        {4, "Name", "Share5"},
        {5, "Type", "2147483648"},
    };
    for (const auto& [index, property, value] : expected)
        EXPECT_EQ(PropertyText(shares[index].xml, property), value) << index << " " << property;
    EXPECT_NE(shares[5].xml.find("xsi:nil=\"true\"/>"), std::string::npos)
        << "an explicit null beats the default";
}

}  // namespace
}  // namespace qnsim::test
