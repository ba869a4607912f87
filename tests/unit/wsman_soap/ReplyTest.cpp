#include <gtest/gtest.h>

#include "SoapTestSupport.h"
#include "TestFiles.h"
#include "wsman/soap/ErrorCodes.h"
#include "wsman/soap/Fault.h"
#include "wsman/soap/Reply.h"

namespace wsman::soap {
namespace {

// Every captured fault: the code Windows' client would report, and the start of the innermost message.
TEST(Fault, EveryCapturedFaultGivesItsCodeAndMessage) {
    const struct {
        const char* fixture;
        std::uint32_t code;
        const char* messageStart;
    } cases[] = {
        {"fault_Get_ResourceNotFound_2150858752_Win32_Process_win2012R2.xml", 0x80338000,
         "The WS-Management service cannot process the request. The service cannot find the resource"},
        {"fault_InternalError_plugin_ProviderFault_text.xml", 0x80540FA0,
         "Error with error code -2144108472 occurred while calling method WSManPluginReceiveResult."},
        {"fault_InvalidSelectors_UnexpectedSelectors_2150858843.xml", 0x8033805B,
         "The WS-Management service cannot process the request because the request contained invalid "
         "selectors"},
        {"fault_OperationTimeout_TimedOut_2150858793.xml", 0x80338029,
         "The WS-Management service cannot complete the operation within the time specified in "
         "OperationTimeout."},
        {"fault_QuotaLimit_MSFT_WmiError.xml", 0x803381A5,
         "The WS-Management service cannot process the request. This user is allowed a maximum number of 30"},
        {"fault_enumerate_CannotProcessFilter_class_not_found_win2008.xml", 0x8033801A,
         "The specified class does not exist in the given namespace."},
        {"fault_omi_InternalError_nonWindows.xml", 0x8007054F,
         "get-instance: instance name parameter is missing"},
    };
    for (const auto& fault : cases) {
        SCOPED_TRACE(fault.fixture);
        const std::string text = qntest::ReadFixture(fault.fixture);
        if (text.empty()) GTEST_SKIP() << "fixtures not found under " << QN_FIXTURES_DIR;
        const auto doc = xml::ParseUntrusted(text);
        ASSERT_TRUE(doc);
        const auto parsed = ReadFault(testing::BodyOf(doc.get()));
        ASSERT_TRUE(parsed.has_value());
        EXPECT_EQ(static_cast<std::uint32_t>(parsed->code), fault.code);
        EXPECT_EQ(parsed->message.rfind(fault.messageStart, 0), 0u) << parsed->message;

        // Through the reply check as it arrives over HTTP 500, related to the request it answers.
        CheckedReply reply;
        const std::string relatesTo = testing::HeaderText(doc.get(), ns::kAddressing, "RelatesTo");
        EXPECT_EQ(
            CheckReply({500, "application/soap+xml", text}, relatesTo.empty() ? "uuid:X" : relatesTo, reply),
            parsed->code);
        EXPECT_EQ(reply.faultMessage, parsed->message);
    }
}

std::string FaultWithSubcode(const std::string& subcode, const std::string& detail = "") {
    return "<s:Fault xmlns:q=\"" + std::string(ns::kEnumeration) +
           "\"><s:Code><s:Value>s:Sender</s:Value><s:Subcode><s:Value>" + subcode +
           "</s:Value></s:Subcode></s:Code><s:Reason><s:Text>reason text </s:Text></s:Reason>" + detail +
           "</s:Fault>";
}

TEST(Fault, SubcodesWithoutDetailMapToWsmanCodes) {
    const struct {
        const char* subcode;
        std::string detail;
        std::uint32_t code;
    } cases[] = {
        // Same local name, different namespaces, different codes: the prefix must be resolved.
        {"w:TimedOut", "", 0x80338029},
        {"n:TimedOut", "", 0x8033801C},
        {"q:CannotProcessFilter", "", 0x8033801A},  // by namespace URI, whatever the prefix
        // InvalidSelectors without a code of its own takes the precise code from the fault detail URI.
        {"w:InvalidSelectors",
         "<s:Detail><w:FaultDetail>http://schemas.dmtf.org/wbem/wsman/1/wsman/faultDetail/UnexpectedSelectors"
         "</w:FaultDetail></s:Detail>",
         0x8033805B},
    };
    for (const auto& entry : cases) {
        const auto doc =
            xml::ParseUntrusted(testing::ReplyTo("", "fault", FaultWithSubcode(entry.subcode, entry.detail)));
        const auto parsed = ReadFault(testing::BodyOf(doc.get()));
        ASSERT_TRUE(parsed) << entry.subcode;
        EXPECT_EQ(static_cast<std::uint32_t>(parsed->code), entry.code) << entry.subcode;
        EXPECT_EQ(parsed->message, "reason text");
    }
}

TEST(CheckReply, RelatedRepliesOnlyAndWindowsCodesForBrokenOnes) {
    const std::string request =
        "<s:Envelope xmlns:s=\"" + std::string(ns::kSoap) + "\" xmlns:a=\"" + ns::kAddressing +
        "\"><s:Header><a:MessageID>uuid:ABC</a:MessageID></s:Header><s:Body/></s:Envelope>";
    const std::string ok = testing::ReplyTo(request, "r", "<n:EnumerateResponse/>");
    CheckedReply reply;
    EXPECT_EQ(CheckReply({200, "", ok}, "uuid:abc", reply), 0) << "identifiers compare without case";
    EXPECT_TRUE(xml::IsElement(xml::FirstChildElement(reply.body), ns::kEnumeration, "EnumerateResponse"));

    const std::string withDtd =
        "<!DOCTYPE s:Envelope [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>" +
        testing::ReplyTo(request, "r", "<n:EnumerateResponse>&x;</n:EnumerateResponse>");
    const struct {
        Exchange exchange;
        const char* messageId;
        HResult code;
    } cases[] = {
        {{200, "", ok}, "uuid:OTHER", errors::kInvalidHeader},
        {{200, "", testing::ReplyTo("", "r", "<n:EnumerateResponse/>")}, "uuid:ABC", errors::kInvalidHeader},
        {{500, "", testing::ReplyTo(request, "f", FaultWithSubcode("w:TimedOut"))},
         "uuid:OTHER",
         errors::kInvalidHeader},
        {{500, "text/html", ""}, "uuid:ABC", errors::kHttpServerError},
        {{500, "", ok}, "uuid:ABC", errors::kHttpServerError},
        {{200, "", "<s:Envelope"}, "uuid:ABC", errors::kInvalidXml},
        {{200, "", "<html/>"}, "uuid:ABC", errors::kInvalidSoapBody},
        {{200, "", withDtd}, "uuid:ABC", errors::kInvalidXml},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(CheckReply(entry.exchange, entry.messageId, reply), entry.code) << entry.exchange.body;
        EXPECT_EQ(reply.body, nullptr);
    }
}

}  // namespace
}  // namespace wsman::soap
