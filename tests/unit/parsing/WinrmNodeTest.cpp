// CSnWinrmNode: where it looks for its stylesheets, the codes of Transform, and GetValue's rules.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "ParsingTestSupport.h"
#include "base/QncErrors.h"
#include "parsing/CSnWinrmNode.h"

namespace {

using parsing_test::ProgramFolderSetting;
using parsing_test::ScratchFolder;

// Emits the item's text as the record, so a test item is its own record ("A:=1&#13;&#10;...").
constexpr const char* kVerbatimStylesheet = R"(<xsl:stylesheet version="1.0"
    xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="text"/>
  <xsl:template match="/"><xsl:value-of select="/*"/></xsl:template>
</xsl:stylesheet>)";

class WinrmNodeTest : public ::testing::Test {
  protected:
    WinrmNodeTest() { folder_.Write("Sys/Wsman/Verbatim.xsl", kVerbatimStylesheet); }

    // An item whose record is `record`.
    static std::string ItemFor(const std::string& record) {
        std::string item = "<r>";
        for (char c : record)
            item += c == '\r' ? std::string("&#13;") : c == '<' ? std::string("&lt;") : std::string(1, c);
        return item + "</r>";
    }

    ScratchFolder folder_;
    ProgramFolderSetting setting_{folder_.Path() + "/"};
};

TEST(WinrmNodePathTest, StylesheetPathIsBuiltFromTheProgramFolder) {
    ProgramFolderSetting setting("  D:\\Sentrel  ");  // the setting supplies the trailing backslash
    CSnWinrmNode node;
    EXPECT_STREQ(node.GetStylesheetPath().GetText(), "D:\\Sentrel\\Sys\\Wsman\\WsmTxtEx.xsl");
    node.SetStylesheet("WsmProps.xsl");
    EXPECT_STREQ(node.GetStylesheetPath().GetText(), "D:\\Sentrel\\Sys\\Wsman\\WsmProps.xsl");
}

TEST_F(WinrmNodeTest, MissingStylesheetOrFolderInItsPlaceIs25701) {
    CSnWinrmNode node;  // WsmTxtEx.xsl is not in this program folder
    EXPECT_EQ(node.Transform("<a/>"), kQncErrorXslStylesheetMissing);
    std::filesystem::create_directories(folder_.File("Sys/Wsman/Folder.xsl"));
    node.SetStylesheet("Folder.xsl");
    EXPECT_EQ(node.Transform("<a/>"), kQncErrorXslStylesheetMissing);
    // The stylesheet is checked before the item is looked at.
    EXPECT_EQ(node.Transform("not xml"), kQncErrorXslStylesheetMissing);
}

TEST_F(WinrmNodeTest, FailedTransformKeepsThePreviousRecord) {
    CSnWinrmNode node;
    node.SetStylesheet("Verbatim.xsl");
    ASSERT_EQ(node.Transform(ItemFor("Name:=first\r\n").c_str()), 0);

    EXPECT_EQ(node.Transform("<r>unclosed"), kQncErrorXmlLoad);
    EXPECT_EQ(node.Transform(nullptr), kQncErrorXmlLoad);
    CQncString value;
    EXPECT_EQ(node.GetValue("Name", 0, value), 0);
    EXPECT_STREQ(value.GetText(), "first");

    folder_.Write("Sys/Wsman/Broken.xsl", "<xsl:stylesheet version='1.0'");
    folder_.Write("Sys/Wsman/NotXslt.xsl", "<html><body/></html>");
    for (const char* sheet : {"Broken.xsl", "NotXslt.xsl"}) {
        node.SetStylesheet(sheet);
        EXPECT_EQ(node.Transform(ItemFor("Name:=second\r\n").c_str()), kQncErrorXmlTransform) << sheet;
    }
    EXPECT_STREQ(node.GetOutput().GetText(), "Name:=first\r\n");
}

TEST_F(WinrmNodeTest, GetValueRules) {
    CSnWinrmNode node;
    node.SetStylesheet("Verbatim.xsl");
    ASSERT_EQ(node.Transform(ItemFor("Flag:=true\r\nOff:=false\r\nMixed:=True\r\nEmpty:=\r\n"
                                     "Marker:=VALUEMISSING\r\nLower:=valuemissing\r\n\r\nHidden:=1")
                                 .c_str()),
              0);
    // Booleans become 1 and 0 when asked; the marker and anything after the empty line are missing.
    const struct {
        const char* name;
        int flag, code;
        const char* value;
    } cases[] = {
        {"flag", 1, 0, "1"},
        {"Off", 1, 0, "0"},
        {"Mixed", 1, 0, "True"},
        {"Flag", 0, 0, "true"},
        {"Marker", 0, kQncErrorXmlAttributeMissing, ""},
        {"Lower", 0, 0, "valuemissing"},  // the marker is compared with its case
        {"Hidden", 0, kQncErrorXmlAttributeMissing, ""},
        {"Absent", 0, kQncErrorXmlAttributeMissing, ""},
    };
    for (const auto& c : cases) {
        CQncString value("stale");
        EXPECT_EQ(node.GetValue(c.name, c.flag, value), c.code) << c.name;
        EXPECT_STREQ(value.GetText(), c.value) << c.name;
    }
}

}  // namespace
