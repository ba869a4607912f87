// The request parser: real client envelopes, namespaces by URI, and hostile XML.
#include <gtest/gtest.h>

#include "TestFiles.h"
#include "server/WsmanRequest.h"

namespace qnsim {
namespace {

TEST(WsmanRequestParserTest, ReadsMicrosoftsGetExampleAndTheWindowsCimClientsEnumerate) {
    const std::string get = qntest::ReadFixture("request_get_Win32_LogicalDisk_msdn_example.xml");
    const std::string enumerate =
        qntest::ReadFixture("request_enumerate_instances_from_Windows_CIM_client_Get-CimInstance.xml");
    if (get.empty() || enumerate.empty()) GTEST_SKIP() << "fixtures not found in " << QN_FIXTURES_DIR;
    const ParsedRequest parsed = ParseWsmanRequest(get);  // with whitespace inside values
    ASSERT_TRUE(parsed.request) << parsed.problem;
    EXPECT_EQ(parsed.request->resourceUri,
              "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_logicaldisk");
    EXPECT_EQ(parsed.request->operationTimeoutSeconds, 60.0);
    EXPECT_EQ(parsed.request->selectors.at("DeviceId"), "c:");
    EXPECT_TRUE(parsed.request->misunderstoodHeaders.empty());

    const ParsedRequest cim = ParseWsmanRequest(enumerate);
    ASSERT_TRUE(cim.request) << cim.problem;
    ASSERT_TRUE(cim.request->enumerate);
    EXPECT_TRUE(cim.request->enumerate->optimize);
    EXPECT_EQ(cim.request->enumerate->enumerationMode, "EnumerateObjectAndEPR");
    EXPECT_EQ(cim.request->operationTimeoutSeconds, 1.0);
    EXPECT_TRUE(cim.request->misunderstoodHeaders.empty());  // every mustUnderstand header is known
}

TEST(WsmanRequestParserTest, MatchesByNamespaceUriAndAcceptsBothFilterElementsAndBareMustUnderstand) {
    // Other prefixes, n:Filter, unprefixed mustUnderstand (pywinrm style), a Pull after it.
    const std::string xml =
        "<env:Envelope xmlns:env=\"http://www.w3.org/2003/05/soap-envelope\" "
        "xmlns:addr=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\" "
        "xmlns:en=\"http://schemas.xmlsoap.org/ws/2004/09/enumeration\" "
        "xmlns:wsman=\"http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd\"><env:Header>"
        "<addr:Action "
        "mustUnderstand=\"true\">http://schemas.xmlsoap.org/ws/2004/09/enumeration/Enumerate</addr:Action>"
        "<addr:MessageID>uuid:1</addr:MessageID><wsman:OperationTimeout>PT1M30S</wsman:OperationTimeout>"
        "<Unknown mustUnderstand=\"true\"/><Ignored mustUnderstand=\"false\"/></env:Header><env:Body>"
        "<en:Enumerate><en:Filter Dialect=\"http://schemas.microsoft.com/wbem/wsman/1/WQL\">select Name from "
        "Win32_Service where State &lt;&gt; 'Running'</en:Filter></en:Enumerate></env:Body></env:Envelope>";
    const ParsedRequest parsed = ParseWsmanRequest(xml);
    ASSERT_TRUE(parsed.request) << parsed.problem;
    ASSERT_TRUE(parsed.request->enumerate);
    EXPECT_FALSE(parsed.request->enumerate->optimize);
    EXPECT_EQ(parsed.request->enumerate->filter, "select Name from Win32_Service where State <> 'Running'");
    EXPECT_EQ(parsed.request->operationTimeoutSeconds, 90.0);
    EXPECT_EQ(parsed.request->misunderstoodHeaders, std::vector<std::string>{"Unknown"});

    // A method's input keeps the namespace its prefix was declared with on the envelope.
    const ParsedRequest invoke = ParseWsmanRequest(
        "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" xmlns:p=\"urn:process\"><s:Header/>"
        "<s:Body><p:Create_INPUT><p:CommandLine>calc.exe</p:CommandLine></p:Create_INPUT></s:Body></"
        "s:Envelope>");
    ASSERT_TRUE(invoke.request);
    EXPECT_NE(invoke.request->bodyXml.find("xmlns:p=\"urn:process\""), std::string::npos)
        << invoke.request->bodyXml;
}

TEST(WsmanRequestParserTest, RefusesWhatIsNotASafeSoapEnvelope) {
    const char* refused[] = {
        "not xml at all",
        "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Header/>",  // unterminated
        // SOAP 1.1, then no header
        "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Header/><s:Body/></s:Envelope>",
        "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body/></s:Envelope>",
        // Entities: refused with the DTD that declares them, never expanded, never fetched.
        "<!DOCTYPE s [<!ENTITY x \"boom\">]><s:Envelope "
        "xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\">"
        "<s:Header/><s:Body>&x;</s:Body></s:Envelope>",
        "<!DOCTYPE s SYSTEM \"http://127.0.0.1:9/evil.dtd\"><s:Envelope "
        "xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Header/><s:Body/></s:Envelope>",
    };
    for (const char* xml : refused) {
        SCOPED_TRACE(xml);
        const ParsedRequest parsed = ParseWsmanRequest(xml);
        EXPECT_FALSE(parsed.request);
        EXPECT_FALSE(parsed.problem.empty());
    }
}

}  // namespace
}  // namespace qnsim
