#include <gtest/gtest.h>

#include "SoapTestSupport.h"
#include "TestFiles.h"
#include "wsman/soap/ErrorCodes.h"
#include "wsman/soap/Fault.h"
#include "wsman/soap/Namespaces.h"
#include "wsman/soap/Reply.h"

namespace wsman::soap {
namespace {

struct FaultCase {
    const char* fixture;
    std::uint32_t code;
    const char* messageStart;
};

// Every captured fault: the code Windows' client would report, and the start of the innermost message.
const FaultCase kFaultCases[] = {
    {"fault_Get_ResourceNotFound_2150858752_Win32_Process_win2012R2.xml", 0x80338000,
     "The WS-Management service cannot process the request. The service cannot find the resource"},
    {"fault_InternalError_plugin_ProviderFault_text.xml", 0x80540FA0,
     "Error with error code -2144108472 occurred while calling method WSManPluginReceiveResult."},
    {"fault_InvalidSelectors_UnexpectedSelectors_2150858843.xml", 0x8033805B,
     "The WS-Management service cannot process the request because the request contained invalid selectors"},
    {"fault_OperationTimeout_TimedOut_2150858793.xml", 0x80338029,
     "The WS-Management service cannot complete the operation within the time specified in "
     "OperationTimeout."},
    {"fault_OperationTimeout_TimedOut_recorded_pypsrp.xml", 0x80338029,
     "The WS-Management service cannot complete the operation within the time specified in "
     "OperationTimeout."},
    {"fault_QuotaLimit_MSFT_WmiError.xml", 0x803381A5,
     "The WS-Management service cannot process the request. This user is allowed a maximum number of 30"},
    {"fault_enumerate_CannotProcessFilter_class_not_found_win2008.xml", 0x8033801A,
     "The specified class does not exist in the given namespace."},
    {"fault_enumerate_CannotProcessFilter_class_not_found_with_ExtendedStatus_win2008R2.xml", 0x8033801A,
     "The specified class does not exist in the given namespace."},
    {"fault_omi_InternalError_nonWindows.xml", 0x8007054F,
     "get-instance: instance name parameter is missing"},
};

TEST(Fault, EveryCapturedFaultGivesItsCodeAndMessage) {
    for (const FaultCase& fault : kFaultCases) {
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
        Exchange exchange{500, "application/soap+xml", text};
        CheckedReply reply;
        const std::string relatesTo = testing::HeaderText(doc.get(), ns::kAddressing, "RelatesTo");
        EXPECT_EQ(CheckReply(exchange, relatesTo.empty() ? "uuid:X" : relatesTo, reply), parsed->code);
        EXPECT_EQ(reply.faultMessage, parsed->message);
    }
}

std::string FaultWithSubcode(const std::string& subcode, const std::string& detail = "") {
    return std::string("<s:Fault><s:Code><s:Value>s:Sender</s:Value><s:Subcode><s:Value>") + subcode +
           "</s:Value></s:Subcode></s:Code><s:Reason><s:Text>reason text </s:Text></s:Reason>" + detail +
           "</s:Fault>";
}

TEST(Fault, SubcodesWithoutDetailMapToWsmanCodes) {
    const std::string unexpectedSelectors =
        "<s:Detail><w:FaultDetail>http://schemas.dmtf.org/wbem/wsman/1/wsman/faultDetail/UnexpectedSelectors"
        "</w:FaultDetail></s:Detail>";
    const struct {
        const char* subcode;
        std::string detail;
        std::uint32_t code;
    } cases[] = {
        // Same local name, different namespaces, different codes: the prefix must be resolved.
        {"w:TimedOut", "", 0x80338029},
        {"n:TimedOut", "", 0x8033801C},
        {"a:DestinationUnreachable", "", 0x80338000},
        {"w:SomethingNew", "", 0x80004005},
        // InvalidSelectors without a code of its own takes the precise code from the fault detail URI.
        {"w:InvalidSelectors", unexpectedSelectors, 0x8033805B},
        // By namespace URI, whatever the prefix.
        {"q:CannotProcessFilter", "", 0x8033801A},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.subcode);
        std::string fault = FaultWithSubcode(entry.subcode, entry.detail);
        fault.insert(8, std::string(" xmlns:q=\"") + ns::kEnumeration + "\"");  // after "<s:Fault"
        const auto doc = xml::ParseUntrusted(testing::ReplyTo("", "fault", fault));
        const auto parsed = ReadFault(testing::BodyOf(doc.get()));
        ASSERT_TRUE(parsed);
        EXPECT_EQ(static_cast<std::uint32_t>(parsed->code), entry.code);
        EXPECT_EQ(parsed->message, "reason text");
    }
}

class CheckReplyTest : public ::testing::Test {
  protected:
    const std::string request_ =
        "<s:Envelope xmlns:s=\"" + std::string(ns::kSoap) + "\" xmlns:a=\"" + ns::kAddressing +
        "\"><s:Header><a:MessageID>uuid:ABC</a:MessageID></s:Header>" + "<s:Body/></s:Envelope>";
    CheckedReply reply_;
};

TEST_F(CheckReplyTest, AcceptsRelatedReplyAndRefusesOthers) {
    const std::string ok = testing::ReplyTo(request_, "r", "<n:EnumerateResponse/>");
    EXPECT_EQ(CheckReply({200, "", ok}, "uuid:ABC", reply_), 0);
    EXPECT_TRUE(xml::IsElement(xml::FirstChildElement(reply_.body), ns::kEnumeration, "EnumerateResponse"));
    EXPECT_EQ(CheckReply({200, "", ok}, "uuid:abc", reply_), 0) << "identifiers compare without case";

    EXPECT_EQ(CheckReply({200, "", ok}, "uuid:OTHER", reply_), errors::kInvalidHeader);
    EXPECT_EQ(reply_.body, nullptr);
    const std::string unrelated = testing::ReplyTo("", "r", "<n:EnumerateResponse/>");
    EXPECT_EQ(CheckReply({200, "", unrelated}, "uuid:ABC", reply_), errors::kInvalidHeader);
    const std::string fault = testing::ReplyTo(request_, "f", FaultWithSubcode("w:TimedOut"));
    EXPECT_EQ(CheckReply({500, "", fault}, "uuid:OTHER", reply_), errors::kInvalidHeader);
}

TEST_F(CheckReplyTest, BrokenRepliesGiveWindowsClientCodes) {
    EXPECT_EQ(CheckReply({500, "text/html", ""}, "uuid:ABC", reply_), errors::kHttpServerError);
    EXPECT_EQ(CheckReply({500, "text/html", "<html>oops</html>"}, "uuid:ABC", reply_),
              errors::kHttpServerError);
    EXPECT_EQ(CheckReply({200, "", "<s:Envelope"}, "uuid:ABC", reply_), errors::kInvalidXml);
    EXPECT_EQ(CheckReply({200, "", "<html/>"}, "uuid:ABC", reply_), errors::kInvalidSoapBody);
    const std::string withDtd =
        "<!DOCTYPE s:Envelope [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>" +
        testing::ReplyTo(request_, "r", "<n:EnumerateResponse>&x;</n:EnumerateResponse>");
    EXPECT_EQ(CheckReply({200, "", withDtd}, "uuid:ABC", reply_), errors::kInvalidXml);
    const std::string ok = testing::ReplyTo(request_, "r", "<n:EnumerateResponse/>");
    EXPECT_EQ(CheckReply({500, "", ok}, "uuid:ABC", reply_), errors::kHttpServerError);
}

}  // namespace
}  // namespace wsman::soap
