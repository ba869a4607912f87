// The WS-Management service's answers: enumeration batching and contexts, Get and the faults.
#include <gtest/gtest.h>

#include "FakeComputer.h"
#include "WsmanTestMessages.h"
#include "server/WsmanRequest.h"
#include "server/WsmanService.h"

namespace qnsim {
namespace {

using test::TestXml;
using Clock = std::chrono::steady_clock;

using test::kEnumeration;
const std::string kEnumerate = kEnumeration + "Enumerate";
const std::string kGet = "http://schemas.xmlsoap.org/ws/2004/09/transfer/Get";
const std::string kServices = "select * from Win32_Service";

ServiceReply Handle(WsmanService& service, const std::string& envelope, Clock::time_point now = {}) {
    ParsedRequest parsed = ParseWsmanRequest(envelope);
    EXPECT_TRUE(parsed.request) << parsed.problem;
    return parsed.request ? service.Handle(*parsed.request, now) : ServiceReply{};
}

class WsmanServiceTest : public ::testing::Test {
  protected:
    TestXml Send(const std::string& envelope, Clock::time_point now = {}) {
        return TestXml(Handle(service_, envelope, now).envelope);
    }
    TestXml Reply(const test::RequestText& request) { return Send(test::Envelope(request)); }

    WsmanService service_{test::FakeComputer(), ServiceSettings{}};
};

TEST_F(WsmanServiceTest, OptimizedEnumerateSendsOneItemAndPullsDeliverTheRest) {
    const TestXml first = Send(test::EnumerateWql(kServices, 3));
    EXPECT_EQ(first.Count("//n:EnumerateResponse/w:Items/*"), 1);
    const std::string context = first.Text("//n:EnumerationContext");
    const TestXml pull = Send(test::Pull(context, 3));
    EXPECT_EQ(pull.Count("//n:PullResponse/n:Items/*"), 3);
    EXPECT_EQ(pull.Text("(//n:Items/svc:Win32_Service)[1]/svc:Name"), "svc1");
    EXPECT_EQ(Send(test::Pull(context, 3)).Count("//n:PullResponse/n:EndOfSequence"), 1);
    EXPECT_EQ(service_.OpenEnumerations(), 0u);  // the finished enumeration is gone
    // Nothing to send: the EnumerateResponse ends the sequence.
    EXPECT_EQ(
        Send(test::EnumerateWql("select * from Win32_Empty")).Count("//n:EnumerateResponse/n:EndOfSequence"),
        1);
    // A class URI without a filter enumerates the class, not optimized: the items wait for the Pull.
    const TestXml unfiltered =
        Reply({.action = kEnumerate, .resourceUri = test::kServiceUri, .body = "<n:Enumerate/>"});
    EXPECT_EQ(unfiltered.Count("//w:Items"), 0);
    EXPECT_EQ(Send(test::Pull(unfiltered.Text("//n:EnumerationContext"), 10)).Count("//n:Items/*"), 5);
}

TEST_F(WsmanServiceTest, ContextsExpireReleaseForgetsThemAndPullsMustKeepTheParameters) {
    const Clock::time_point start{};
    const std::string context = Send(test::EnumerateWql(kServices, 1), start).Text("//n:EnumerationContext");
    // Each Pull renews the context for another EnumerationTimeoutms (240 s).
    EXPECT_EQ(Send(test::Pull(context, 1), start + std::chrono::seconds(200)).Count("//n:Items/*"), 1);
    EXPECT_EQ(Send(test::Pull(context, 1), start + std::chrono::seconds(400)).Count("//n:Items/*"), 1);
    EXPECT_EQ(Send(test::Pull(context, 1), start + std::chrono::seconds(700)).Subcode(),
              "n:InvalidEnumerationContext");

    const std::string second = Send(test::EnumerateWql(kServices, 2)).Text("//n:EnumerationContext");
    EXPECT_EQ(Send(test::Pull(second, 3)).FaultCode(), "2150859181");
    EXPECT_EQ(Send(test::Pull(second, 2, 512000)).FaultCode(), "2150859181");
    EXPECT_EQ(Send(test::Pull(second, 2)).Count("//n:Items/*"), 2);  // the refusals left it intact
    const std::string release = test::Envelope(
        {.action = kEnumeration + "Release",
         .body = "<n:Release><n:EnumerationContext>" + second + "</n:EnumerationContext></n:Release>"});
    EXPECT_EQ(Send(release).Text("/s:Envelope/s:Header/a:Action"), kEnumeration + "ReleaseResponse");
    EXPECT_EQ(Send(release).Subcode(), "n:InvalidEnumerationContext");
}

TEST(WsmanServiceEnvelopeTest, ItemsAreSplitSoEachEnvelopeFitsAndAnItemTooLargeIsAnEncodingLimitFault) {
    ServiceSettings settings;
    settings.maxItemsInEnumerateResponse = 100;
    WsmanService service(test::FakeComputer(5, 3000), settings);
    test::RequestText enumerate{.action = kEnumerate,
                                .maxEnvelopeSize = 8192,
                                .body =
                                    "<n:Enumerate><w:OptimizeEnumeration/><w:MaxElements>100</w:MaxElements>"
                                    "<w:Filter>select * from Big_Class</w:Filter></n:Enumerate>"};
    const ServiceReply first = Handle(service, test::Envelope(enumerate));
    ASSERT_EQ(first.status, 200u);
    EXPECT_LE(first.envelope.size(), 8192u);
    const TestXml xml(first.envelope);
    EXPECT_EQ(xml.Count("//w:Items/*"), 2);  // three 3000-byte items do not fit in 8192
    const ServiceReply pull = Handle(service, test::Pull(xml.Text("//n:EnumerationContext"), 100, 8192));
    EXPECT_LE(pull.envelope.size(), 8192u);
    EXPECT_EQ(TestXml(pull.envelope).Count("//n:Items/*"), 1);

    enumerate.maxEnvelopeSize = 2048;
    const ServiceReply tooSmall = Handle(service, test::Envelope(enumerate));
    EXPECT_EQ(tooSmall.status, 500u);
    EXPECT_EQ(TestXml(tooSmall.envelope).Subcode(), "w:EncodingLimit");
    enumerate.maxEnvelopeSize = 1024000;
    EXPECT_EQ(TestXml(Handle(service, test::Envelope(enumerate)).envelope).FaultCode(), "2150858823");
}

// Each bad request gets the fault Windows sends: the subcode (or code) a client matches, the HRESULT it
// reports and the RelatesTo that pairs the fault with the request.
TEST_F(WsmanServiceTest, EachBadRequestGetsTheWindowsFault) {
    const std::string wql = "<w:Filter Dialect=\"http://schemas.microsoft.com/wbem/wsman/1/WQL\">";
    const std::string services = wql + kServices + "</w:Filter>";
    const std::string wmi = "http://schemas.microsoft.com/wbem/wsman/1/wmi";
    const auto enumerate = [](const std::string& resourceUri, const std::string& filter) {
        return test::Envelope({.action = kEnumerate,
                               .resourceUri = resourceUri,
                               .body = "<n:Enumerate><w:OptimizeEnumeration/>" + filter + "</n:Enumerate>"});
    };
    std::string unknownHeader = test::EnumerateWql(kServices);
    unknownHeader.replace(unknownHeader.find("<w:OperationTimeout>"), 0,
                          "<x:Strange xmlns:x=\"urn:x\" s:mustUnderstand=\"true\">1</x:Strange>");
    const struct {
        std::string envelope, fault, code;
    } cases[] = {
        {enumerate(test::kCimv2All, wql + "select * from Win32_Nothing</w:Filter>"), "n:CannotProcessFilter",
         "2150858778"},
        {enumerate(test::kCimv2All, ""), "n:CannotProcessFilter", "2150858778"},  // all classes need a filter
        {enumerate(test::kServiceUri, services), "w:InvalidParameter", "2150859003"},
        {enumerate(wmi + "\\root\\cimv2\\*", services), "w:InvalidResourceURI", "2150858811"},
        {enumerate(wmi + "/root/nothing/*", services), "a:DestinationUnreachable", "2150858752"},
        {enumerate(test::kCimv2All, "<w:Filter Dialect=\"http://example.com/xpath\">/x</w:Filter>"),
         "n:FilterDialectRequestedUnavailable", "2150858777"},
        {test::Envelope({.action = kGet, .resourceUri = test::kServiceUri}), "w:InvalidSelectors",
         "2150858843"},
        {test::Envelope({.action = "http://example.com/Frobnicate", .resourceUri = test::kServiceUri}),
         "a:ActionNotSupported", "2150858771"},
        {test::Envelope({.action = kEnumerate, .messageId = ""}), "a:MessageInformationHeaderRequired",
         "2150858769"},
        {unknownHeader, "s:MustUnderstand", "2150858768"},
    };
    for (const auto& [envelope, fault, code] : cases) {
        SCOPED_TRACE(fault);
        const ServiceReply reply = Handle(service_, envelope);
        EXPECT_EQ(reply.status, 500u);
        const TestXml xml(reply.envelope);
        EXPECT_EQ(xml.Subcode().empty() ? xml.Text("//s:Fault/s:Code/s:Value") : xml.Subcode(), fault);
        EXPECT_EQ(xml.FaultCode(), code);
        EXPECT_EQ(xml.Text("//a:RelatesTo"), TestXml(envelope).Text("//a:MessageID"));
    }
    // An unknown class also carries WMI's provider fault with the query, in the request's language.
    std::string request = test::EnumerateWql("select * from Win32_Nothing");
    request.replace(request.find("xml:lang=\"en-US\""), 16, "xml:lang=\"de-DE\"");
    const TestXml unknownClass = Send(request);
    EXPECT_EQ(unknownClass.Text("//f:ProviderFault/f:ExtendedError/*/*[local-name()='ParameterInfo']"),
              "select * from Win32_Nothing");
    EXPECT_EQ(unknownClass.Text("/s:Envelope/@xml:lang"), "de-DE");
}

// Invoke, and Get of a missing instance, meet the module in tests/e2e (EveryExportTest).
TEST_F(WsmanServiceTest, GetByKeysOrByTheCimUriWithTheNamespaceInASelector) {
    const std::string svc2 = "<w:Selector Name=\"Name\">svc2</w:Selector>";
    for (const auto& [uri, selectors] :
         {std::pair{test::kServiceUri, svc2},
          {"http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/Win32_Service",
           "<w:Selector Name=\"__cimnamespace\">root/cimv2</w:Selector>" + svc2}})
        EXPECT_EQ(Reply({.action = kGet, .resourceUri = uri, .selectors = selectors})
                      .Text("/s:Envelope/s:Body/svc:Win32_Service/svc:Name"),
                  "svc2")
            << uri;
}

}  // namespace
}  // namespace qnsim
