// Rendering: instances must be what Windows puts on the wire, byte for byte after canonicalisation.
#include <libxml/c14n.h>
#include <libxml/parser.h>

#include "ModelTestSupport.h"
#include "TestFiles.h"

namespace qnsim::test {
namespace {

// Inclusive canonical XML of a standalone element; empty when it does not parse.
std::string Canonical(const std::string& xml) {
    std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> doc(
        xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOBLANKS),
        &xmlFreeDoc);
    if (!doc) return {};
    xmlChar* out = nullptr;
    const int size = xmlC14NDocDumpMemory(doc.get(), nullptr, XML_C14N_1_0, nullptr, 0, &out);
    std::string text =
        size >= 0 ? std::string(reinterpret_cast<char*>(out), static_cast<std::size_t>(size)) : "";
    xmlFree(out);
    return text;
}

TEST(Rendering, LogicalDiskMatchesTheCapturedWindowsReply) {
    const std::string reply = qntest::ReadFixture("get_response_Win32_LogicalDisk_real.xml");
    if (reply.empty()) GTEST_SKIP() << "captured Windows replies not found in " << QN_FIXTURES_DIR;
    const std::size_t start = reply.find("<p:Win32_LogicalDisk ");
    const std::string close = "</p:Win32_LogicalDisk>";
    ASSERT_NE(start, std::string::npos);
    const std::string captured = reply.substr(start, reply.find(close, start) + close.size() - start);

    std::string error;
    auto model = LoadComputerModel(QN_SIM_MODEL_TEST_DATA "/hyperb-disk.json", error);
    ASSERT_TRUE(model) << error;
    const auto rendered =
        model->Get("root/cimv2", "Win32_logicaldisk", {{"DeviceID", "c:"}}, std::chrono::steady_clock::now());
    ASSERT_TRUE(rendered.ok) << rendered.error.message;
    ASSERT_FALSE(Canonical(captured).empty());
    EXPECT_EQ(Canonical(rendered.value.xml), Canonical(captured));
    // Canonical XML sorts attributes; the wire form keeps the capture's order too.
    EXPECT_EQ(rendered.value.xml.substr(0, rendered.value.xml.find('>')),
              captured.substr(0, captured.find('>')));
}

TEST(Rendering, ValuesFragmentsReferencesAndClassDefinitions) {
    auto model = LoadBundled("workstation");
    ASSERT_TRUE(model);
    const std::pair<const char*, const char*> cases[] = {
        {"select * from Win32_OperatingSystem",
         "<p:InstallDate><cim:Datetime>2023-09-14T10:22:51.000000+02:00</cim:Datetime></p:InstallDate>"},
        {"select * from Win32_ComputerSystem",
         "<p:Roles>LM_Workstation</p:Roles><p:Roles>LM_Server</p:Roles><p:Roles>NT</p:Roles>"},
        // A projection is a fragment in select-list order, with unprefixed names and value types.
        {"select state, NAME, InstallDate from Win32_Service where Name = 'Spooler'",
         "<w:XmlFragment xmlns:w=\"http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd\"><State>Running</State>"
         "<Name>Spooler</Name><InstallDate xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
         "xsi:nil=\"true\"/></w:XmlFragment>"},
        {"select InstallDate from Win32_OperatingSystem",
         "<InstallDate><Datetime>2023-09-14T10:22:51.000000+02:00</Datetime></InstallDate>"},
        {"select PathName from Win32_Service where Name = 'WinDefend'", ">\"C:\\ProgramData"},
        {"select * from Win32_GroupUser",
         "<p:GroupComponent xmlns:a=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\" "
         "xmlns:w=\"http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd\"><a:Address>"
         "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</a:Address>"
         "<a:ReferenceParameters><w:ResourceURI>"
         "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Group</w:ResourceURI>"
         "<w:SelectorSet><w:Selector Name=\"Domain\">WS-PC1</w:Selector>"
         "<w:Selector Name=\"Name\">Administrators</w:Selector></w:SelectorSet>"
         "</a:ReferenceParameters></p:GroupComponent>"},
        {"select * from meta_class where __CLASS = 'Win32_Share'",
         "xsi:type=\"p:Win32_Share_Type\"><p:AccessMask xsi:nil=\"true\"/><p:AllowMaximum "
         "xsi:nil=\"true\"/>"},
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

}  // namespace
}  // namespace qnsim::test
