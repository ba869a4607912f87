// Rendered faults against real Windows faults, compared as canonical XML (which leaves comments out).
// Message ids and machine names differ by nature and are blanked on both sides. Every fault's name and code
// meet the client in tests/reliability (FaultMatrixTest).
#include <gtest/gtest.h>
#include <libxml/c14n.h>
#include <libxml/parser.h>

#include <memory>
#include <set>

#include "TestFiles.h"
#include "server/Faults.h"

namespace qnsim {
namespace {

using Names = std::set<std::string>;

// Drops the named elements and the attributes named with '@', and blanks the Machine attribute, recursively.
void Normalise(xmlNode* node, const Names& drop) {
    for (xmlNode *child = node->children, *next = nullptr; child != nullptr; child = next) {
        next = child->next;
        if (child->type != XML_ELEMENT_NODE) continue;
        if (!drop.contains(reinterpret_cast<const char*>(child->name))) {
            Normalise(child, drop);
            continue;
        }
        xmlUnlinkNode(child);
        xmlFreeNode(child);
    }
    for (xmlAttr *attribute = node->properties, *next = nullptr; attribute != nullptr; attribute = next) {
        next = attribute->next;
        const std::string name = reinterpret_cast<const char*>(attribute->name);
        if (name == "Machine") xmlSetProp(node, attribute->name, BAD_CAST "");
        if (drop.contains("@" + name)) xmlRemoveProp(attribute);
    }
}

// Canonical XML without the blanks between elements; message ids differ by nature.
std::string Canonical(const std::string& xml, Names drop) {
    std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> doc(
        xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "f.xml", nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOBLANKS),
        &xmlFreeDoc);
    if (!doc) return "<not xml>";
    drop.insert({"MessageID", "RelatesTo"});
    Normalise(xmlDocGetRootElement(doc.get()), drop);
    xmlChar* out = nullptr;
    const int size = xmlC14NDocDumpMemory(doc.get(), nullptr, XML_C14N_1_0, nullptr, 0, &out);
    std::string text =
        size >= 0 ? std::string(reinterpret_cast<const char*>(out), static_cast<std::size_t>(size)) : "";
    xmlFree(out);
    return text;
}

TEST(FaultGoldenTest, RenderedFaultsMatchWindows) {
    const ProviderFault classNotFound{
        FaultCode(FaultKind::CannotProcessFilter),
        "The specified class does not exist in the given namespace.",
        ProviderFault::ExtendedStatus{"root/cimv2", "ExecQuery",
                                      "Select * from Win32_Processa where name=\"sshd.exe\"", "WinMgmt"}};
    const ProviderFault resourceNotFound{
        FaultCode(FaultKind::ResourceNotFound),
        "The WS-Management service cannot process the request. The service cannot find the resource "
        "identified "
        "by the resource URI and selectors.",
        ProviderFault::ExtendedStatus{"root/cimv2", "GetObject", "Win32_Process.Handle=\"29\"", "CIMWin32"}};
    const struct {
        const char* fixture;
        FaultReport report;
        Names drop = {};
    } cases[] = {
        {"fault_enumerate_CannotProcessFilter_class_not_found_with_ExtendedStatus_win2008R2.xml",
         {FaultKind::CannotProcessFilter, "uuid:X", "", classNotFound, ""}},
        {"fault_OperationTimeout_TimedOut_recorded_pypsrp.xml",
         {FaultKind::TimedOut, "uuid:X", "host", {}, ""}},
        {"fault_QuotaLimit_MSFT_WmiError.xml", {FaultKind::QuotaLimit, "", "host", {}, ""}},
        // This server writes the 2008 R2 provider path and __ExtendedStatus form for every fault; 2012 R2
        // writes an absolute path and a DMTF-namespaced status object. Both are Windows; clients read
        // neither.
        {"fault_Get_ResourceNotFound_2150858752_Win32_Process_win2012R2.xml",
         {FaultKind::ResourceNotFound, "uuid:X", "", resourceNotFound, ""},
         {"ExtendedError", "@path"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fixture);
        const std::string windows = qntest::ReadFixture(c.fixture);
        if (windows.empty()) GTEST_SKIP() << "fixture " << c.fixture << " not found in " << QN_FIXTURES_DIR;
        EXPECT_EQ(Canonical(RenderFault(c.report), c.drop), Canonical(windows, c.drop));
    }
}

}  // namespace
}  // namespace qnsim
