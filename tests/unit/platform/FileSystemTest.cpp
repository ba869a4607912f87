#include <gtest/gtest.h>

#include "TestFiles.h"
#include "platform/FileSystem.h"

namespace qn::platform {
namespace {

TEST(FileSystemTest, MapsWindowsPathsInOnePlace) {
    EXPECT_EQ(MapModulePath("c:\\qndebug\\assert.txt"), "/qndebug/assert.txt");
    EXPECT_EQ(MapModulePath("D:\\"), "/");
    EXPECT_EQ(MapModulePath("/usr/share/qnsnwsm\\Sys\\Wsman\\WsmTxtEx.xsl"),
              "/usr/share/qnsnwsm/Sys/Wsman/WsmTxtEx.xsl");
    EXPECT_EQ(MapModulePath("/var/log/trace.log"), "/var/log/trace.log");
    EXPECT_EQ(MapModulePath("relative\\file"), "relative/file");
    EXPECT_EQ(MapModulePath("1:\\x"), "1:/x");  // not a drive letter
}

TEST(FileSystemTest, ExistingFileExcludesFoldersAndOpenAcceptsTextModes) {
    qntest::ScratchFolder folder;
    const std::string file = folder.File("trace.log");
    EXPECT_FALSE(IsExistingFile(file.c_str()));
    EXPECT_FALSE(IsExistingFile(folder.Path().c_str()));
    EXPECT_FALSE(IsExistingFile(""));
    {
        UniqueFile created = OpenFile(file.c_str(), "wt");
        ASSERT_TRUE(created);
        std::fputs("a\n", created.get());
    }
    EXPECT_TRUE(IsExistingFile(file.c_str()));
    {
        UniqueFile appended = OpenFile(file.c_str(), "at");
        ASSERT_TRUE(appended);
        std::fputs("b\n", appended.get());
    }
    EXPECT_EQ(qntest::ReadFile(file), "a\nb\n");
    EXPECT_FALSE(OpenFile(folder.File("missing/x").c_str(), "at"));
}

}  // namespace
}  // namespace qn::platform
