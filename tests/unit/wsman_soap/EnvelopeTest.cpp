#include <gtest/gtest.h>

#include <regex>

#include "SoapTestSupport.h"
#include "wsman/core/ErrorCodes.h"
#include "wsman/soap/MessageId.h"
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

const xmlNode* BodyChild(xmlDoc* doc, const char* name) {
    return xml::FindChild(BodyOf(doc), ns::kEnumeration, name);
}

TEST(Envelope, WindowsHeaderOrderAndEscapedValues) {
    RequestHeader header = SampleHeader();
    header.selectors = {{"Na\"me<", "a&b <c> \"d\""}};
    const std::string wql = "select * from Win32_Process where Name < 'a&b' and Caption > \"]]>\"";
    const auto doc = xml::ParseUntrusted(BuildEnumerateRequest(header, wql, "urn:d?x=1&y=\"2\"", 20));
    ASSERT_TRUE(doc);
    const xmlNode* head = xml::FindChild(xmlDocGetRootElement(doc.get()), ns::kSoap, "Header");
    EXPECT_EQ(ChildNames(head), (std::vector<std::string>{
                                    "To", "ResourceURI", "ReplyTo", "Action", "MaxEnvelopeSize", "MessageID",
                                    "Locale", "DataLocale", "SessionId", "SelectorSet", "OperationTimeout"}));
    EXPECT_EQ(HeaderText(doc.get(), ns::kMsWsman, "SessionId"), header.sessionId);
    EXPECT_EQ(HeaderText(doc.get(), ns::kWsman, "OperationTimeout"), "PT60.000S");
    xml::CharPtr mustUnderstand(xmlGetNsProp(xml::FindChild(head, ns::kWsman, "ResourceURI"),
                                             xml::XmlChars("mustUnderstand"), xml::XmlChars(ns::kSoap)));
    EXPECT_STREQ(xml::Chars(mustUnderstand.get()), "true");
    const xmlNode* selector =
        xml::FindChild(xml::FindChild(head, ns::kWsman, "SelectorSet"), ns::kWsman, "Selector");
    EXPECT_EQ(xml::AttributeOf(selector, "Name"), "Na\"me<");
    EXPECT_EQ(xml::TextOf(selector), "a&b <c> \"d\"");

    const xmlNode* enumerate = BodyChild(doc.get(), "Enumerate");
    EXPECT_EQ(ChildNames(enumerate),
              (std::vector<std::string>{"OptimizeEnumeration", "MaxElements", "Filter"}));
    const xmlNode* filter = xml::FindChild(enumerate, ns::kWsman, "Filter");
    EXPECT_EQ(xml::TextOf(filter), wql);
    EXPECT_EQ(xml::AttributeOf(filter, "Dialect"), "urn:d?x=1&y=\"2\"");
    const auto unfiltered = xml::ParseUntrusted(BuildEnumerateRequest(header, "", "d", 10));
    EXPECT_EQ(xml::FindChild(BodyChild(unfiltered.get(), "Enumerate"), ns::kWsman, "Filter"), nullptr);
}

TEST(Envelope, InvokeEmbedsInputWithItsNamespacesAndRefusesADtd) {
    const std::string classUri = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service";
    const std::string input =
        "<p:StopService_INPUT xmlns:p=\"" + classUri + "\"><p:X>a &amp; b</p:X></p:StopService_INPUT>";
    std::string text;
    ASSERT_EQ(BuildInvokeRequest(SampleHeader(), input, text), 0);
    const auto doc = xml::ParseUntrusted(text);
    const xmlNode* embedded = xml::FindChild(BodyOf(doc.get()), classUri.c_str(), "StopService_INPUT");
    ASSERT_NE(embedded, nullptr) << text;
    EXPECT_EQ(xml::TextOf(xml::FindChild(embedded, classUri.c_str(), "X")), "a & b");

    EXPECT_EQ(BuildInvokeRequest(SampleHeader(), "<p:Broken xmlns:p=\"u\">", text), errors::kInvalidXml);
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(BuildInvokeRequest(SampleHeader(), "  ", text), errors::kBlankInputXml);
    EXPECT_EQ(BuildInvokeRequest(SampleHeader(), "<!DOCTYPE x [<!ENTITY e \"boom\">]><x>&e;</x>", text),
              errors::kInvalidXml);
}

TEST(Envelope, DurationsIdentifiersAndSelectorsInResourceUris) {
    EXPECT_EQ(FormatDuration(7), "PT0.007S");
    const std::string id = NewUuidUrn();
    EXPECT_TRUE(std::regex_match(
        id, std::regex("uuid:[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")))
        << id;
    EXPECT_NE(id, NewUuidUrn());

    const auto keyed =
        ParseResourceLocator("http://x/wmi/root/WebAdministration/ApplicationPool?Name=My Pool%20x");
    EXPECT_EQ(keyed.resourceUri, "http://x/wmi/root/WebAdministration/ApplicationPool");
    EXPECT_EQ(keyed.selectors, (std::vector<Selector>{{"Name", "My Pool%20x"}}));  // taken literally
    EXPECT_EQ(ParseResourceLocator("u?Drive=C:&Path=a=b&&Flag").selectors,
              (std::vector<Selector>{{"Drive", "C:"}, {"Path", "a=b"}, {"Flag", ""}}));
}

}  // namespace
}  // namespace wsman::soap
