// CQncXmlDoc: its life cycle, its trace lines and the results of loading and transforming.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "ParsingTestSupport.h"
#include "parsing/CQncXmlDoc.h"

namespace {

using parsing_test::ScratchFolder;

constexpr const char* kValueStylesheet = R"xsl(<xsl:stylesheet version="1.0"
    xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="text"/>
  <xsl:template match="/"><xsl:value-of select="name(/*)"/>=<xsl:value-of select="/*"/></xsl:template>
</xsl:stylesheet>)xsl";

class XmlDocTest : public ::testing::Test {
  protected:
    std::string TraceText() const {
        std::ifstream file(tracePath_);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    static int Count(const std::string& text, const std::string& what) {
        int count = 0;
        for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
        return count;
    }

    ScratchFolder scratch_;
    std::string tracePath_ = scratch_.File("trace.log");
    std::string sheetPath_ = scratch_.Write("value.xsl", kValueStylesheet);
};

TEST_F(XmlDocTest, InitializeTracesOnceAndIsIdempotent) {
    CQncXmlDoc doc;
    EXPECT_EQ(doc.Initialize(0, tracePath_.c_str()), 0u);
    EXPECT_TRUE(doc.IsInitialized());
    EXPECT_EQ(doc.Initialize(0, tracePath_.c_str()), 0u);
    const std::string trace = TraceText();
    EXPECT_EQ(Count(trace, "No CoInitialize required\n"), 1) << trace;
    EXPECT_EQ(Count(trace, "COM Interface"), 0) << trace;

    CQncXmlDoc withCom;
    EXPECT_EQ(withCom.Initialize(1, tracePath_.c_str()), 0u);
    EXPECT_EQ(Count(TraceText(), "COM Interface initialized\n"), 1);
}

TEST_F(XmlDocTest, NothingWorksBeforeInitializeOrAfterUninitialize) {
    CQncXmlDoc doc;
    CQncString output("unchanged");
    EXPECT_EQ(doc.LoadXml("<a>1</a>"), -1);
    EXPECT_EQ(doc.TransformWith(sheetPath_.c_str(), output), -1);

    ASSERT_EQ(doc.Initialize(0, ""), 0u);
    doc.Uninitialize();
    doc.Uninitialize();
    EXPECT_FALSE(doc.IsInitialized());
    EXPECT_EQ(doc.LoadXml("<a>1</a>"), -1);
    EXPECT_EQ(doc.TransformWith(sheetPath_.c_str(), output), -1);
    EXPECT_STREQ(output.GetText(), "unchanged");

    // A document can be initialised again after it was released.
    ASSERT_EQ(doc.Initialize(0, ""), 0u);
    EXPECT_EQ(doc.LoadXml("<a>1</a>"), 0);
}

TEST_F(XmlDocTest, LoadsAndTransformsItemsAndFailsWithoutAStylesheet) {
    CQncXmlDoc doc;
    ASSERT_EQ(doc.Initialize(0, ""), 0u);
    CQncString output;
    ASSERT_EQ(doc.LoadXml(R"(<p:a xmlns:p="urn:x">first</p:a>)"), 0);
    ASSERT_EQ(doc.TransformWith(sheetPath_.c_str(), output), 0);
    EXPECT_STREQ(output.GetText(), "p:a=first");

    // The same document takes the next item.
    ASSERT_EQ(doc.LoadXml("<b>second</b>"), 0);
    ASSERT_EQ(doc.TransformWith(sheetPath_.c_str(), output), 0);
    EXPECT_STREQ(output.GetText(), "b=second");

    EXPECT_EQ(doc.LoadXml("<b>unclosed"), -1);
    EXPECT_EQ(doc.LoadXml(nullptr), -1);

    // Transformations fail for folders, missing and broken stylesheets, leaving the output alone.
    ASSERT_EQ(doc.LoadXml("<a>1</a>"), 0);
    output.Assign("unchanged");
    EXPECT_EQ(doc.TransformWith(scratch_.Path().c_str(), output), -1);
    EXPECT_EQ(doc.TransformWith(scratch_.File("absent.xsl").c_str(), output), -1);
    EXPECT_EQ(doc.TransformWith(nullptr, output), -1);
    EXPECT_EQ(doc.TransformWith(scratch_.Write("broken.xsl", "<xsl:stylesheet").c_str(), output), -1);
    EXPECT_STREQ(output.GetText(), "unchanged");  // edits of a stylesheet: StylesheetReloadTest
}

}  // namespace
