// The WS-Management service's answers: enumeration batching and contexts, Get, Invoke and the faults.
#include <gtest/gtest.h>

#include "FakeComputer.h"
#include "TestXml.h"
#include "WsmanTestRequests.h"
#include "server/WsmanRequest.h"
#include "server/WsmanService.h"

namespace qnsim {
namespace {

using test::TestXml;
using Clock = std::chrono::steady_clock;

const std::string kEnumeration = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/";
const std::string kEnumerate = kEnumeration + "Enumerate";
const std::string kGet = "http://schemas.xmlsoap.org/ws/2004/09/transfer/Get";

ServiceReply Handle(WsmanService& service, const std::string& envelope, Clock::time_point now = {}) {
    ParsedRequest parsed = ParseWsmanRequest(envelope);
    EXPECT_TRUE(parsed.request) << parsed.problem;
    return parsed.request ? service.Handle(*parsed.request, now) : ServiceReply{};
}

class WsmanServiceTest : public ::testing::Test {
  protected:
    ServiceReply Send(const std::string& envelope, Clock::time_point now = {}) {
        return Handle(service_, envelope, now);
    }
    TestXml Reply(const test::RequestText& request) {
        return TestXml(Send(test::Envelope(request)).envelope);
    }

    // Enumerates and pulls until EndOfSequence; returns every Name seen and counts the requests.
    std::vector<std::string> EnumerateAll(const std::string& wql, unsigned maxElements, unsigned& requests) {
        std::vector<std::string> names;
        std::string envelope = test::EnumerateWql(wql, maxElements);
        for (requests = 1; requests < 100; ++requests) {
            const TestXml xml(Send(envelope).envelope);
            const std::string items =
                requests == 1 ? "(//w:Items/svc:Win32_Service)[" : "(//n:Items/svc:Win32_Service)[";
            for (int i = 1; i <= xml.Count("//*[local-name()='Items']/*"); ++i)
                names.push_back(xml.Text(items + std::to_string(i) + "]/svc:Name"));
            if (xml.Count("//n:EndOfSequence") == 1) break;
            envelope = test::Pull(xml.Text("//n:EnumerationContext"), maxElements);
        }
        return names;
    }

