#include <gtest/gtest.h>

#include "TestFiles.h"
#include "platform/FileSystem.h"

namespace qn::platform {
namespace {

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
    EXPECT_EQ(qntest::ReadFile(file), "wtat");
    EXPECT_FALSE(OpenFile(folder.File("missing/x").c_str(), "at"));
}

}  // namespace
}  // namespace qn::platform
