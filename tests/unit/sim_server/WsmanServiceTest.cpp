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

constexpr const char* kEnumerateAction = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/Enumerate";

class WsmanServiceTest : public ::testing::Test {
  protected:
    explicit WsmanServiceTest(int services = 5) : model_(test::FakeComputer(services)) {}

    ServiceReply Send(const std::string& envelope, Clock::time_point now = Clock::time_point{}) {
        ParsedRequest parsed = ParseWsmanRequest(envelope);
        EXPECT_TRUE(parsed.request) << parsed.problem;
        if (!parsed.request) return {};
        return service_.Handle(*parsed.request, now);
    }

    // Pulls until EndOfSequence; returns every Name seen, the Enumerate's included.
    std::vector<std::string> EnumerateAll(const std::string& wql, unsigned maxElements,
                                          unsigned* round_trips) {
        std::vector<std::string> names;
        ServiceReply reply = Send(test::EnumerateWql(wql, maxElements));
        TestXml xml(reply.envelope);
        for (int i = 1; i <= xml.Count("//w:Items/*"); ++i)
            names.push_back(xml.Text("(//w:Items/svc:Win32_Service)[" + std::to_string(i) + "]/svc:Name"));
        std::string context = xml.Text("//n:EnumerationContext");
        bool end = xml.Count("//n:EndOfSequence") == 1;
        *round_trips = 1;
        while (!end && *round_trips < 100) {
            TestXml pull(Send(test::Pull(context, maxElements)).envelope);
            for (int i = 1; i <= pull.Count("//n:Items/*"); ++i)
                names.push_back(
                    pull.Text("(//n:Items/svc:Win32_Service)[" + std::to_string(i) + "]/svc:Name"));
            end = pull.Count("//n:EndOfSequence") == 1;
            ++*round_trips;
        }
        return names;
    }

    std::shared_ptr<qntest::CannedComputer> model_;
    WsmanService service_{model_, ServiceSettings{}};
};

TEST_F(WsmanServiceTest, OptimizedEnumerateSendsFewerItemsThanAskedAndPullsDeliverTheRest) {
    ServiceReply first = Send(test::EnumerateWql("select * from Win32_Service", 32000));
    ASSERT_EQ(first.status, 200u);
    TestXml xml(first.envelope);
    EXPECT_EQ(xml.Text("/s:Envelope/s:Header/a:Action"),
              "http://schemas.xmlsoap.org/ws/2004/09/enumeration/EnumerateResponse");
    EXPECT_EQ(xml.Text("/s:Envelope/s:Header/a:RelatesTo"), "uuid:11111111-2222-3333-4444-555555555555");
    EXPECT_EQ(xml.Count("//n:EnumerateResponse/w:Items/*"), 1);
    EXPECT_EQ(xml.Count("//n:EndOfSequence"), 0);
    EXPECT_EQ(xml.Text("//n:EnumerationContext").rfind("uuid:", 0), 0u);

    const std::size_t openBefore = service_.OpenEnumerations();
    unsigned trips = 0;
    const auto names = EnumerateAll("select * from Win32_Service", 2, &trips);
    EXPECT_EQ(names, (std::vector<std::string>{"svc0", "svc1", "svc2", "svc3", "svc4"}));
    EXPECT_EQ(trips, 3u);                                // 1 in the Enumerate, then Pulls of 2 and 2
    EXPECT_EQ(service_.OpenEnumerations(), openBefore);  // the finished enumeration is gone
}

TEST_F(WsmanServiceTest, PullResponseUsesEnumerationNamespaceItemsAndEndsWithEndOfSequence) {
    TestXml first(Send(test::EnumerateWql("select * from Win32_Service", 10)).envelope);
    ServiceReply pull = Send(test::Pull(first.Text("//n:EnumerationContext"), 10));
    TestXml xml(pull.envelope);
    EXPECT_EQ(xml.Text("/s:Envelope/s:Header/a:Action"),
              "http://schemas.xmlsoap.org/ws/2004/09/enumeration/PullResponse");
    EXPECT_EQ(xml.Count("//n:PullResponse/n:Items/*"), 4);
    EXPECT_EQ(xml.Count("//n:PullResponse/n:EndOfSequence"), 1);
    // The context is finished: another Pull is refused.
    TestXml again(Send(test::Pull(first.Text("//n:EnumerationContext"), 10)).envelope);
    EXPECT_EQ(again.Subcode(), "n:InvalidEnumerationContext");
    EXPECT_EQ(again.FaultCode(), "2150858779");
}

TEST_F(WsmanServiceTest, EmptyResultEndsInTheEnumerateResponse) {
    TestXml xml(Send(test::EnumerateWql("select * from Win32_Empty")).envelope);
    EXPECT_EQ(xml.Count("//w:Items/*"), 0);
    EXPECT_EQ(xml.Count("//n:EnumerateResponse/n:EndOfSequence"), 1);
}

