#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "FixedClock.h"
#include "TestFiles.h"
#include "base/QncDiagnostics.h"

namespace {

TEST(DiagnosticsTest, AssertionLineNamesModuleFileAndLine) {
    qn::test::ScopedFixedClock clock;
    qntest::ScratchFolder folder;
    const std::string file = folder.File("assert.txt");
    SetAssertFilePath(file.c_str());
    Assert("..\\source\\Thing.cpp", 123);
    Assert("second", -1);
    SetAssertFilePath(nullptr);
    EXPECT_EQ(qntest::ReadFile(file),
              "[01:02:03] QUILLON ASSERTION FAILURE, MODULE: [base_tests], FILE: [..\\source\\Thing.cpp]; "
              "LINE: 123\n"
              "[01:02:03] QUILLON ASSERTION FAILURE, MODULE: [base_tests], FILE: [second]; LINE: -1\n");
}

TEST(DiagnosticsTest, AssertionIsDroppedWhenItsFolderIsMissing) {
    qntest::ScratchFolder folder;
    const std::string file = folder.File("qndebug/assert.txt");
    SetAssertFilePath(file.c_str());
    Assert("x", 1);
    SetAssertFilePath(nullptr);
    EXPECT_FALSE(std::filesystem::exists(folder.File("qndebug")));
    if (!std::filesystem::exists("/qndebug")) {
        Assert("fixed path", 2);  // "c:\\qndebug\\assert.txt": no folder, no file, no fuss
        EXPECT_FALSE(std::filesystem::exists("/qndebug"));
    }
}

TEST(DiagnosticsTest, DebugLineAppendsAndSkipsEmptyPaths) {
    qn::test::ScopedFixedClock clock;
    qntest::ScratchFolder folder;
    const CQncString debugFile(folder.File("debug.log").c_str());
    WriteDebugLine(debugFile, "first");
    WriteDebugLine(debugFile, nullptr);
    WriteDebugLine(CQncString(), "nowhere");
    WriteDebugLine(CQncString(folder.Path().c_str()), "a folder is not a file");
    EXPECT_EQ(qntest::ReadFile(debugFile.GetText()),
              "[01:02:03 4242] [base_tests] [first]\n[01:02:03 4242] [base_tests] []\n");
    EXPECT_STREQ(GetExecutableName().GetText(), "base_tests");
}

}  // namespace
