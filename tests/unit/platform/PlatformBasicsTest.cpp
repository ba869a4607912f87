// The platform's small services: tick arithmetic, the recursive lock, Windows paths and file modes, profile
// (INI) files as the module's event log keeps them, with the Windows API's return rules (the event log's own
// round trips are tests/unit/base TraceTest's), and text conversion.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <clocale>
#include <cstring>
#include <string>
#include <thread>

#include "TestFiles.h"
#include "platform/Clock.h"
#include "platform/CriticalSection.h"
#include "platform/FileSystem.h"
#include "platform/ProfileFile.h"
#include "platform/TextConversion.h"

namespace qn::platform {
namespace {

using qntest::ReadFile;

TEST(ClockTest, ElapsedTicksSurviveTheWrap) {
    EXPECT_EQ(TicksElapsed(100, 350), 250u);
    EXPECT_EQ(TicksElapsed(0xFFFFFF00u, 0x00000100u), 0x200u);
    EXPECT_EQ(TicksElapsed(0xFFFFFFFFu, 0u), 1u);
}

TEST(CriticalSectionTest, OwnerMayEnterAgainAndOthersWait) {
    CriticalSection section;
    std::atomic<bool> otherEntered{false};
    section.Enter();
    section.Enter();  // recursive, like a Windows critical section
    std::thread other([&] {
        CriticalSectionGuard guard(section);
        otherEntered = true;
    });
    section.Leave();
    EXPECT_FALSE(otherEntered.load());
    section.Leave();
    other.join();
    EXPECT_TRUE(otherEntered.load());
}

TEST(FileSystemTest, MapsWindowsPathsAndOpensInTextModes) {
    EXPECT_EQ(MapModulePath("c:\\qndebug\\assert.txt"), "/qndebug/assert.txt");
    EXPECT_EQ(MapModulePath("/usr/share/qnsnwsm\\Sys\\Wsman\\WsmTxtEx.xsl"),
              "/usr/share/qnsnwsm/Sys/Wsman/WsmTxtEx.xsl");
    EXPECT_EQ(MapModulePath("1:\\x"), "1:/x");  // not a drive letter

    qntest::ScratchFolder folder;
    const std::string file = folder.File("trace.log");
    EXPECT_FALSE(IsExistingFile(file.c_str()));
    EXPECT_FALSE(IsExistingFile(folder.Path().c_str()));
    for (const char* mode : {"wt", "at"}) {
        UniqueFile opened = OpenFile(file.c_str(), mode);
        ASSERT_TRUE(opened) << mode;
        std::fputs(mode, opened.get());
    }
    EXPECT_TRUE(IsExistingFile(file.c_str()));
    EXPECT_EQ(ReadFile(file), "wtat");
    EXPECT_FALSE(OpenFile(folder.File("missing/x").c_str(), "at"));
}

// A section too large for the buffer returns its size minus two, like the Windows API.
TEST(ProfileFileTest, WritesReplaceAndDeleteKeysAndSections) {
    qntest::ScratchFolder folder;
    const std::string file = folder.File("events.ini");
    std::string windowsPath = "c:" + file;  // mapped onto this folder
    std::replace(windowsPath.begin(), windowsPath.end(), '/', '\\');
    ASSERT_NE(ProfileWriteString("Init", "NextEntry", "1", windowsPath.c_str()), 0);
    ASSERT_NE(ProfileWriteString("Init", "Other", "x", file.c_str()), 0);
    ASSERT_NE(ProfileWriteString("INIT", "nextentry", "2", file.c_str()), 0);
    EXPECT_EQ(ReadFile(file), "[Init]\nnextentry=2\nOther=x\n");
    ASSERT_NE(ProfileWriteString("Init", "Other", nullptr, file.c_str()), 0);
    EXPECT_EQ(ReadFile(file), "[Init]\nnextentry=2\n");

    const char lines[] =
        "00000001|first\0"
        "00000002|second\0";
    ASSERT_NE(ProfileWriteSection("Log", lines, file.c_str()), 0);
    char buffer[64];
    const std::uint32_t length = ProfileGetSection("log", buffer, sizeof(buffer), file.c_str());
    EXPECT_EQ(std::string(buffer, length + 1), std::string(lines, sizeof(lines)));
    ASSERT_NE(ProfileWriteSection("Log", "aaaaaaaa\0bbbbbbbb\0", file.c_str()), 0);
    std::memset(buffer, 'z', sizeof(buffer));
    EXPECT_EQ(ProfileGetSection("Log", buffer, 14, file.c_str()), 12u);
    EXPECT_STREQ(buffer, "aaaaaaaa");
    EXPECT_EQ(std::string(buffer + 12, 3), std::string("\0\0z", 3));
    ASSERT_NE(ProfileWriteSection("Log", nullptr, file.c_str()), 0);
    EXPECT_EQ(ProfileGetSection("Log", buffer, sizeof(buffer), file.c_str()), 0u);
    EXPECT_EQ(buffer[0], '\0');
    ASSERT_NE(ProfileWriteString("Init", nullptr, nullptr, file.c_str()), 0);
    EXPECT_EQ(ReadFile(file), "");
    EXPECT_EQ(ProfileWriteString("Init", "a", "b", folder.File("missing/x.ini").c_str()), 0);
}

TEST(TextConversionTest, ConvertsToUtf8WhateverTheLocale) {
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(Utf16ToAnsi(u"Gr\u00fc\u00dfe \u20ac"),
              "Gr\xc3\xbc\xc3\x9f"
              "e \xe2\x82\xac");
    EXPECT_EQ(Utf16ToAnsi(u"\U0001F600"), "\xf0\x9f\x98\x80");  // surrogate pair
    EXPECT_EQ(Utf16ToAnsi(u""), "");
    // Unpaired surrogates become replacement characters, also at the end.
    const char16_t lonely[] = {u'a', 0xD800, u'b', 0xDC00};
    EXPECT_EQ(Utf16ToAnsi(std::u16string_view(lonely, 4)),
              "a\xef\xbf\xbd"
              "b\xef\xbf\xbd");
}

}  // namespace
}  // namespace qn::platform