TEST_F(WsmanServiceTest, ContextsExpireAndReleaseForgetsThem) {
    const Clock::time_point start{};
    TestXml first(Send(test::EnumerateWql("select * from Win32_Service", 1), start).envelope);
    const std::string context = first.Text("//n:EnumerationContext");
    // Within EnumerationTimeoutms the context lives; a Pull renews it.
    EXPECT_EQ(Send(test::Pull(context, 1), start + std::chrono::seconds(200)).status, 200u);
    EXPECT_EQ(Send(test::Pull(context, 1), start + std::chrono::seconds(400)).status, 200u);
    TestXml expired(Send(test::Pull(context, 1), start + std::chrono::seconds(700)).envelope);
    EXPECT_EQ(expired.Subcode(), "n:InvalidEnumerationContext");

    TestXml second(Send(test::EnumerateWql("select * from Win32_Service", 1)).envelope);
    const std::string release =
        test::Envelope({"http://schemas.xmlsoap.org/ws/2004/09/enumeration/Release", test::kCimv2All,
                        "uuid:3", 153600, "PT60S", "",
                        "<n:Release><n:EnumerationContext>" + second.Text("//n:EnumerationContext") +
                            "</n:EnumerationContext></n:Release>"});
    ServiceReply released = Send(release);
    EXPECT_EQ(released.status, 200u);
    EXPECT_EQ(TestXml(released.envelope).Text("/s:Envelope/s:Header/a:Action"),
              "http://schemas.xmlsoap.org/ws/2004/09/enumeration/ReleaseResponse");
    EXPECT_EQ(TestXml(Send(release).envelope).Subcode(), "n:InvalidEnumerationContext");
}

TEST_F(WsmanServiceTest, PullWithOtherParametersThanTheEnumerateIsRefused) {
    TestXml first(Send(test::EnumerateWql("select * from Win32_Service", 2)).envelope);
    const std::string context = first.Text("//n:EnumerationContext");
    EXPECT_EQ(TestXml(Send(test::Pull(context, 3)).envelope).FaultCode(), "2150859181");
    EXPECT_EQ(TestXml(Send(test::Pull(context, 2, 512000)).envelope).FaultCode(), "2150859181");
    EXPECT_EQ(Send(test::Pull(context, 2)).status, 200u);  // the refusals left the enumeration intact
}

TEST(WsmanServiceEnvelopeTest, ItemsAreSplitSoEachEnvelopeFitsAndAnItemTooLargeIsAnEncodingLimitFault) {
    ServiceSettings settings;
    settings.maxItemsInEnumerateResponse = 100;
    WsmanService service(test::FakeComputer(5, 3000), settings);
    const auto send = [&](const std::string& envelope) {
        return service.Handle(*ParseWsmanRequest(envelope).request, Clock::time_point{});
    };
    test::RequestText enumerate;
    enumerate.action = kEnumerateAction;
    enumerate.maxEnvelopeSize = 8192;
    enumerate.body =
        "<n:Enumerate><w:OptimizeEnumeration/><w:MaxElements>100</w:MaxElements><w:Filter>select * from "
        "Big_Class"
        "</w:Filter></n:Enumerate>";
    ServiceReply first = send(test::Envelope(enumerate));
    ASSERT_EQ(first.status, 200u);
    EXPECT_LE(first.envelope.size(), 8192u);
    TestXml xml(first.envelope);
    EXPECT_EQ(xml.Count("//w:Items/*"), 2);  // three 3000-byte items do not fit in 8192
    ServiceReply pull = send(test::Pull(xml.Text("//n:EnumerationContext"), 100, 8192));
    EXPECT_LE(pull.envelope.size(), 8192u);
    EXPECT_EQ(TestXml(pull.envelope).Count("//n:Items/*"), 1);

    enumerate.maxEnvelopeSize = 2048;
    ServiceReply tooSmall = send(test::Envelope(enumerate));
    EXPECT_EQ(tooSmall.status, 500u);
    EXPECT_EQ(TestXml(tooSmall.envelope).Subcode(), "w:EncodingLimit");

    enumerate.maxEnvelopeSize = 1024000;
    EXPECT_EQ(TestXml(send(test::Envelope(enumerate)).envelope).FaultCode(), "2150858823");
}

