// The installation's stylesheets through the record parser, with the source tree as the program folder:
// WsmTxtEx.xsl's records of real Windows items and of the item forms WinRM produces, and WsmProps.xsl's
// property names.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "ParsingTestSupport.h"
#include "parsing/CSnWinrmNode.h"

namespace {

class StylesheetTest : public ::testing::Test {
  protected:
    // The record of `item` under `stylesheet`; fails the test on a non-zero code.
    std::string Record(const std::string& item, const char* stylesheet = kInstanceStylesheet) {
        node_.SetStylesheet(stylesheet);
        EXPECT_EQ(node_.Transform(item.c_str()), 0) << item;
        return node_.GetOutput().GetText();
    }

    // The value of a property in the current record, or "<25704>" when it has no line.
    std::string Value(const char* property, int flag = 0) {
        CQncString value;
        return node_.GetValue(property, flag, value) == 0 ? value.GetText() : "<25704>";
    }

    // The single item that `xpath` selects in a captured reply, or "" when the capture is absent.
    static std::string FixtureItem(const std::string& fileName, const std::string& xpath) {
        const std::string reply = qntest::ReadFixture(fileName);
        if (reply.empty()) return "";
        auto items = parsing_test::ExtractItems(reply, xpath);
        EXPECT_EQ(items.size(), 1u) << fileName << " " << xpath;
        return items.empty() ? "" : items.front();
    }

