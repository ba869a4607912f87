// Result parsing on MSXML: items transformed with the installed stylesheets into records with CR LF line
// ends, and the document's refusals.
#include <string>

#include "TestFiles.h"
#include "TestPaths.h"
#include "TestRunner.h"
#include "base/QncRegistry.h"
#include "parsing/CQncXmlDoc.h"
#include "parsing/CSnWinrmNode.h"

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

void InstallStylesheets() {
    EnsureRegistryKey(kHkeyLocalMachine, kQncProductKey);
    SetRegistryString(kHkeyLocalMachine, kQncProductKey, "ProgFilesFolder", ShareFolder().c_str());
}

std::string Hex(const std::string& text) {
    static const char* const digits = "0123456789abcdef";
    std::string hex;
    for (const unsigned char c : text) {
        hex += digits[c >> 4];
        hex += digits[c & 15];
        hex += ' ';
    }
    return hex;
}

}  // namespace

QN_TEST(RecordLinesFromTheInstalledStylesheet) {
    InstallStylesheets();
    CSnWinrmNode node;
    QN_CHECK_EQ(node.GetStylesheetPath().GetText(), ShareFolder() + "Sys\\Wsman\\WsmTxtEx.xsl");
    QN_CHECK_EQ(node.Transform(kServiceItem.c_str()), 0);
    const std::string record = node.GetOutput().GetText();
    QN_CHECK_EQ(record,
                "__CLASS:=Win32_Service\r\nName:=Spooler\r\nDisplayName:=Print & Spool\r\nDescription:=\r\n"
                "Started:=true\r\nDependent:=RPCSS,HTTP\r\n");
    // The line ends really are CR LF, not lost or doubled by the parser's white-space handling.
    QN_CHECK(Hex(record).starts_with(
        "5f 5f 43 4c 41 53 53 3a 3d 57 69 6e 33 32 5f 53 65 72 76 69 63 65 0d 0a 4e"));

    CQncString value;
    QN_CHECK_EQ(node.GetValue("displayname", 0, value), 0);
    QN_CHECK_EQ(value.GetText(), "Print & Spool");
    QN_CHECK_EQ(node.GetValue("Started", 1, value), 0);
    QN_CHECK_EQ(value.GetText(), "1");
    QN_CHECK_EQ(node.GetValue("Absent", 0, value), 25704);
}

QN_TEST(PropertyNamesStylesheet) {
    InstallStylesheets();
    CSnWinrmNode node;
    node.SetStylesheet(kPropertyNamesStylesheet);
    QN_CHECK_EQ(node.Transform(kServiceItem.c_str()), 0);
    QN_CHECK_EQ(node.GetOutput().GetText(), "Name\r\nDisplayName\r\nDescription\r\nStarted\r\nDependent\r\n");
}

QN_TEST(ParserFailuresMapToTheirCodes) {
    InstallStylesheets();
    CSnWinrmNode node;
    QN_CHECK_EQ(node.Transform(kServiceItem.c_str()), 0);
    QN_CHECK_EQ(node.Transform("<p:Broken>"), 25702);
    // A failure keeps the previous record.
    QN_CHECK(std::string(node.GetOutput().GetText()).starts_with("__CLASS:=Win32_Service\r\n"));

    node.SetStylesheet("Absent.xsl");
    QN_CHECK_EQ(node.Transform(kServiceItem.c_str()), 25701);

    const std::string broken = FreshFolder("xsl") + "\\Broken.xsl";
    WriteWholeFile(broken,
                   "<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
                   "<xsl:template match=\"/\">");
    CQncXmlDoc document;
    QN_CHECK_EQ(document.Initialize(0, ""), 0u);
    QN_CHECK_EQ(document.LoadXml(kServiceItem.c_str()), 0);
    CQncString output;
    QN_CHECK_EQ(document.TransformWith(broken.c_str(), output), -1);
}

QN_TEST(DocumentRefusesBeforeInitialiseFoldersAndDoctypes) {
    CQncXmlDoc document;
    CQncString output;
    QN_CHECK_EQ(document.LoadXml("<a/>"), -1);
    QN_CHECK_EQ(document.TransformWith((ShareFolder() + "Sys\\Wsman\\WsmTxtEx.xsl").c_str(), output), -1);

    QN_CHECK_EQ(document.Initialize(0, ""), 0u);
    QN_CHECK_EQ(document.LoadXml("<a/>"), 0);
    QN_CHECK_EQ(document.TransformWith((ShareFolder() + "Sys\\Wsman").c_str(), output), -1);
    QN_CHECK_EQ(document.LoadXml("<!DOCTYPE a [<!ENTITY x \"boom\">]><a>&x;</a>"), -1);
    document.Uninitialize();
    document.Uninitialize();
    QN_CHECK_EQ(document.LoadXml("<a/>"), -1);
}