TEST_F(WsmanServiceTest, FilterAndResourceUriFaults) {
    struct Case {
        std::string name, resourceUri, body, subcode, code;
    };
    const std::string wql = "<w:Filter Dialect=\"http://schemas.microsoft.com/wbem/wsman/1/WQL\">";
    const Case cases[] = {
        {"unknown class", test::kCimv2All, wql + "select * from Win32_Nothing</w:Filter>",
         "n:CannotProcessFilter", "2150858778"},
        {"bad WQL", test::kCimv2All, wql + "selec * frm</w:Filter>", "n:CannotProcessFilter", "2150858778"},
        {"WQL on a class URI", test::kServiceUri, wql + "select * from Win32_Service</w:Filter>",
         "w:InvalidParameter", "2150859003"},
        {"backslashes", "http://schemas.microsoft.com/wbem/wsman/1/wmi\\root\\cimv2\\*",
         wql + "select * from Win32_Service</w:Filter>", "w:InvalidResourceURI", "2150858811"},
        {"unknown namespace", "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/nothing/*",
         wql + "select * from Win32_Service</w:Filter>", "a:DestinationUnreachable", "2150858752"},
        {"other dialect", test::kCimv2All, "<w:Filter Dialect=\"http://example.com/xpath\">/x</w:Filter>",
         "n:FilterDialectRequestedUnavailable", "2150858777"},
        {"no filter on the all-classes URI", test::kCimv2All, "", "n:CannotProcessFilter", "2150858778"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ServiceReply reply =
            Send(test::Envelope({kEnumerateAction, c.resourceUri, "uuid:7", 153600, "PT60S", "",
                                 "<n:Enumerate><w:OptimizeEnumeration/>" + c.body + "</n:Enumerate>"}));
        EXPECT_EQ(reply.status, 500u);
        TestXml xml(reply.envelope);
        EXPECT_EQ(xml.Subcode(), c.subcode);
        EXPECT_EQ(xml.FaultCode(), c.code);
        EXPECT_EQ(xml.Text("/s:Envelope/s:Header/a:RelatesTo"), "uuid:7");
    }
}

TEST_F(WsmanServiceTest, UnknownClassFaultCarriesTheWmiProviderFaultWithTheQuery) {
    TestXml xml(Send(test::EnumerateWql("select * from Win32_Nothing")).envelope);
    const std::string provider = "//f:WSManFault/f:Message/f:ProviderFault";
    EXPECT_EQ(xml.Text(provider + "/@provider"), "WMI Provider");
    EXPECT_EQ(xml.Text(provider + "/f:WSManFault/f:Message"),
              "The specified class does not exist in the given namespace. ");
    EXPECT_EQ(xml.Text(provider + "/f:ExtendedError/*/*[local-name()='ParameterInfo']"),
              "select * from Win32_Nothing");
}

TEST_F(WsmanServiceTest, ClassUriWithoutFilterEnumeratesTheClass) {
    ServiceReply reply = Send(test::Envelope(
        {kEnumerateAction, test::kServiceUri, "uuid:8", 153600, "PT60S", "", "<n:Enumerate/>"}));
    ASSERT_EQ(reply.status, 200u);
    TestXml xml(reply.envelope);
    EXPECT_EQ(xml.Count("//w:Items"), 0);  // not optimized: the items wait for Pulls
    ServiceReply pull = Send(test::Pull(xml.Text("//n:EnumerationContext"), 10));
    EXPECT_EQ(TestXml(pull.envelope).Count("//n:Items/*"), 5);
}

TEST_F(WsmanServiceTest, GetAndInvoke) {
    const std::string getAction = "http://schemas.xmlsoap.org/ws/2004/09/transfer/Get";
    ServiceReply got = Send(test::Envelope({getAction, test::kServiceUri, "uuid:9", 153600, "PT60S",
                                            "<w:Selector Name=\"Name\">svc3</w:Selector>", ""}));
    ASSERT_EQ(got.status, 200u);
    TestXml xml(got.envelope);
    EXPECT_EQ(xml.Text("/s:Envelope/s:Header/a:Action"),
              "http://schemas.xmlsoap.org/ws/2004/09/transfer/GetResponse");
    EXPECT_EQ(xml.Text("/s:Envelope/s:Body/svc:Win32_Service/svc:Name"), "svc3");

    TestXml missing(Send(test::Envelope({getAction, test::kServiceUri, "uuid:9", 153600, "PT60S",
                                         "<w:Selector Name=\"Name\">nope</w:Selector>", ""}))
                        .envelope);
    EXPECT_EQ(missing.Subcode(), "a:DestinationUnreachable");
    EXPECT_EQ(missing.Text("//w:FaultDetail"),
              "http://schemas.dmtf.org/wbem/wsman/1/wsman/faultDetail/InvalidResourceURI");
    TestXml badKeys(
        Send(test::Envelope({getAction, test::kServiceUri, "uuid:9", 153600, "PT60S", "", ""})).envelope);
    EXPECT_EQ(badKeys.Subcode(), "w:InvalidSelectors");

    const std::string stop = test::kServiceUri + "/StopService";
    ServiceReply invoked = Send(test::Envelope(
        {stop, test::kServiceUri, "uuid:10", 153600, "PT60S", "<w:Selector Name=\"Name\">svc1</w:Selector>",
         "<p:StopService_INPUT xmlns:p=\"" + test::kServiceUri + "\"/>"}));
    ASSERT_EQ(invoked.status, 200u);
    EXPECT_EQ(TestXml(invoked.envelope).Text("/s:Envelope/s:Header/a:Action"), stop + "Response");
    EXPECT_NE(model_->Calls().back().input.find("StopService_INPUT"), std::string::npos);

    TestXml unknownMethod(Send(test::Envelope({test::kServiceUri + "/Explode", test::kServiceUri, "uuid:11",
                                               153600, "PT60S", "", "<p:Explode_INPUT xmlns:p=\"x\"/>"}))
                              .envelope);
    EXPECT_EQ(unknownMethod.Subcode(), "a:ActionNotSupported");
    TestXml unknownAction(Send(test::Envelope({"http://example.com/Frobnicate", test::kServiceUri, "uuid:12",
                                               153600, "PT60S", "", ""}))
                              .envelope);
    EXPECT_EQ(unknownAction.Subcode(), "a:ActionNotSupported");
    EXPECT_EQ(unknownAction.FaultCode(), "2150858771");
}

TEST_F(WsmanServiceTest, EnvelopeLanguageFollowsTheRequestLocale) {
    std::string request = test::EnumerateWql("select * from Win32_Service");
    request.replace(request.find("xml:lang=\"en-US\""), 16, "xml:lang=\"zh-CN\"");
    EXPECT_EQ(TestXml(Send(request).envelope).Text("/s:Envelope/@xml:lang"), "zh-CN");
    std::string faulting = test::EnumerateWql("select * from Win32_Nothing");
    faulting.replace(faulting.find("xml:lang=\"en-US\""), 16, "xml:lang=\"de-DE\"");
    EXPECT_EQ(TestXml(Send(faulting).envelope).Text("/s:Envelope/@xml:lang"), "de-DE");
}

TEST_F(WsmanServiceTest, DmtfResourceUrisOfTheCimCmdletsAddressTheSameClasses) {
    const std::string dmtfService = "http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/Win32_Service";
    ServiceReply got = Send(test::Envelope({"http://schemas.xmlsoap.org/ws/2004/09/transfer/Get", dmtfService,
                                            "uuid:13", 153600, "PT60S",
                                            "<w:Selector Name=\"__cimnamespace\">root/cimv2</w:Selector>"
                                            "<w:Selector Name=\"Name\">svc2</w:Selector>",
                                            ""}));
    ASSERT_EQ(got.status, 200);
    EXPECT_EQ(TestXml(got.envelope).Text("/s:Envelope/s:Body/svc:Win32_Service/svc:Name"), "svc2");

    ServiceReply enumerated = Send(test::Envelope(
        {kEnumerateAction, dmtfService, "uuid:14", 153600, "PT60S", "",
         "<n:Enumerate><w:OptimizeEnumeration/><w:MaxElements>10</w:MaxElements></n:Enumerate>"}));
    EXPECT_EQ(TestXml(enumerated.envelope).Count("//w:Items/*"), 1);

    TestXml elsewhere(
        Send(test::Envelope({kEnumerateAction, "http://schemas.dmtf.org/wbem/wscim/1/*", "uuid:15", 153600,
                             "PT60S", "<w:Selector Name=\"__cimnamespace\">root/nothing</w:Selector>",
                             "<n:Enumerate><w:Filter>select * from Win32_Service</w:Filter></n:Enumerate>"}))
            .envelope);
    EXPECT_EQ(elsewhere.Subcode(), "a:DestinationUnreachable");
}

TEST_F(WsmanServiceTest, HeaderFaults) {
    test::RequestText noMessageId;
    noMessageId.action = kEnumerateAction;
    noMessageId.messageId = "";
    EXPECT_EQ(TestXml(Send(test::Envelope(noMessageId)).envelope).Subcode(),
              "a:MessageInformationHeaderRequired");

    std::string unknownHeader = test::EnumerateWql("select * from Win32_Service");
    unknownHeader.replace(unknownHeader.find("<w:OperationTimeout>"), 0,
                          "<x:Strange xmlns:x=\"urn:x\" s:mustUnderstand=\"true\">1</x:Strange>");
    TestXml mustUnderstand(Send(unknownHeader).envelope);
    EXPECT_EQ(mustUnderstand.Text("/s:Envelope/s:Body/s:Fault/s:Code/s:Value"), "s:MustUnderstand");
    EXPECT_EQ(mustUnderstand.FaultCode(), "2150858768");
}

}  // namespace
}  // namespace qnsim