    parsing_test::ProgramFolderSetting setting_{parsing_test::SourceDataFolder() + "/"};
    CSnWinrmNode node_;
};

#define SKIP_WITHOUT_FIXTURE(item) \
    if ((item).empty()) GTEST_SKIP() << "captured Windows replies not found in " QN_FIXTURES_DIR

constexpr const char* kNamespaces =
    R"(xmlns:p="http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Test_Class" )"
    R"(xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xmlns:cim="http://schemas.dmtf.org/wbem/wscim/1/common")";

std::string Instance(const std::string& properties) {
    return std::string("<p:Test_Class ") + kNamespaces + R"( xsi:type="p:Test_Class_Type">)" + properties +
           "</p:Test_Class>";
}

using InstanceStylesheetTest = StylesheetTest;
using PropertyNamesStylesheetTest = StylesheetTest;

TEST_F(InstanceStylesheetTest, RealLogicalDisk) {
    const std::string item = FixtureItem("get_response_Win32_LogicalDisk_real.xml", "//s:Body/*");
    SKIP_WITHOUT_FIXTURE(item);
    const std::string record = Record(item);
    EXPECT_EQ(
        record.rfind(
            "__CLASS:=Win32_LogicalDisk\r\nAccess:=0\r\nAvailability:=\r\nBlockSize:=\r\nCaption:=c:\r\n", 0),
        0u)
        << record;
    EXPECT_EQ(record.find("\r\n\r\n"), std::string::npos);
    EXPECT_EQ(Value("FreeSpace"), "840649814016");
    EXPECT_EQ(Value("Status"), "");                      // nil
    EXPECT_EQ(Value("VolumeSerialNumber"), "ECA22F4F");  // the last property is reachable
    EXPECT_EQ(Value("Compressed", 1), "0");
    EXPECT_EQ(Value("QuotasDisabled", 1), "1");
    EXPECT_EQ(std::count(record.begin(), record.end(), '\n'), 40);  // one line per property plus the class

    const std::string names = Record(item, kPropertyNamesStylesheet);
    EXPECT_EQ(names.rfind("Access\r\nAvailability\r\nBlockSize\r\n", 0), 0u) << names;
    EXPECT_EQ(std::count(names.begin(), names.end(), '\n'), 39);
}

TEST_F(InstanceStylesheetTest, CapturedItemsOfEveryForm) {
    const struct {
        const char* fixture;
        const char* xpath;
        const char* record;
    } cases[] = {
        {"get_response_Win32_OperatingSystem_trimmed_win7.xml", "//s:Body/*",  // indented
         "__CLASS:=Win32_OperatingSystem\r\nBootDevice:=\\Device\\HarddiskVolume2\r\nBuildNumber:=7601\r\n"
         "BuildType:=Multiprocessor Free\r\n"},
        {"enumerate_response_Win32_Process_trimmed_cim_Datetime_Interval_array.xml", "//w:Items/*",
         "__CLASS:=Win32_Process\r\nCaption:=System Idle Process\r\nCommandLine:=\r\n"
         "CreationDate:=2014-04-03T14:45:50.46875+08:00\r\nAutomaticStartupActionDelay:=P0DT0H1M40S\r\n"
         "IPAddress:=192.168.1.103,fe80::6962:c157:2318:423d,192.168.1.102\r\n"},
        {"pull_response_Win32_Process_trimmed_EndOfSequence.xml", "//w:Items/*",
         "__CLASS:=Win32_Process\r\nCaption:=SystemTest\r\nCommandLine:=\r\n"},
        // References become object paths on one line.
        {"enumerate_response_association_class_Msvm_SettingsDefineCapabilities_EPR_properties.xml",
         "//w:Items/*",
         "__CLASS:=Msvm_SettingsDefineCapabilities\r\n"
         "GroupComponent:=Msvm_AllocationCapabilities.InstanceID=\"Microsoft:06FF76FA-2D58-4BAF-9F8D-"
         "455773824F37\"\r\n"
         "PartComponent:=Msvm_Synthetic3DDisplayControllerSettingData.InstanceID="
         "\"Microsoft:Definition\\\\06FF76FA-2D58-4BAF-9F8D-455773824F37\\\\Default\"\r\n"
         "PropertyPolicy:=0\r\nValueRange:=0\r\nValueRole:=0\r\n"},
    };
    for (const auto& c : cases) {
        const std::string item = FixtureItem(c.fixture, c.xpath);
        SKIP_WITHOUT_FIXTURE(item);
        EXPECT_EQ(Record(item), c.record) << c.fixture;
    }
}

TEST_F(InstanceStylesheetTest, MethodOutputWithAnArray) {
    const std::string item = FixtureItem("invoke_StdRegProv_EnumKey_OUTPUT_response.xml", "//s:Body/*");
    SKIP_WITHOUT_FIXTURE(item);
    Record(item);
    EXPECT_EQ(Value("__CLASS"), "EnumKey_OUTPUT");
    EXPECT_EQ(Value("ReturnValue"), "0");
    const std::string names = Value("sNames");
    EXPECT_EQ(names.rfind("AddressBook,Branding,Connection Manager,DirectAnimation,", 0), 0u) << names;
    EXPECT_EQ(names.substr(names.size() - 39), ",{F8FBDC28-C265-4F0D-8B91-6E92913E19F6}");
    EXPECT_EQ(std::count(names.begin(), names.end(), ','), 25);
}

// Line breaks, embedded objects and references all stay on their property's line.
TEST_F(InstanceStylesheetTest, EveryValueStaysOnOneLine) {
    EXPECT_EQ(Record(Instance("<p:Description>first line&#13;&#10;second\tline\nthird</p:Description>")),
              "__CLASS:=Test_Class\r\nDescription:=first line  second line third\r\n");
    Record(Instance("<p:A>&#13;&#10;&#13;&#10;</p:A><p:B>2</p:B>"));  // must not end the record early
    EXPECT_EQ(Value("B"), "2");
    const std::string item = Instance(
        R"(<p:Error xsi:type="p:__ExtendedStatus_Type"><p:Description xsi:nil="true"/><p:Operation>ExecQuery</p:Operation>)"
        R"(<p:Codes>1</p:Codes><p:Codes>2</p:Codes></p:Error>)"
        R"(<p:Owner xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing" xmlns:w="http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd">)"
        R"(<a:Address>http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</a:Address>)"
        R"(<a:ReferenceParameters><w:ResourceURI>http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_OperatingSystem</w:ResourceURI>)"
        R"(</a:ReferenceParameters></p:Owner>)"
        R"(<p:Quoted xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing" xmlns:w="http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd">)"
        R"(<a:ReferenceParameters><w:ResourceURI>http://x/Win32_Group</w:ResourceURI><w:SelectorSet>)"
        R"(<w:Selector Name="Domain">PC1</w:Selector><w:Selector Name="Name">say "hi"</w:Selector>)"
        R"(</w:SelectorSet></a:ReferenceParameters></p:Quoted>)");
    EXPECT_EQ(Record(item),
              "__CLASS:=Test_Class\r\nError:=Description=;Operation=ExecQuery;Codes=1,2\r\n"
              "Owner:=Win32_OperatingSystem=@\r\n"
              "Quoted:=Win32_Group.Domain=\"PC1\",Name=\"say \\\"hi\\\"\"\r\n");
}

TEST_F(PropertyNamesStylesheetTest, ListsEachPropertyOnce) {
    const std::string definition =
        R"(<p:Win32_Share xmlns:p="http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Share" )"
        R"(xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xsi:type="p:Win32_Share_Type">
             <p:AccessMask xsi:nil="true"/>
             <p:Caption xsi:nil="true"/>
             <p:Caption xsi:nil="true"/>
             <p:Name xsi:nil="true"/>
           </p:Win32_Share>)";
    EXPECT_EQ(Record(definition, kPropertyNamesStylesheet), "AccessMask\r\nCaption\r\nName\r\n");
}

}  // namespace
