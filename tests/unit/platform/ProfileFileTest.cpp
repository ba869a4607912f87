#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "TestFiles.h"
#include "platform/ProfileFile.h"

namespace qn::platform {
namespace {

using qntest::ReadFile;
using qntest::WriteFile;

class ProfileFileTest : public ::testing::Test {
  protected:
    qntest::ScratchFolder folder_;
    std::string file_ = folder_.File("events.ini");
};

TEST_F(ProfileFileTest, IntReadsDefaultsAndLeadingNumbers) {
    EXPECT_EQ(ProfileGetInt("Init", "NextEntry", 7, file_.c_str()), 7u);  // no file
    WriteFile(file_, "[init]\nnextentry = 42\nText=abc\nMixed=12xy\n");
    EXPECT_EQ(ProfileGetInt("Init", "NextEntry", 0, file_.c_str()), 42u);
    EXPECT_EQ(ProfileGetInt("Init", "Text", 5, file_.c_str()), 0u);
    EXPECT_EQ(ProfileGetInt("Init", "Mixed", 5, file_.c_str()), 12u);
    EXPECT_EQ(ProfileGetInt("Init", "Missing", 5, file_.c_str()), 5u);
    EXPECT_EQ(ProfileGetInt("Other", "NextEntry", 5, file_.c_str()), 5u);
}

TEST_F(ProfileFileTest, WriteStringCreatesReplacesAndDeletes) {
    ASSERT_NE(ProfileWriteString("Init", "NextEntry", "1", file_.c_str()), 0);
    ASSERT_NE(ProfileWriteString("Init", "Other", "x", file_.c_str()), 0);
    ASSERT_NE(ProfileWriteString("INIT", "nextentry", "2", file_.c_str()), 0);
    EXPECT_EQ(ReadFile(file_), "[Init]\nnextentry=2\nOther=x\n");
    ASSERT_NE(ProfileWriteString("Init", "Other", nullptr, file_.c_str()), 0);
    EXPECT_EQ(ReadFile(file_), "[Init]\nnextentry=2\n");
    ASSERT_NE(ProfileWriteString("Init", nullptr, nullptr, file_.c_str()), 0);
    EXPECT_EQ(ReadFile(file_), "");
    EXPECT_EQ(ProfileWriteString("Init", "a", "b", folder_.File("missing/x.ini").c_str()), 0);
}

TEST_F(ProfileFileTest, SectionIsAMultiStringAndNullDeletesIt) {
    const char lines[] =
        "00000001|first\0"
        "00000002|second\0";
    ASSERT_NE(ProfileWriteSection("Log", lines, file_.c_str()), 0);
    ASSERT_NE(ProfileWriteString("Init", "NextEntry", "3", file_.c_str()), 0);
    char buffer[64];
    const std::uint32_t length = ProfileGetSection("log", buffer, sizeof(buffer), file_.c_str());
    EXPECT_EQ(std::string(buffer, length), std::string("00000001|first\0"
                                                       "00000002|second\0",
                                                       31));
    EXPECT_EQ(buffer[length], '\0');

    ASSERT_NE(ProfileWriteSection("Log", nullptr, file_.c_str()), 0);
    EXPECT_EQ(ReadFile(file_), "[Init]\nNextEntry=3\n");
    EXPECT_EQ(ProfileGetSection("Log", buffer, sizeof(buffer), file_.c_str()), 0u);
    EXPECT_EQ(buffer[0], '\0');
}

TEST_F(ProfileFileTest, SectionTooLargeForBufferReturnsSizeMinusTwo) {
    const char lines[] =
        "aaaaaaaa\0"
        "bbbbbbbb\0";
    ASSERT_NE(ProfileWriteSection("Log", lines, file_.c_str()), 0);
    char buffer[14];
    std::memset(buffer, 'z', sizeof(buffer));
    EXPECT_EQ(ProfileGetSection("Log", buffer, sizeof(buffer), file_.c_str()), 12u);
    EXPECT_STREQ(buffer, "aaaaaaaa");
    EXPECT_EQ(buffer[12], '\0');
    EXPECT_EQ(buffer[13], '\0');
}

TEST_F(ProfileFileTest, WindowsStylePathIsMapped) {
    const std::string windowsPath = "c:" + folder_.File("mapped.ini");
    std::string backslashed = windowsPath;
    std::replace(backslashed.begin(), backslashed.end(), '/', '\\');
    ASSERT_NE(ProfileWriteString("Init", "NextEntry", "9", backslashed.c_str()), 0);
    EXPECT_EQ(ReadFile(folder_.File("mapped.ini")), "[Init]\nNextEntry=9\n");
}

}  // namespace
}  // namespace qn::platform
