// CQncXmlDoc's life cycle and trace lines; stylesheet files that change or break: StylesheetReloadTest.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ParsingTestSupport.h"
#include "parsing/CQncXmlDoc.h"

namespace {

constexpr const char* kValueStylesheet = R"xsl(<xsl:stylesheet version="1.0"
    xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="text"/>
  <xsl:template match="/"><xsl:value-of select="name(/*)"/>=<xsl:value-of select="/*"/></xsl:template>
</xsl:stylesheet>)xsl";

class XmlDocTest : public ::testing::Test {
  protected:
    parsing_test::ScratchFolder scratch_;
    std::string tracePath_ = scratch_.File("trace.log");
    std::string sheetPath_ = scratch_.Write("value.xsl", kValueStylesheet);
};

TEST_F(XmlDocTest, InitializeTracesOnceAndNothingWorksOutsideInitialization) {
    CQncXmlDoc doc;
    CQncString output("unchanged");
    EXPECT_EQ(doc.LoadXml("<a>1</a>"), -1);
    EXPECT_EQ(doc.TransformWith(sheetPath_.c_str(), output), -1);
    EXPECT_EQ(doc.Initialize(0, tracePath_.c_str()), 0u);
    EXPECT_EQ(doc.Initialize(0, tracePath_.c_str()), 0u);
    CQncXmlDoc withCom;
    EXPECT_EQ(withCom.Initialize(1, tracePath_.c_str()), 0u);
    EXPECT_EQ(qntest::ReadTraceMessages(tracePath_),
              (std::vector<std::string>{"No CoInitialize required", "COM Interface initialized"}));

    doc.Uninitialize();
    doc.Uninitialize();
    EXPECT_EQ(doc.LoadXml("<a>1</a>"), -1);
    EXPECT_EQ(doc.TransformWith(sheetPath_.c_str(), output), -1);
    EXPECT_STREQ(output.GetText(), "unchanged");
    ASSERT_EQ(doc.Initialize(0, ""), 0u);  // again after it was released
    ASSERT_EQ(doc.LoadXml(R"(<p:a xmlns:p="urn:x">first</p:a>)"), 0);
    ASSERT_EQ(doc.TransformWith(sheetPath_.c_str(), output), 0);
    EXPECT_STREQ(output.GetText(), "p:a=first");
    EXPECT_EQ(doc.LoadXml(nullptr), -1);
    EXPECT_EQ(doc.TransformWith(nullptr, output), -1);
}

}  // namespace
