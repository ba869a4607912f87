#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "SoapTestSupport.h"
#include "wsman/soap/ErrorCodes.h"
#include "wsman/soap/MessageId.h"
#include "wsman/soap/Namespaces.h"
#include "wsman/soap/Requests.h"
#include "wsman/soap/ResourceLocator.h"

namespace wsman::soap {
namespace {

using testing::BodyOf;
using testing::HeaderText;

RequestHeader SampleHeader() {
    RequestHeader header;
    header.to = "http://host:5985/wsman";
    header.resourceUri = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*";
    header.action = ns::kActionEnumerate;
    header.messageId = NewUuidUrn();
    header.sessionId = NewUuidUrn();
    return header;
}

std::vector<std::string> ChildNames(const xmlNode* parent) {
    std::vector<std::string> names;
    for (const xmlNode* child = xml::FirstChildElement(parent); child;
         child = xml::NextSiblingElement(child)) {
        names.push_back(xml::Chars(child->name));
    }
    return names;
}

std::string NsProp(const xmlNode* node, const char* name, const char* namespaceUri) {
    xml::CharPtr value(xmlGetNsProp(node, xml::XmlChars(name), xml::XmlChars(namespaceUri)));
    return value ? xml::Chars(value.get()) : "";
}

TEST(Envelope, HeaderCarriesWindowsFieldsInWindowsOrder) {
    RequestHeader header = SampleHeader();
    header.selectors = {{"Name", "Spooler"}};
    const auto doc =
        xml::ParseUntrusted(BuildEnumerateRequest(header, "select * from Win32_Service", "d", 20));
    ASSERT_TRUE(doc);
    const xmlNode* head = xml::FindChild(xmlDocGetRootElement(doc.get()), ns::kSoap, "Header");
    EXPECT_EQ(ChildNames(head), (std::vector<std::string>{
                                    "To", "ResourceURI", "ReplyTo", "Action", "MaxEnvelopeSize", "MessageID",
                                    "Locale", "DataLocale", "SessionId", "SelectorSet", "OperationTimeout"}));
    EXPECT_EQ(HeaderText(doc.get(), ns::kAddressing, "To"), header.to);
    EXPECT_EQ(HeaderText(doc.get(), ns::kWsman, "ResourceURI"), header.resourceUri);
    EXPECT_EQ(HeaderText(doc.get(), ns::kAddressing, "Action"), ns::kActionEnumerate);
    EXPECT_EQ(HeaderText(doc.get(), ns::kWsman, "MaxEnvelopeSize"), "512000");
    EXPECT_EQ(HeaderText(doc.get(), ns::kAddressing, "MessageID"), header.messageId);
    EXPECT_EQ(HeaderText(doc.get(), ns::kMsWsman, "SessionId"), header.sessionId);
    EXPECT_EQ(HeaderText(doc.get(), ns::kWsman, "OperationTimeout"), "PT60.000S");

    EXPECT_EQ(NsProp(xml::FindChild(head, ns::kWsman, "ResourceURI"), "mustUnderstand", ns::kSoap), "true");
    EXPECT_EQ(NsProp(xml::FindChild(head, ns::kAddressing, "Action"), "mustUnderstand", ns::kSoap), "true");
    const xmlNode* locale = xml::FindChild(head, ns::kWsman, "Locale");
    EXPECT_EQ(NsProp(locale, "mustUnderstand", ns::kSoap), "false");
    EXPECT_EQ(xml::Chars(xml::CharPtr(xmlNodeGetLang(locale)).get()), std::string("en-US"));
    EXPECT_EQ(NsProp(xml::FindChild(head, ns::kMsWsman, "DataLocale"), "mustUnderstand", ns::kSoap), "false");
    const xmlNode* replyTo = xml::FindChild(head, ns::kAddressing, "ReplyTo");
    EXPECT_EQ(xml::TextOf(xml::FindChild(replyTo, ns::kAddressing, "Address")), ns::kAnonymousAddress);
    const xmlNode* selector =
        xml::FindChild(xml::FindChild(head, ns::kWsman, "SelectorSet"), ns::kWsman, "Selector");
    EXPECT_EQ(xml::AttributeOf(selector, "Name"), "Name");
    EXPECT_EQ(xml::TextOf(selector), "Spooler");
}

TEST(Envelope, TextAndAttributesAreEscaped) {
    RequestHeader header = SampleHeader();
    header.selectors = {{"Na\"me<", "a&b <c> \"d\""}};
    const std::string wql = "select * from Win32_Process where Name < 'a&b' and Caption > \"]]>\"";
    const std::string text = BuildEnumerateRequest(header, wql, "urn:dialect?x=1&y=\"2\"", 5);
    const auto doc = xml::ParseUntrusted(text);
    ASSERT_TRUE(doc) << text;
    const xmlNode* filter = xml::FindChild(xml::FindChild(BodyOf(doc.get()), ns::kEnumeration, "Enumerate"),
                                           ns::kWsman, "Filter");
    EXPECT_EQ(xml::TextOf(filter), wql);
    EXPECT_EQ(xml::AttributeOf(filter, "Dialect"), "urn:dialect?x=1&y=\"2\"");
    const xmlNode* head = xml::FindChild(xmlDocGetRootElement(doc.get()), ns::kSoap, "Header");
    const xmlNode* selector =
        xml::FindChild(xml::FindChild(head, ns::kWsman, "SelectorSet"), ns::kWsman, "Selector");
    EXPECT_EQ(xml::AttributeOf(selector, "Name"), "Na\"me<");
    EXPECT_EQ(xml::TextOf(selector), "a&b <c> \"d\"");
}

TEST(Envelope, EnumeratePullAndReleaseBodies) {
    const RequestHeader header = SampleHeader();
    const auto enumerate =
        xml::ParseUntrusted(BuildEnumerateRequest(header, "select * from X", "dialect", 32000));
    const xmlNode* enumerateNode = xml::FindChild(BodyOf(enumerate.get()), ns::kEnumeration, "Enumerate");
    EXPECT_EQ(ChildNames(enumerateNode),
              (std::vector<std::string>{"OptimizeEnumeration", "MaxElements", "Filter"}));
    EXPECT_NE(xml::FindChild(enumerateNode, ns::kWsman, "OptimizeEnumeration"), nullptr);
    EXPECT_EQ(xml::TextOf(xml::FindChild(enumerateNode, ns::kWsman, "MaxElements")), "32000");

    // Windows faults a Pull whose MaxElements or MaxEnvelopeSize differ from the Enumerate's.
    const auto pull = xml::ParseUntrusted(BuildPullRequest(header, "uuid:CTX", 32000));
    const xmlNode* pullNode = xml::FindChild(BodyOf(pull.get()), ns::kEnumeration, "Pull");
    EXPECT_EQ(xml::TextOf(xml::FindChild(pullNode, ns::kEnumeration, "EnumerationContext")), "uuid:CTX");
    EXPECT_EQ(xml::TextOf(xml::FindChild(pullNode, ns::kEnumeration, "MaxElements")), "32000");
    EXPECT_EQ(HeaderText(pull.get(), ns::kWsman, "MaxEnvelopeSize"), "512000");

    const auto release = xml::ParseUntrusted(BuildReleaseRequest(header, "uuid:CTX"));
    const xmlNode* releaseNode = xml::FindChild(BodyOf(release.get()), ns::kEnumeration, "Release");
    EXPECT_EQ(xml::TextOf(xml::FindChild(releaseNode, ns::kEnumeration, "EnumerationContext")), "uuid:CTX");

    const auto unfiltered = xml::ParseUntrusted(BuildEnumerateRequest(header, "", "dialect", 10));
    EXPECT_EQ(xml::FindChild(xml::FindChild(BodyOf(unfiltered.get()), ns::kEnumeration, "Enumerate"),
                             ns::kWsman, "Filter"),
              nullptr);
}

TEST(Envelope, InvokeEmbedsInputWithItsNamespaces) {
    RequestHeader header = SampleHeader();
    const std::string classUri = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service";
    const std::string input =
        "<p:StopService_INPUT xmlns:p=\"" + classUri + "\"><p:X>a &amp; b</p:X></p:StopService_INPUT>";
    std::string text;
    ASSERT_EQ(BuildInvokeRequest(header, input, text), 0);
    const auto doc = xml::ParseUntrusted(text);
    const xmlNode* embedded = xml::FindChild(BodyOf(doc.get()), classUri.c_str(), "StopService_INPUT");
    ASSERT_NE(embedded, nullptr) << text;
    EXPECT_EQ(xml::TextOf(xml::FindChild(embedded, classUri.c_str(), "X")), "a & b");

    EXPECT_EQ(BuildInvokeRequest(header, "<p:Broken xmlns:p=\"u\">", text), errors::kInvalidXml);
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(BuildInvokeRequest(header, "  ", text), errors::kBlankInputXml);
    EXPECT_EQ(BuildInvokeRequest(header, "<!DOCTYPE x [<!ENTITY e \"boom\">]><x>&e;</x>", text),
              errors::kInvalidXml);
}

TEST(Envelope, DurationsAndIdentifiers) {
    EXPECT_EQ(FormatDuration(60000), "PT60.000S");
    EXPECT_EQ(FormatDuration(1500), "PT1.500S");
    EXPECT_EQ(FormatDuration(7), "PT0.007S");

    const std::regex shape("uuid:[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 50; ++i) {
        const std::string id = NewUuidUrn();
        EXPECT_TRUE(std::regex_match(id, shape)) << id;
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 50u);
}

TEST(ResourceLocator, SplitsSelectorsLiterally) {
    const auto plain = ParseResourceLocator("http://x/wmi/root/cimv2/StdRegProv");
    EXPECT_EQ(plain.resourceUri, "http://x/wmi/root/cimv2/StdRegProv");
    EXPECT_TRUE(plain.selectors.empty());

    const auto keyed =
        ParseResourceLocator("http://x/wmi/root/WebAdministration/ApplicationPool?Name=My Pool%20x");
    EXPECT_EQ(keyed.resourceUri, "http://x/wmi/root/WebAdministration/ApplicationPool");
    EXPECT_EQ(keyed.selectors, (std::vector<Selector>{{"Name", "My Pool%20x"}}));

    const auto several = ParseResourceLocator("u?Drive=C:&Path=a=b&&Flag");
    EXPECT_EQ(several.selectors, (std::vector<Selector>{{"Drive", "C:"}, {"Path", "a=b"}, {"Flag", ""}}));
}

}  // namespace
}  // namespace wsman::soap
