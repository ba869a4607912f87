#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "FixedClock.h"
#include "TestFiles.h"
#include "base/QncDiagnostics.h"

namespace {

TEST(DiagnosticsTest, AssertionAndDebugLinesNameTheModule) {
    qn::test::ScopedFixedClock clock;
    qntest::ScratchFolder folder;
    const std::string file = folder.File("assert.txt");
    SetAssertFilePath(file.c_str());
    Assert("..\\source\\Thing.cpp", 123);
    SetAssertFilePath(folder.File("qndebug/assert.txt").c_str());
    Assert("x", 1);  // no folder, no file, no fuss
    SetAssertFilePath(nullptr);
    EXPECT_EQ(qntest::ReadFile(file),
              "[01:02:03] QUILLON ASSERTION FAILURE, MODULE: [base_tests], FILE: [..\\source\\Thing.cpp]; "
              "LINE: 123\n");
    EXPECT_FALSE(std::filesystem::exists(folder.File("qndebug")));

    const CQncString debugFile(folder.File("debug.log").c_str());
    WriteDebugLine(debugFile, "first");
    WriteDebugLine(debugFile, nullptr);
    WriteDebugLine(CQncString(), "nowhere");
    EXPECT_EQ(qntest::ReadFile(debugFile.GetText()),
              "[01:02:03 4242] [base_tests] [first]\n[01:02:03 4242] [base_tests] []\n");
}

}  // namespace
