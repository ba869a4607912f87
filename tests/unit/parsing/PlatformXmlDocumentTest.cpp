// The platform's XML document on libxml2/libxslt: loading, the defensive parse, transformation and its
// security policy, and silence.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "TestFiles.h"
#include "platform/XmlDocument.h"

namespace {

using qn::platform::CreateXmlDocument;
using qn::platform::XmlDocument;
using qntest::ScratchFolder;

constexpr const char* kCopyTextStylesheet = R"(<xsl:stylesheet version="1.0"
    xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="text"/>
  <xsl:template match="/">[<xsl:value-of select="/*"/>]</xsl:template>
</xsl:stylesheet>)";

class PlatformXmlDocumentTest : public ::testing::Test {
  protected:
    std::unique_ptr<XmlDocument> LoadedStylesheet(const std::string& text) {
        auto sheet = CreateXmlDocument();
        const auto path = scratch_.Write("sheet.xsl", text);
        EXPECT_TRUE(sheet->LoadFile(path.c_str()));
        return sheet;
    }

    // The result of `stylesheet` on `item`, or "<failed>".
    std::string Transformed(const std::string& item, const std::string& stylesheet) {
        auto doc = CreateXmlDocument();
        if (!doc->LoadText(item)) return "<not loaded>";
        auto sheet = LoadedStylesheet(stylesheet);
        std::string output = "<failed>";
        doc->TransformNode(*sheet, output);
        return output;
    }

    ScratchFolder scratch_;
};

// Broken and hostile input fails without a word on stderr: the module lives inside a host's process.
TEST_F(PlatformXmlDocumentTest, LoadsUtf8TextAndFailsSilently) {
    ::testing::internal::CaptureStderr();
    auto doc = CreateXmlDocument();
    ASSERT_TRUE(doc->LoadText(R"(<p:Win32_Service xmlns:p="urn:c"><p:Name>x</p:Name></p:Win32_Service>)"));
    EXPECT_EQ(doc->DocumentElementName(), "p:Win32_Service");
    // A failed load leaves the document empty, and a transformation of it fails. Documents with a DTD are
    // refused before anything in it is expanded or fetched; stylesheet files too.
    const auto secret = scratch_.Write("secret.txt", "TOP-SECRET");
    const std::string externalEntity =
        "<!DOCTYPE a [<!ENTITY x SYSTEM \"file://" + secret + "\">]><a>&x;</a>";
    for (const std::string& bad :
         {std::string("<a><b></a>"), std::string("<p:a>undeclared prefix</p:a>"), externalEntity,
          std::string("<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;</a>"),
          std::string(R"(<!DOCTYPE a SYSTEM "http://127.0.0.1:9/evil.dtd"><a>1</a>)"),
          "<!DOCTYPE a [<!ENTITY % p SYSTEM \"file://" + secret + "\"> %p;]><a>1</a>"}) {
        EXPECT_FALSE(doc->LoadText(bad)) << bad;
        EXPECT_FALSE(doc->DocumentElementName().has_value()) << bad;
    }
    std::string output = "kept";
    EXPECT_FALSE(doc->TransformNode(*LoadedStylesheet(kCopyTextStylesheet), output));
    EXPECT_EQ(output, "kept");
    EXPECT_FALSE(doc->LoadFile(scratch_.Write("dtd.xsl", externalEntity).c_str()));
    EXPECT_FALSE(doc->LoadFile(scratch_.File("absent.xsl").c_str()));

    // Text is UTF-8 whatever the declaration says; bytes that are not UTF-8 make the item unreadable.
    EXPECT_EQ(Transformed("<?xml version='1.0' encoding='ISO-8859-1'?><a>Gr\xC3\xBC\xC3\x9F</a>",
                          kCopyTextStylesheet),
              "[Gr\xC3\xBC\xC3\x9F]");
    EXPECT_FALSE(doc->LoadText("<a>Gr\xFC\xDF</a>"));
    // A stylesheet that stops fails; so does one writing a file (libxslt writes xsl:document output of a
    // version 1.1 stylesheet unless the security policy forbids it).
    const auto target = scratch_.File("written.txt");
    for (const std::string& failing :
         {std::string("<xsl:stylesheet version='1.0' xmlns:xsl='http://www.w3.org/1999/XSL/Transform'>"
                      "<xsl:template match='/'><xsl:message terminate='yes'>stop</xsl:message>"
                      "</xsl:template></xsl:stylesheet>"),
          "<xsl:stylesheet version='1.1' xmlns:xsl='http://www.w3.org/1999/XSL/Transform'><xsl:output "
          "method='text'/><xsl:template match='/'>x<xsl:document href='" +
              target + "' method='text'>owned</xsl:document></xsl:template></xsl:stylesheet>"})
        EXPECT_EQ(Transformed("<a/>", failing), "<failed>");
    EXPECT_FALSE(std::filesystem::exists(target));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

}  // namespace
