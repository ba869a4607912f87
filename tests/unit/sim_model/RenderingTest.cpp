// Rendering: instances must be what Windows puts on the wire, byte for byte after canonicalisation.
#include <libxml/c14n.h>
#include <libxml/parser.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "ModelTestSupport.h"
#include "model/InstanceRenderer.h"
#include "model/ValueParsing.h"

namespace qnsim::test {
namespace {

struct XmlDocFree {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};

// Inclusive canonical XML of a standalone element; empty when it does not parse.
std::string Canonical(const std::string& xml) {
    std::unique_ptr<xmlDoc, XmlDocFree> doc(xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr,
                                                          nullptr, XML_PARSE_NONET | XML_PARSE_NOBLANKS));
    if (!doc) return {};
    xmlChar* out = nullptr;
    const int size = xmlC14NDocDumpMemory(doc.get(), nullptr, XML_C14N_1_0, nullptr, 0, &out);
    std::string text =
        size >= 0 ? std::string(reinterpret_cast<char*>(out), static_cast<std::size_t>(size)) : "";
    xmlFree(out);
    return text;
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string ElementOf(const std::string& xml, const std::string& qualifiedName) {
    const std::size_t start = xml.find("<" + qualifiedName + " ");
    const std::string close = "</" + qualifiedName + ">";
    const std::size_t end = xml.find(close, start);
    if (start == std::string::npos || end == std::string::npos) return {};
    return xml.substr(start, end + close.size() - start);
}

TEST(Rendering, LogicalDiskMatchesTheCapturedWindowsReply) {
    const std::filesystem::path fixture =
        std::filesystem::path(QN_FIXTURES_DIR) / "get_response_Win32_LogicalDisk_real.xml";
    if (!std::filesystem::exists(fixture))
        GTEST_SKIP() << "captured Windows replies not found at " << fixture;
    const std::string captured = ElementOf(ReadFile(fixture), "p:Win32_LogicalDisk");
    ASSERT_FALSE(captured.empty());

    std::string error;
    auto model = LoadComputerModel(QN_SIM_MODEL_TEST_DATA "/hyperb-disk.json", error);
    ASSERT_TRUE(model) << error;
    Result<RenderedItem> rendered =
        model->Get("root/cimv2", "Win32_logicaldisk", {{"DeviceID", "c:"}}, std::chrono::steady_clock::now());
    ASSERT_TRUE(rendered.ok) << rendered.error.message;

    const std::string expected = Canonical(captured);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(Canonical(rendered.value.xml), expected);
    // Attribute order is not kept by canonical XML; the wire form has the capture's order too.
    EXPECT_EQ(rendered.value.xml.substr(0, rendered.value.xml.find('>')),
              captured.substr(0, captured.find('>')));
}

TEST(Rendering, ProjectionIsAFragmentInSelectListOrder) {
    auto model = LoadBundled("workstation");
    ASSERT_TRUE(model);
    const auto items =
        Query(*model, "select state, NAME, InstallDate from Win32_Service where Name = 'Spooler'");
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(
        items.front().xml,
        "<w:XmlFragment xmlns:w=\"http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd\"><State>Running</State>"
        "<Name>Spooler</Name><InstallDate xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "xsi:nil=\"true\"/></w:XmlFragment>");
}

TEST(Rendering, ValuesOfEveryKind) {
    auto model = LoadBundled("workstation");
    ASSERT_TRUE(model);
    const std::pair<const char*, const char*> cases[] = {
        {"select * from Win32_OperatingSystem",
         "<p:InstallDate><cim:Datetime>2023-09-14T10:22:51.000000+02:00</cim:Datetime></p:InstallDate>"},
        {"select * from Win32_OperatingSystem", "<p:MUILanguages>en-US</p:MUILanguages>"},
        {"select * from Win32_OperatingSystem", "<p:Debug>false</p:Debug>"},
        {"select * from Win32_OperatingSystem", "<p:CurrentTimeZone>60</p:CurrentTimeZone>"},
        {"select * from Win32_OperatingSystem", "<p:LargeSystemCache xsi:nil=\"true\"/>"},
        {"select * from Win32_ComputerSystem",
         "<p:Roles>LM_Workstation</p:Roles><p:Roles>LM_Server</p:Roles><p:Roles>NT</p:Roles>"},
        {"select * from Win32_Printer where Name like '%Floor 2%'",
         "<p:Name>HP LaserJet M404 (Floor 2)</p:Name>"},
        {"select Path from Win32_Share where Name = 'C$'", "<Path>C:\\</Path>"},
        {"select DisplayName from Win32_Service where Name = 'WinRM'",
         "Windows Remote Management (WS-Management)"},
        {"select PathName from Win32_Service where Name = 'WinDefend'", ">\"C:\\ProgramData"},
    };
    for (const auto& [wql, expected] : cases) {
        const auto items = Query(*model, wql);
        ASSERT_FALSE(items.empty()) << wql;
        EXPECT_NE(items.front().xml.find(expected), std::string::npos) << items.front().xml;
        EXPECT_FALSE(Canonical(items.front().xml).empty()) << "not well-formed: " << items.front().xml;
    }
    const std::string cs = Query(*model, "select * from Win32_ComputerSystem").front().xml;
    EXPECT_EQ(cs.find("PowerManagementCapabilities"), std::string::npos) << "a NULL array is left out";
}

TEST(Rendering, ReferencesAreAddressingBlocks) {
    auto model = LoadBundled("workstation");
    ASSERT_TRUE(model);
    const auto links = Query(*model, "select * from Win32_GroupUser");
    ASSERT_FALSE(links.empty());
    const std::string& link = links.front().xml;
    EXPECT_NE(link.find("<p:GroupComponent xmlns:a=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\" "
                        "xmlns:w=\"http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd\"><a:Address>"
                        "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</a:Address>"
                        "<a:ReferenceParameters><w:ResourceURI>"
                        "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Group</w:ResourceURI>"
                        "<w:SelectorSet><w:Selector Name=\"Domain\">WS-PC1</w:Selector>"
                        "<w:Selector Name=\"Name\">Administrators</w:Selector></w:SelectorSet>"
                        "</a:ReferenceParameters></p:GroupComponent>"),
              std::string::npos)
        << link;
}

TEST(Rendering, ClassDefinitionHasEveryPropertyNil) {
    auto model = LoadBundled("workstation");
    ASSERT_TRUE(model);
    const auto items = Query(*model, "select * from meta_class where __CLASS = 'Win32_Share'");
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(
        items.front().xml,
        "<p:Win32_Share xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Share\" "
        "xmlns:cim=\"http://schemas.dmtf.org/wbem/wscim/1/common\" xsi:type=\"p:Win32_Share_Type\">"
        "<p:AccessMask xsi:nil=\"true\"/><p:AllowMaximum xsi:nil=\"true\"/><p:Caption xsi:nil=\"true\"/>"
        "<p:Description xsi:nil=\"true\"/><p:InstallDate xsi:nil=\"true\"/>"
        "<p:MaximumAllowed xsi:nil=\"true\"/><p:Name xsi:nil=\"true\"/><p:Path xsi:nil=\"true\"/>"
        "<p:Status xsi:nil=\"true\"/><p:Type xsi:nil=\"true\"/></p:Win32_Share>");
}

TEST(Rendering, IntervalsDatetimesAndArraysInInstancesAndFragments) {
    ClassDef classDef;
    classDef.name = "Test_Timing";
    const std::pair<const char*, nlohmann::json> properties[] = {
        {"interval", "P0DT0H1M40S"},
        {"datetime", "2014-04-03T14:45:50.46875+08:00"},
        {"uint16[]", nlohmann::json::array({3, 4})},
        {"string[]", nlohmann::json::array()},
    };
    for (const char* name : {"Delay", "Started", "Samples", "Empty"}) {
        classDef.properties.emplace_back();
        classDef.properties.back().name = name;
    }
    Instance instance;
    instance.classDef = &classDef;
    instance.values.resize(4);
    for (std::size_t i = 0; i < 4; ++i) {
        std::string problem;
        ASSERT_TRUE(ParseCimTypeName(properties[i].first, classDef.properties[i]));
        ASSERT_TRUE(
            ParsePropertyValue(classDef.properties[i], properties[i].second, instance.values[i], problem))
            << problem;
    }

    const std::string xml = RenderInstance(instance, "root\\test");
    EXPECT_NE(xml.find("xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/test/Test_Timing\""),
              std::string::npos);
    EXPECT_NE(xml.find("<p:Delay><cim:Interval>P0DT0H1M40S</cim:Interval></p:Delay>"), std::string::npos);
    EXPECT_NE(xml.find("<p:Started><cim:Datetime>2014-04-03T14:45:50.46875+08:00</cim:Datetime></p:Started>"),
              std::string::npos);
    EXPECT_NE(xml.find("<p:Samples>3</p:Samples><p:Samples>4</p:Samples>"), std::string::npos);
    EXPECT_EQ(xml.find("Empty"), std::string::npos);

    const std::string fragment =
        RenderFragment(instance, {&classDef.properties[1], &classDef.properties[0]}, "root/test");
    EXPECT_EQ(
        fragment,
        "<w:XmlFragment xmlns:w=\"http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd\"><Started><Datetime>"
        "2014-04-03T14:45:50.46875+08:00</Datetime></Started><Delay><Interval>P0DT0H1M40S</Interval></Delay>"
        "</w:XmlFragment>");
}

}  // namespace
}  // namespace qnsim::test
