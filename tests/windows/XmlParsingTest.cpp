// Result parsing on MSXML: items transformed with the installed stylesheets into records with CR LF line
// ends, and the document's refusals.
#include <string>

#include "TestRunner.h"
#include "base/QncRegistry.h"
#include "parsing/CQncXmlDoc.h"
#include "parsing/CSnWinrmNode.h"
#include "wsman/core/ConfigurationKeys.h"

using namespace qn::wintest;

namespace {

const std::string kServiceItem =
    "<p:Win32_Service xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:type=\"p:Win32_Service_Type\">\n"
    "  <p:Name>Spooler</p:Name>\n"
    "  <p:DisplayName>Print &amp; Spool</p:DisplayName>\n"
    "  <p:Description xsi:nil=\"true\"/>\n"
    "  <p:Started>true</p:Started>\n"
    "  <p:Dependent>RPCSS</p:Dependent><p:Dependent>HTTP</p:Dependent>\n"
    "</p:Win32_Service>";

}  // namespace

QN_TEST(RecordsFromTheInstalledStylesheetsAndTheParserCodes) {
    EnsureRegistryKey(kHkeyLocalMachine, wsman::config::kProductKey);
    SetRegistryString(kHkeyLocalMachine, wsman::config::kProductKey, wsman::config::kProgFilesFolder,
                      ShareFolder().c_str());
    CSnWinrmNode node;
    QN_CHECK_EQ(node.Transform(kServiceItem.c_str()), 0);
    // The line ends really are CR LF, not lost or doubled by the parser's white-space handling.
    QN_CHECK_EQ(node.GetOutput().GetText(),
                "__CLASS:=Win32_Service\r\nName:=Spooler\r\nDisplayName:=Print & Spool\r\nDescription:=\r\n"
                "Started:=true\r\nDependent:=RPCSS,HTTP\r\n");
    QN_CHECK_EQ(node.Transform("<p:Broken>"), 25702);
    QN_CHECK(std::string(node.GetOutput().GetText()).starts_with("__CLASS:=Win32_Service\r\n"));  // kept

    node.SetStylesheet(kPropertyNamesStylesheet);
    QN_CHECK_EQ(node.Transform(kServiceItem.c_str()), 0);
    QN_CHECK_EQ(node.GetOutput().GetText(), "Name\r\nDisplayName\r\nDescription\r\nStarted\r\nDependent\r\n");
    node.SetStylesheet("Absent.xsl");
    QN_CHECK_EQ(node.Transform(kServiceItem.c_str()), 25701);
}

// MSXML's own refusals; the life cycle around them is shared code, tested on Linux.
QN_TEST(DocumentRefusesDoctypesAndBrokenStylesheets) {
    CQncXmlDoc document;
    CQncString output;
    QN_CHECK_EQ(document.Initialize(0, ""), 0u);
    QN_CHECK_EQ(document.LoadXml("<!DOCTYPE a [<!ENTITY x \"boom\">]><a>&x;</a>"), -1);
    QN_CHECK_EQ(document.LoadXml(kServiceItem.c_str()), 0);
    const std::string broken = FreshFolder("xsl") + "\\Broken.xsl";
    WriteWholeFile(broken,
                   "<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
                   "<xsl:template match=\"/\">");
    QN_CHECK_EQ(document.TransformWith(broken.c_str(), output), -1);
}
