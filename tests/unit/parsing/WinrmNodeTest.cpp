// CSnWinrmNode: the codes of Transform, GetValue's rules, and the records of the shipped stylesheets that
// the writer's differential test cannot show: values kept on one line and WsmProps.xsl's names.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "TestFiles.h"
#include "base/QncErrors.h"
#include "parsing/CSnWinrmNode.h"
#include "wsman/core/ItemArena.h"
#include "wsman/core/ItemTree.h"

namespace {

// A program folder of its own, holding copies of the shipped stylesheets.
class WinrmNodeTest : public ::testing::Test {
  protected:
    WinrmNodeTest() {
        store_.WriteStore(qntest::StoreText("", store_.Path() + "/"));
        for (const char* sheet : {kInstanceStylesheet, kPropertyNamesStylesheet})
            store_.Write(std::string("Sys/Wsman/") + sheet,
                         qntest::ReadFile(QN_SHARE_DIR "/Sys/Wsman/" + std::string(sheet)));
    }

    std::string Record(const std::string& item, const char* stylesheet = kInstanceStylesheet) {
        node_.SetStylesheet(stylesheet);
        EXPECT_EQ(node_.Transform(item.c_str()), 0) << item;
        return node_.GetOutput().GetText();
    }

    static std::string Instance(const std::string& properties) {
        return R"(<p:Test_Class xmlns:p="http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Test_Class" )"
               R"(xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" )"
               R"(xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing" )"
               R"(xmlns:w="http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd">)" +
               properties + "</p:Test_Class>";
    }

    qntest::ScratchStore store_;
    CSnWinrmNode node_;
};

TEST_F(WinrmNodeTest, TransformCodesAndAFailureKeepsThePreviousRecord) {
    const std::string first = Record(Instance("<p:Name>first</p:Name>"));
    EXPECT_EQ(node_.Transform("<r>unclosed"), kQncErrorXmlLoad);
    EXPECT_EQ(node_.Transform(nullptr), kQncErrorXmlLoad);
    store_.Write("Sys/Wsman/NotXslt.xsl", "<html><body/></html>");
    node_.SetStylesheet("NotXslt.xsl");
    EXPECT_EQ(node_.Transform(Instance("<p:Name>second</p:Name>").c_str()), kQncErrorXmlTransform);
    // A missing stylesheet, or a folder in its place, is found before the item is read.
    node_.SetStylesheet("Absent.xsl");
    EXPECT_EQ(node_.Transform("not xml"), kQncErrorXslStylesheetMissing);
    std::filesystem::create_directories(store_.File("Sys/Wsman/Folder.xsl"));
    node_.SetStylesheet("Folder.xsl");
    EXPECT_EQ(node_.Transform("<a/>"), kQncErrorXslStylesheetMissing);
    EXPECT_EQ(node_.GetOutput().GetText(), first);
    CQncString value;
    EXPECT_EQ(node_.GetValue("Name", 0, value), 0);
    EXPECT_STREQ(value.GetText(), "first");
}

TEST_F(WinrmNodeTest, GetValueRules) {
    Record(
        Instance("<p:Flag>true</p:Flag><p:Off>false</p:Off><p:Mixed>True</p:Mixed>"
                 "<p:Marker>VALUEMISSING</p:Marker><p:Lower>valuemissing</p:Lower>"));
    // Booleans become 1 and 0 when asked; the marker means missing.
    const struct {
        const char* name;
        int flag, code;
        const char* value;
    } cases[] = {
        {"flag", 1, 0, "1"},
        {"Off", 1, 0, "0"},
        {"Mixed", 1, 0, "True"},
        {"Marker", 0, kQncErrorXmlAttributeMissing, ""},
        {"Lower", 0, 0, "valuemissing"},  // the marker is compared with its case
        {"Absent", 0, kQncErrorXmlAttributeMissing, ""},
    };
    for (const auto& c : cases) {
        CQncString value("stale");
        EXPECT_EQ(node_.GetValue(c.name, c.flag, value), c.code) << c.name;
        EXPECT_STREQ(value.GetText(), c.value) << c.name;
    }
}

// Line breaks, embedded objects and references all stay on their property's line.
TEST_F(WinrmNodeTest, EveryValueStaysOnOneLine) {
    const std::string item = Instance(
        "<p:Description>first line&#13;&#10;second\tline\nthird</p:Description>"
        "<p:Empty>&#13;&#10;&#13;&#10;</p:Empty>"
        R"(<p:Error xsi:type="p:__ExtendedStatus_Type"><p:Description xsi:nil="true"/><p:Operation>ExecQuery</p:Operation>)"
        R"(<p:Codes>1</p:Codes><p:Codes>2</p:Codes></p:Error>)"
        R"(<p:Owner><a:Address>http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</a:Address>)"
        R"(<a:ReferenceParameters><w:ResourceURI>http://x/Win32_OperatingSystem</w:ResourceURI>)"
        R"(</a:ReferenceParameters></p:Owner>)"
        R"(<p:Quoted><a:ReferenceParameters><w:ResourceURI>http://x/Win32_Group</w:ResourceURI><w:SelectorSet>)"
        R"(<w:Selector Name="Domain">PC1</w:Selector><w:Selector Name="Name">say "hi"</w:Selector>)"
        R"(</w:SelectorSet></a:ReferenceParameters></p:Quoted>)");
    EXPECT_EQ(Record(item),
              "__CLASS:=Test_Class\r\nDescription:=first line  second line third\r\nEmpty:=\r\n"
              "Error:=Description=;Operation=ExecQuery;Codes=1,2\r\nOwner:=Win32_OperatingSystem=@\r\n"
              "Quoted:=Win32_Group.Domain=\"PC1\",Name=\"say \\\"hi\\\"\"\r\n");
}

// An item of a reply shares its memory with the whole reply; the node, which a handle keeps between
// checks, must not hold it once the record is written.
TEST_F(WinrmNodeTest, ATransformedItemOfAReplyIsNotHeldAfterwards) {
    auto reply = std::make_shared<wsman::xml::ItemArena>();
    wsman::xml::ItemTreeParser parser;
    const wsman::xml::ItemTree* tree = parser.Parse(Instance("<p:Name>kept</p:Name>"), *reply);
    ASSERT_NE(tree, nullptr);
    const qn::platform::EnumeratedItem item(std::shared_ptr<const wsman::xml::ItemTree>(reply, tree),
                                            tree->Source());
    node_.SetStylesheet(kInstanceStylesheet);
    const long holders = reply.use_count();
    ASSERT_EQ(node_.Transform(item), 0);
    EXPECT_EQ(reply.use_count(), holders);
    CQncString value;
    EXPECT_EQ(node_.GetValue("Name", 0, value), 0);
    EXPECT_STREQ(value.GetText(), "kept");
}

TEST_F(WinrmNodeTest, PropertyNamesAreListedOnce) {
    const std::string definition =
        Instance(R"(<p:AccessMask xsi:nil="true"/><p:Caption xsi:nil="true"/><p:Caption xsi:nil="true"/>)"
                 R"(<p:Name xsi:nil="true"/>)");
    EXPECT_EQ(Record(definition, kPropertyNamesStylesheet), "AccessMask\r\nCaption\r\nName\r\n");
}

}  // namespace
