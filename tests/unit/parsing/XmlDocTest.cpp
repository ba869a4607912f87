// CQncXmlDoc: its life cycle and trace lines, and the stylesheet it keeps compiled while the file stays the
// same; every change of the file (content with a new modification time, size, another path) is read at the
// next transformation.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "TestFiles.h"
#include "parsing/CQncXmlDoc.h"

namespace {

namespace fs = std::filesystem;

// Writes "<root name><separator><root text>".
std::string Stylesheet(const std::string& separator) {
    return R"xsl(<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="text"/>
  <xsl:template match="/"><xsl:value-of select="name(/*)"/>)xsl" +
           separator + R"xsl(<xsl:value-of select="/*"/></xsl:template>
</xsl:stylesheet>)xsl";
}

class XmlDocTest : public ::testing::Test {
  protected:
    // Writes the stylesheet and dates it an hour back, long settled.
    fs::path WriteSettled(const std::string& name, const std::string& content) {
        const fs::path file = scratch_.Write(name, content);
        fs::last_write_time(file, hourAgo_);
        return file;
    }

    std::string Transform(const fs::path& sheet) {
        CQncString output("unchanged");
        return doc_.TransformWith(sheet.c_str(), output) == 0 ? output.GetText() : "failed";
    }

    qntest::ScratchFolder scratch_;
    CQncXmlDoc doc_;
    const fs::file_time_type hourAgo_ = fs::file_time_type::clock::now() - std::chrono::hours(1);
};

TEST_F(XmlDocTest, InitializeTracesOnceNothingWorksOutsideItAndAnEditedRecordStylesheetIsNamedOnce) {
    const std::string trace = scratch_.File("trace.log");
    const fs::path sheet = WriteSettled("value.xsl", Stylesheet("="));
    EXPECT_EQ(doc_.LoadXml("<a>1</a>"), -1);
    EXPECT_EQ(Transform(sheet), "failed");
    EXPECT_EQ(doc_.Initialize(0, trace.c_str()), 0u);
    EXPECT_EQ(doc_.Initialize(0, trace.c_str()), 0u);
    CQncXmlDoc withCom;
    EXPECT_EQ(withCom.Initialize(1, trace.c_str()), 0u);
    // An edited record stylesheet is named in the trace once.
    ASSERT_EQ(doc_.LoadXml("<a>1</a>"), 0);
    const fs::path edited = WriteSettled("WsmTxtEx.xsl", Stylesheet("="));
    for (const fs::path& used : {edited, sheet, edited, sheet}) EXPECT_EQ(Transform(used), "a=1");
    EXPECT_EQ(qntest::ReadTraceMessages(trace),
              (std::vector<std::string>{"No CoInitialize required", "COM Interface initialized",
                                        "Stylesheet [" + edited.string() +
                                            "] differs from the one installed; it is applied by the XSLT "
                                            "processor, which is much slower."}));

    doc_.Uninitialize();
    doc_.Uninitialize();
    EXPECT_EQ(doc_.LoadXml("<a>1</a>"), -1);
    EXPECT_EQ(Transform(sheet), "failed");
    ASSERT_EQ(doc_.Initialize(0, ""), 0u);  // again after it was released
    ASSERT_EQ(doc_.LoadXml(R"(<p:a xmlns:p="urn:x">first</p:a>)"), 0);
    EXPECT_EQ(Transform(sheet), "p:a=first");
    EXPECT_EQ(doc_.LoadXml(nullptr), -1);
    CQncString output;
    EXPECT_EQ(doc_.TransformWith(nullptr, output), -1);
}

TEST_F(XmlDocTest, EveryChangeOfTheStylesheetFileIsReadAndNothingElse) {
    ASSERT_EQ(doc_.Initialize(0, ""), 0u);
    ASSERT_EQ(doc_.LoadXml("<a>1</a>"), 0);
    const fs::path sheet = WriteSettled("value.xsl", Stylesheet("="));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Transform(sheet), "a=1");

    // An edit in place: same size, the modification time of now; and again at once, since a file modified
    // this recently is never taken from the cache.
    scratch_.Write("value.xsl", Stylesheet("#"));
    EXPECT_EQ(Transform(sheet), "a#1");
    scratch_.Write("value.xsl", Stylesheet("%"));
    EXPECT_EQ(Transform(sheet), "a%1");
    // Another size under an old modification time, and another modification time at the same size.
    WriteSettled("value.xsl", Stylesheet(" is "));
    EXPECT_EQ(Transform(sheet), "a is 1");
    WriteSettled("value.xsl", Stylesheet(" so "));
    fs::last_write_time(sheet, hourAgo_ + std::chrono::minutes(1));
    EXPECT_EQ(Transform(sheet), "a so 1");
    const fs::path other = WriteSettled("other.xsl", Stylesheet("#"));
    EXPECT_EQ(Transform(other), "a#1");
    EXPECT_EQ(Transform(sheet), "a so 1");
    // A broken or vanished file fails; a repaired one works again.
    WriteSettled("value.xsl", "<xsl:stylesheet");
    EXPECT_EQ(Transform(sheet), "failed");
    fs::remove(sheet);
    EXPECT_EQ(Transform(sheet), "failed");
    WriteSettled("value.xsl", Stylesheet("="));
    EXPECT_EQ(Transform(sheet), "a=1");
}

TEST_F(XmlDocTest, ThreadsTransformWithTheSameFileAtOnce) {
    const fs::path sheet = WriteSettled("value.xsl", Stylesheet("="));
    std::vector<std::thread> threads;
    std::vector<int> good(4, 0);
    for (std::size_t t = 0; t < good.size(); ++t) {
        threads.emplace_back([&, t] {
            CQncXmlDoc doc;
            CQncString output;
            if (doc.Initialize(0, "") != 0) return;
            for (int i = 0; i < 50; ++i) {
                const std::string value = std::to_string(t) + "-" + std::to_string(i);
                const bool loaded = doc.LoadXml(("<c>" + value + "</c>").c_str()) == 0;
                good[t] += loaded && doc.TransformWith(sheet.c_str(), output) == 0 &&
                           std::string(output.GetText()) == "c=" + value;
                doc.LoadXml("<broken>");  // a failure on one thread must not disturb the others
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(good, std::vector<int>(4, 50));
}

}  // namespace
