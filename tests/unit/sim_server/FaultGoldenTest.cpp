// Rendered faults against real Windows faults, compared as canonical XML. Message ids and machine names
// differ by nature and are blanked on both sides. Every fault's name and code meet the client in
// tests/reliability (FaultMatrixTest).
#include <gtest/gtest.h>
#include <libxml/c14n.h>
#include <libxml/parser.h>

#include <cstring>
#include <memory>
#include <set>

#include "TestFiles.h"
#include "server/Faults.h"

namespace qnsim {
namespace {

struct DocFree {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};

bool Named(const xmlNode* node, const std::set<std::string>& names) {
    return node->type == XML_ELEMENT_NODE && names.count(reinterpret_cast<const char*>(node->name)) > 0;
}

void Normalise(xmlNode* node, const std::set<std::string>& dropElements,
               const std::set<std::string>& dropAttributes) {
    bool hasElements = false;
    for (xmlNode* child = node->children; child != nullptr; child = child->next)
        hasElements = hasElements || child->type == XML_ELEMENT_NODE;
    for (xmlNode* child = node->children; child != nullptr;) {
        xmlNode* next = child->next;
        const bool blank = child->type == XML_TEXT_NODE && xmlIsBlankNode(child);
        if ((blank && hasElements) || child->type == XML_COMMENT_NODE || Named(child, dropElements)) {
            xmlUnlinkNode(child);
            xmlFreeNode(child);
        } else if (child->type == XML_ELEMENT_NODE) {
            Normalise(child, dropElements, dropAttributes);
        }
        child = next;
    }
    for (xmlAttr* attribute = node->properties; attribute != nullptr;) {
        xmlAttr* next = attribute->next;
        const std::string name = reinterpret_cast<const char*>(attribute->name);
        if (name == "Machine") xmlSetProp(node, attribute->name, reinterpret_cast<const xmlChar*>(""));
        if (dropAttributes.count(name) > 0) xmlRemoveProp(attribute);
        attribute = next;
    }
}

std::string Canonical(const std::string& xml, const std::set<std::string>& dropElements = {},
                      const std::set<std::string>& dropAttributes = {}) {
    std::unique_ptr<xmlDoc, DocFree> doc(
        xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "f.xml", nullptr, XML_PARSE_NONET));
    if (!doc) return "<not xml>";
    std::set<std::string> drop = dropElements;
    drop.insert({"MessageID", "RelatesTo"});
    for (xmlNode* child = doc->children; child != nullptr;) {  // comments before the root
        xmlNode* next = child->next;
        if (child->type == XML_COMMENT_NODE) {
            xmlUnlinkNode(child);
            xmlFreeNode(child);
        }
        child = next;
    }
    Normalise(xmlDocGetRootElement(doc.get()), drop, dropAttributes);
    xmlChar* out = nullptr;
    const int size = xmlC14NDocDumpMemory(doc.get(), nullptr, XML_C14N_1_0, nullptr, 0, &out);
    std::string text =
        size >= 0 ? std::string(reinterpret_cast<const char*>(out), static_cast<std::size_t>(size)) : "";
    xmlFree(out);
    return text;
}

#define LOAD_FIXTURE(variable, name)                        \
    const std::string variable = qntest::ReadFixture(name); \
    if (variable.empty()) GTEST_SKIP() << "fixture " << name << " not found in " << QN_FIXTURES_DIR

TEST(FaultGoldenTest, ClassNotFoundMatchesWindows2008R2WithItsExtendedStatus) {
    LOAD_FIXTURE(windows,
                 "fault_enumerate_CannotProcessFilter_class_not_found_with_ExtendedStatus_win2008R2.xml");
    FaultReport report;
    report.kind = FaultKind::CannotProcessFilter;
    report.relatesTo = "uuid:X";
    report.provider = ProviderFault{
        FaultCode(FaultKind::CannotProcessFilter),
        "The specified class does not exist in the given namespace.",
        ProviderFault::ExtendedStatus{"root/cimv2", "ExecQuery",
                                      "Select * from Win32_Processa where name=\"sshd.exe\"", "WinMgmt"}};
    EXPECT_EQ(Canonical(RenderFault(report)), Canonical(windows));
}

TEST(FaultGoldenTest, OperationTimeoutMatchesRecordedWindowsFault) {
    LOAD_FIXTURE(windows, "fault_OperationTimeout_TimedOut_recorded_pypsrp.xml");
    EXPECT_EQ(Canonical(RenderFault({FaultKind::TimedOut, "uuid:X", "host", std::nullopt, ""})),
              Canonical(windows));
}

TEST(FaultGoldenTest, QuotaLimitMatchesWindowsCimErrorForm) {
    LOAD_FIXTURE(windows, "fault_QuotaLimit_MSFT_WmiError.xml");
    EXPECT_EQ(Canonical(RenderFault({FaultKind::QuotaLimit, "", "host", std::nullopt, ""})),
              Canonical(windows));
}

TEST(FaultGoldenTest, ResourceNotFoundMatchesWindows2012R2ApartFromTheProviderPathAndStatusObject) {
    // This server writes the 2008 R2 provider path and __ExtendedStatus form for every fault; 2012 R2 writes
    // an absolute path and a DMTF-namespaced status object. Both are Windows; clients read neither.
    LOAD_FIXTURE(windows, "fault_Get_ResourceNotFound_2150858752_Win32_Process_win2012R2.xml");
    FaultReport report;
    report.kind = FaultKind::ResourceNotFound;
    report.relatesTo = "uuid:X";
    report.provider = ProviderFault{
        FaultCode(FaultKind::ResourceNotFound),
        "The WS-Management service cannot process the request. The service cannot find "
        "the resource identified by the resource URI and selectors.",
        ProviderFault::ExtendedStatus{"root/cimv2", "GetObject", "Win32_Process.Handle=\"29\"", "CIMWin32"}};
    EXPECT_EQ(Canonical(RenderFault(report), {"ExtendedError"}, {"path"}),
              Canonical(windows, {"ExtendedError"}, {"path"}));
}

}  // namespace
}  // namespace qnsim