    std::shared_ptr<qntest::CannedComputer> model_ = test::FakeComputer();
    WsmanService service_{model_, ServiceSettings{}};
};

TEST_F(WsmanServiceTest, OptimizedEnumerateSendsFewerItemsThanAskedAndPullsDeliverTheRest) {
    const ServiceReply reply = Send(test::EnumerateWql("select * from Win32_Service", 10));
    ASSERT_EQ(reply.status, 200u);
    const TestXml first(reply.envelope);
    EXPECT_EQ(first.Text("/s:Envelope/s:Header/a:Action"), kEnumerate + "Response");
    EXPECT_EQ(first.Text("/s:Envelope/s:Header/a:RelatesTo"), "uuid:11111111-2222-3333-4444-555555555555");
    EXPECT_EQ(first.Count("//n:EnumerateResponse/w:Items/*"), 1);
    EXPECT_EQ(first.Count("//n:EndOfSequence"), 0);
    const std::string context = first.Text("//n:EnumerationContext");
    EXPECT_EQ(context.rfind("uuid:", 0), 0u);

    const TestXml pull(Send(test::Pull(context, 10)).envelope);
    EXPECT_EQ(pull.Text("/s:Envelope/s:Header/a:Action"), kEnumeration + "PullResponse");
    EXPECT_EQ(pull.Count("//n:PullResponse/n:Items/*"), 4);
    EXPECT_EQ(pull.Count("//n:PullResponse/n:EndOfSequence"), 1);
    // The context is finished: another Pull is refused.
    const TestXml again(Send(test::Pull(context, 10)).envelope);
    EXPECT_EQ(again.Subcode(), "n:InvalidEnumerationContext");
    EXPECT_EQ(again.FaultCode(), "2150858779");

    const std::size_t openBefore = service_.OpenEnumerations();
    unsigned requests = 0;
    EXPECT_EQ(EnumerateAll("select * from Win32_Service", 2, requests),
              (std::vector<std::string>{"svc0", "svc1", "svc2", "svc3", "svc4"}));
    EXPECT_EQ(requests, 3u);                             // 1 in the Enumerate, then Pulls of 2 and 2
    EXPECT_EQ(service_.OpenEnumerations(), openBefore);  // the finished enumeration is gone

    // Nothing to send: the EnumerateResponse ends the sequence.
    const TestXml empty(Send(test::EnumerateWql("select * from Win32_Empty")).envelope);
    EXPECT_EQ(empty.Count("//w:Items/*"), 0);
    EXPECT_EQ(empty.Count("//n:EnumerateResponse/n:EndOfSequence"), 1);
    // A class URI without a filter enumerates the class, not optimized: the items wait for Pulls.
    const TestXml unfiltered =
        Reply({.action = kEnumerate, .resourceUri = test::kServiceUri, .body = "<n:Enumerate/>"});
    EXPECT_EQ(unfiltered.Count("//w:Items"), 0);
    const TestXml pulled(Send(test::Pull(unfiltered.Text("//n:EnumerationContext"), 10)).envelope);
    EXPECT_EQ(pulled.Count("//n:Items/*"), 5);
}

TEST_F(WsmanServiceTest, ContextsExpireAndReleaseForgetsThem) {
    const Clock::time_point start{};
    const TestXml first(Send(test::EnumerateWql("select * from Win32_Service", 1), start).envelope);
    const std::string context = first.Text("//n:EnumerationContext");
    // Within EnumerationTimeoutms the context lives; a Pull renews it.
    EXPECT_EQ(Send(test::Pull(context, 1), start + std::chrono::seconds(200)).status, 200u);
    EXPECT_EQ(Send(test::Pull(context, 1), start + std::chrono::seconds(400)).status, 200u);
    const TestXml expired(Send(test::Pull(context, 1), start + std::chrono::seconds(700)).envelope);
    EXPECT_EQ(expired.Subcode(), "n:InvalidEnumerationContext");

    const TestXml second(Send(test::EnumerateWql("select * from Win32_Service", 1)).envelope);
    const std::string release =
        test::Envelope({.action = kEnumeration + "Release",
                        .body = "<n:Release><n:EnumerationContext>" + second.Text("//n:EnumerationContext") +
                                "</n:EnumerationContext></n:Release>"});
    const ServiceReply released = Send(release);
    EXPECT_EQ(released.status, 200u);
    EXPECT_EQ(TestXml(released.envelope).Text("/s:Envelope/s:Header/a:Action"),
              kEnumeration + "ReleaseResponse");
    EXPECT_EQ(TestXml(Send(release).envelope).Subcode(), "n:InvalidEnumerationContext");
}

TEST_F(WsmanServiceTest, PullWithOtherParametersThanTheEnumerateIsRefused) {
    const TestXml first(Send(test::EnumerateWql("select * from Win32_Service", 2)).envelope);
    const std::string context = first.Text("//n:EnumerationContext");
    EXPECT_EQ(TestXml(Send(test::Pull(context, 3)).envelope).FaultCode(), "2150859181");
    EXPECT_EQ(TestXml(Send(test::Pull(context, 2, 512000)).envelope).FaultCode(), "2150859181");
    EXPECT_EQ(Send(test::Pull(context, 2)).status, 200u);  // the refusals left the enumeration intact
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

TEST_F(WsmanServiceTest, FilterAndResourceUriFaults) {
    struct Case {
        std::string name, resourceUri, body, subcode, code;
    };
    const std::string wql = "<w:Filter Dialect=\"http://schemas.microsoft.com/wbem/wsman/1/WQL\">";
    const std::string services = wql + "select * from Win32_Service</w:Filter>";
    const Case cases[] = {
        {"unknown class", test::kCimv2All, wql + "select * from Win32_Nothing</w:Filter>",
         "n:CannotProcessFilter", "2150858778"},
        {"bad WQL", test::kCimv2All, wql + "selec * frm</w:Filter>", "n:CannotProcessFilter", "2150858778"},
        {"WQL on a class URI", test::kServiceUri, services, "w:InvalidParameter", "2150859003"},
        {"backslashes", "http://schemas.microsoft.com/wbem/wsman/1/wmi\\root\\cimv2\\*", services,
         "w:InvalidResourceURI", "2150858811"},
        {"unknown namespace", "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/nothing/*", services,
         "a:DestinationUnreachable", "2150858752"},
        {"other dialect", test::kCimv2All, "<w:Filter Dialect=\"http://example.com/xpath\">/x</w:Filter>",
         "n:FilterDialectRequestedUnavailable", "2150858777"},
        {"no filter on the all-classes URI", test::kCimv2All, "", "n:CannotProcessFilter", "2150858778"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ServiceReply reply = Send(
            test::Envelope({.action = kEnumerate,
                            .resourceUri = c.resourceUri,
                            .messageId = "uuid:7",
                            .body = "<n:Enumerate><w:OptimizeEnumeration/>" + c.body + "</n:Enumerate>"}));
        EXPECT_EQ(reply.status, 500u);
        const TestXml xml(reply.envelope);
        EXPECT_EQ(xml.Subcode(), c.subcode);
        EXPECT_EQ(xml.FaultCode(), c.code);
        EXPECT_EQ(xml.Text("/s:Envelope/s:Header/a:RelatesTo"), "uuid:7");
    }
    // An unknown class also carries WMI's provider fault with the query.
    const TestXml xml(Send(test::EnumerateWql("select * from Win32_Nothing")).envelope);
    const std::string provider = "//f:WSManFault/f:Message/f:ProviderFault";
    EXPECT_EQ(xml.Text(provider + "/@provider"), "WMI Provider");
    EXPECT_EQ(xml.Text(provider + "/f:WSManFault/f:Message"),
              "The specified class does not exist in the given namespace. ");
    EXPECT_EQ(xml.Text(provider + "/f:ExtendedError/*/*[local-name()='ParameterInfo']"),
              "select * from Win32_Nothing");
}

TEST_F(WsmanServiceTest, GetAndInvoke) {
    const std::string svc3 = "<w:Selector Name=\"Name\">svc3</w:Selector>";
    const ServiceReply got =
        Send(test::Envelope({.action = kGet, .resourceUri = test::kServiceUri, .selectors = svc3}));
    ASSERT_EQ(got.status, 200u);
    const TestXml xml(got.envelope);
    EXPECT_EQ(xml.Text("/s:Envelope/s:Header/a:Action"), kGet + "Response");
    EXPECT_EQ(xml.Text("/s:Envelope/s:Body/svc:Win32_Service/svc:Name"), "svc3");

    const TestXml missing = Reply({.action = kGet,
                                   .resourceUri = test::kServiceUri,
                                   .selectors = "<w:Selector Name=\"Name\">nope</w:Selector>"});
    EXPECT_EQ(missing.Subcode(), "a:DestinationUnreachable");
    EXPECT_EQ(missing.Text("//w:FaultDetail"),
              "http://schemas.dmtf.org/wbem/wsman/1/wsman/faultDetail/InvalidResourceURI");
    EXPECT_EQ(Reply({.action = kGet, .resourceUri = test::kServiceUri}).Subcode(), "w:InvalidSelectors");

    const std::string stop = test::kServiceUri + "/StopService";
    const ServiceReply invoked =
        Send(test::Envelope({.action = stop,
                             .resourceUri = test::kServiceUri,
                             .selectors = "<w:Selector Name=\"Name\">svc1</w:Selector>",
                             .body = "<p:StopService_INPUT xmlns:p=\"" + test::kServiceUri + "\"/>"}));
    ASSERT_EQ(invoked.status, 200u);
    EXPECT_EQ(TestXml(invoked.envelope).Text("/s:Envelope/s:Header/a:Action"), stop + "Response");
    EXPECT_NE(model_->Calls().back().input.find("StopService_INPUT"), std::string::npos);

    const TestXml unknownMethod = Reply({.action = test::kServiceUri + "/Explode",
                                         .resourceUri = test::kServiceUri,
                                         .body = "<p:Explode_INPUT xmlns:p=\"x\"/>"});
    EXPECT_EQ(unknownMethod.Subcode(), "a:ActionNotSupported");
    const TestXml unknownAction =
        Reply({.action = "http://example.com/Frobnicate", .resourceUri = test::kServiceUri});
    EXPECT_EQ(unknownAction.Subcode(), "a:ActionNotSupported");
    EXPECT_EQ(unknownAction.FaultCode(), "2150858771");
}

TEST_F(WsmanServiceTest, DmtfResourceUrisOfTheCimCmdletsAddressTheSameClasses) {
    const std::string dmtfService = "http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/Win32_Service";
    const TestXml got = Reply({.action = kGet,
                               .resourceUri = dmtfService,
                               .selectors = "<w:Selector Name=\"__cimnamespace\">root/cimv2</w:Selector>"
                                            "<w:Selector Name=\"Name\">svc2</w:Selector>"});
    EXPECT_EQ(got.Text("/s:Envelope/s:Body/svc:Win32_Service/svc:Name"), "svc2");
    const TestXml enumerated = Reply(
        {.action = kEnumerate,
         .resourceUri = dmtfService,
         .body = "<n:Enumerate><w:OptimizeEnumeration/><w:MaxElements>10</w:MaxElements></n:Enumerate>"});
    EXPECT_EQ(enumerated.Count("//w:Items/*"), 1);
    const TestXml elsewhere =
        Reply({.action = kEnumerate,
               .resourceUri = "http://schemas.dmtf.org/wbem/wscim/1/*",
               .selectors = "<w:Selector Name=\"__cimnamespace\">root/nothing</w:Selector>",
               .body = "<n:Enumerate><w:Filter>select * from Win32_Service</w:Filter></n:Enumerate>"});
    EXPECT_EQ(elsewhere.Subcode(), "a:DestinationUnreachable");
}

TEST_F(WsmanServiceTest, HeaderFaultsAndTheLanguageOfTheReply) {
    EXPECT_EQ(Reply({.action = kEnumerate, .messageId = ""}).Subcode(), "a:MessageInformationHeaderRequired");

    std::string unknownHeader = test::EnumerateWql("select * from Win32_Service");
    unknownHeader.replace(unknownHeader.find("<w:OperationTimeout>"), 0,
                          "<x:Strange xmlns:x=\"urn:x\" s:mustUnderstand=\"true\">1</x:Strange>");
    const TestXml mustUnderstand(Send(unknownHeader).envelope);
    EXPECT_EQ(mustUnderstand.Text("/s:Envelope/s:Body/s:Fault/s:Code/s:Value"), "s:MustUnderstand");
    EXPECT_EQ(mustUnderstand.FaultCode(), "2150858768");

    // The envelope's language follows the request's locale, for answers and faults alike.
    for (const auto& [wql, language] : {std::pair{"select * from Win32_Service", "zh-CN"},
                                        std::pair{"select * from Win32_Nothing", "de-DE"}}) {
        std::string request = test::EnumerateWql(wql);
        request.replace(request.find("xml:lang=\"en-US\""), 16, std::string("xml:lang=\"") + language + "\"");
        EXPECT_EQ(TestXml(Send(request).envelope).Text("/s:Envelope/@xml:lang"), language);
    }
}

}  // namespace
}  // namespace qnsim
