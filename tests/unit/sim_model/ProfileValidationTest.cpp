// A broken profile is refused with a message that names the file, the place in it and the problem.
#include "ModelTestSupport.h"

namespace qnsim::test {
namespace {

struct BrokenProfile {
    const char* file;
    std::vector<const char*> mentions;
};

class ProfileValidation : public ::testing::TestWithParam<BrokenProfile> {};

TEST_P(ProfileValidation, NamesFilePlaceAndProblem) {
    const BrokenProfile& broken = GetParam();
    const std::string path = std::string(QN_SIM_MODEL_TEST_DATA "/broken/") + broken.file;
    std::string error;
    EXPECT_FALSE(LoadComputerModel(path, error));
    EXPECT_NE(error.find(broken.file), std::string::npos) << error;
    for (const char* fragment : broken.mentions) EXPECT_NE(error.find(fragment), std::string::npos) << error;
}

INSTANTIATE_TEST_SUITE_P(
    Broken, ProfileValidation,
    ::testing::Values(
        BrokenProfile{"unknown-class.json", {"instances/root/cimv2/Win32_Spaceship", "unknown class"}},
        BrokenProfile{"unknown-property.json", {"Win32_Share[1]", "Colour", "not in Win32_Share"}},
        BrokenProfile{"wrong-type.json", {"Win32_Share[0]", "Type", "integer", "\"disk\""}},
        BrokenProfile{"out-of-range.json", {"Win32_DiskDrive[0]", "StatusInfo", "70000"}},
        BrokenProfile{"bad-datetime.json", {"InstallDate", "date and time"}},
        BrokenProfile{"missing-key.json", {"Win32_UserAccount[0]", "key property Domain is missing"}},
        BrokenProfile{"duplicate-keys.json", {"Win32_Service[1]", "same keys"}},
        BrokenProfile{"generator-duplicates.json", {"Win32_Process[1]", "same keys"}},
        BrokenProfile{"unknown-namespace.json", {"root/virtualization", "unknown namespace"}},
        BrokenProfile{"no-host.json", {"hostName"}}, BrokenProfile{"not-json.json", {"not valid JSON"}},
        BrokenProfile{"bad-reference.json", {"GroupComponent", "reference"}},
        BrokenProfile{"bad-include.json", {"missing-part.json", "cannot be read"}}),
    [](const auto& info) {
        std::string name = info.param.file;
        name = name.substr(0, name.find('.'));
        std::erase(name, '-');
        return name;
    });

TEST(ProfileValidation, MissingProfileIsReported) {
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
    EXPECT_EQ(PropertyText(shares[0].xml, "Name"), "Share1");
    EXPECT_EQ(PropertyText(shares[0].xml, "Path"), "D:\\Shares\\1");
    EXPECT_EQ(PropertyText(shares[0].xml, "Description"), "made on GEN1");
    EXPECT_EQ(PropertyText(shares[1].xml, "Type"), "1");
    EXPECT_EQ(PropertyText(shares[2].xml, "Type"), "0");
    EXPECT_EQ(PropertyText(shares[1].xml, "AllowMaximum"), "false");
    EXPECT_EQ(PropertyText(shares[3].xml, "AllowMaximum"), "true");
    EXPECT_EQ(PropertyText(shares[4].xml, "Name"), "Share5");
    EXPECT_EQ(PropertyText(shares[5].xml, "Type"), "2147483648");
    EXPECT_NE(shares[5].xml.find(
                  "<Description xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:nil=\"true\"/>"),
              std::string::npos)
        << "an explicit null overrides the default";
}

}  // namespace
}  // namespace qnsim::test
