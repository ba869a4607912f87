// Profile (INI) files as the module's event log keeps them, with the Windows API's return rules. The event
// log's own round trips of numbers and sections are in tests/unit/base (TraceTest).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "TestFiles.h"
#include "platform/ProfileFile.h"

namespace qn::platform {
namespace {

using qntest::ReadFile;

class ProfileFileTest : public ::testing::Test {
  protected:
    qntest::ScratchFolder folder_;
    std::string file_ = folder_.File("events.ini");
};

TEST_F(ProfileFileTest, WritesReplaceAndDeleteKeysAndSections) {
    // A Windows path is mapped onto this folder.
    std::string windowsPath = "c:" + file_;
    std::replace(windowsPath.begin(), windowsPath.end(), '/', '\\');
    ASSERT_NE(ProfileWriteString("Init", "NextEntry", "1", windowsPath.c_str()), 0);
    ASSERT_NE(ProfileWriteString("Init", "Other", "x", file_.c_str()), 0);
    ASSERT_NE(ProfileWriteString("INIT", "nextentry", "2", file_.c_str()), 0);
    EXPECT_EQ(ReadFile(file_), "[Init]\nnextentry=2\nOther=x\n");
    ASSERT_NE(ProfileWriteString("Init", "Other", nullptr, file_.c_str()), 0);
    EXPECT_EQ(ReadFile(file_), "[Init]\nnextentry=2\n");

    const char lines[] =
        "00000001|first\0"
        "00000002|second\0";
    ASSERT_NE(ProfileWriteSection("Log", lines, file_.c_str()), 0);
    char buffer[64];
    const std::uint32_t length = ProfileGetSection("log", buffer, sizeof(buffer), file_.c_str());
    EXPECT_EQ(std::string(buffer, length + 1), std::string(lines, sizeof(lines)));
    ASSERT_NE(ProfileWriteSection("Log", nullptr, file_.c_str()), 0);
    EXPECT_EQ(ProfileGetSection("Log", buffer, sizeof(buffer), file_.c_str()), 0u);
    EXPECT_EQ(buffer[0], '\0');
    ASSERT_NE(ProfileWriteString("Init", nullptr, nullptr, file_.c_str()), 0);
    EXPECT_EQ(ReadFile(file_), "");
    EXPECT_EQ(ProfileWriteString("Init", "a", "b", folder_.File("missing/x.ini").c_str()), 0);
}

TEST_F(ProfileFileTest, SectionTooLargeForBufferReturnsSizeMinusTwo) {
    ASSERT_NE(ProfileWriteSection("Log", "aaaaaaaa\0bbbbbbbb\0", file_.c_str()), 0);
    char buffer[14];
    std::memset(buffer, 'z', sizeof(buffer));
    EXPECT_EQ(ProfileGetSection("Log", buffer, sizeof(buffer), file_.c_str()), 12u);
    EXPECT_STREQ(buffer, "aaaaaaaa");
    EXPECT_EQ(buffer[12], '\0');
    EXPECT_EQ(buffer[13], '\0');
}

}  // namespace
}  // namespace qn::platform
