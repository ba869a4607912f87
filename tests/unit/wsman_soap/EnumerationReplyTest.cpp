#include <gtest/gtest.h>

#include "SoapTestSupport.h"
#include "TestFiles.h"
#include "wsman/soap/EnumerationReply.h"
#include "wsman/soap/ErrorCodes.h"
#include "wsman/soap/InvokeReply.h"
#include "wsman/soap/Namespaces.h"

namespace wsman::soap {
namespace {

constexpr const char* kWmiPrefix = "http://schemas.microsoft.com/wbem/wsman/1/wmi/";
constexpr const char* kXsi = "http://www.w3.org/2001/XMLSchema-instance";

xml::DocPtr ParseFixture(const char* name) {
    const std::string text = qntest::ReadFixture(name);
    return text.empty() ? nullptr : xml::ParseUntrusted(text);
}

// The item must parse alone, and its xsi:type QName must resolve to the class namespace.
void ExpectStandaloneInstance(const std::string& item, const std::string& classUri, const char* className) {
    const auto doc = xml::ParseUntrusted(item);
    ASSERT_TRUE(doc) << item;
    const xmlNode* root = xmlDocGetRootElement(doc.get());
    EXPECT_TRUE(xml::IsElement(root, classUri.c_str(), className)) << item;
    xml::CharPtr type(xmlGetNsProp(root, xml::XmlChars("type"), xml::XmlChars(kXsi)));
    ASSERT_TRUE(type) << item;
    const std::string qname = xml::Chars(type.get());
    const std::string prefix = qname.substr(0, qname.find(':'));
    const xmlNs* ns = xmlSearchNs(doc.get(), const_cast<xmlNode*>(root), xml::XmlChars(prefix.c_str()));
    ASSERT_NE(ns, nullptr);
    EXPECT_EQ(xml::Chars(ns->href), classUri);
}

TEST(EnumerationReply, CapturedResponsesYieldStandaloneItems) {
    const struct {
        const char* fixture;
        const char* classPath;
        const char* className;
        const char* context;
    } cases[] = {
        {"enumerate_response_association_class_Msvm_SettingsDefineCapabilities_EPR_properties.xml",
         "root/virtualization/Msvm_SettingsDefineCapabilities", "Msvm_SettingsDefineCapabilities",
         "uuid:40DF132C-91C8-4A4C-B99B-E8012432DA5D"},
        {"enumerate_response_Win32_Process_trimmed_cim_Datetime_Interval_array.xml",
         "root/cimv2/Win32_Process", "Win32_Process", "uuid:CD02E6BD-C6F3-47F5-9AF5-6DCBE89A448E"},
        {"pull_response_Win32_Process_trimmed_EndOfSequence.xml", "root/cimv2/Win32_Process", "Win32_Process",
         "uuid:CD02E6BF-C6F3-47F5-9AF5-6DCBE89A448E"},
    };
    int references = 0;
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.fixture);
        const auto doc = ParseFixture(entry.fixture);
        if (!doc) GTEST_SKIP() << "fixtures not found under " << QN_FIXTURES_DIR;
        EnumerationBatch batch;
        ASSERT_EQ(ReadEnumerationBatch(testing::BodyOf(doc.get()), batch), 0);
        EXPECT_TRUE(batch.endOfSequence);
        EXPECT_EQ(batch.context, entry.context);
        ASSERT_EQ(batch.items.size(), 1u);
        ExpectStandaloneInstance(batch.items[0], std::string(kWmiPrefix) + entry.classPath, entry.className);
        EXPECT_EQ(batch.items[0].find("xmlns:s="), std::string::npos)
            << "the envelope's namespaces stay behind";
        // Reference properties keep the namespaces of their addressing blocks.
        const auto item = xml::ParseUntrusted(batch.items[0]);
        const xmlNode* group =
            xml::FindChild(xmlDocGetRootElement(item.get()),
                           (std::string(kWmiPrefix) + entry.classPath).c_str(), "GroupComponent");
        if (group == nullptr) continue;
        EXPECT_EQ(xml::TextOf(xml::FindChild(xml::FindChild(group, ns::kAddressing, "ReferenceParameters"),
                                             ns::kWsman, "ResourceURI")),
                  std::string(kWmiPrefix) + "root/virtualization/Msvm_AllocationCapabilities");
        ++references;
    }
    EXPECT_EQ(references, 1);
}

std::string Response(const std::string& inner) {
    return testing::ReplyTo("", "r", inner);
}

TEST(EnumerationReply, AcceptsBothNamespacesForItemsAndEnd) {
    const std::string instance = "<p:C xmlns:p=\"urn:c\"><p:V>1</p:V></p:C>";
    const struct {
        std::string body;
        std::size_t items;
        bool end;
    } cases[] = {
        {"<n:PullResponse><n:EnumerationContext>uuid:1</n:EnumerationContext><n:Items>" + instance +
             instance + "</n:Items><w:EndOfSequence/></n:PullResponse>",
         2, true},
        {"<n:EnumerateResponse><n:EnumerationContext>uuid:1</n:EnumerationContext><w:Items>" + instance +
             "</w:Items></n:EnumerateResponse>",
         1, false},
        {"<n:PullResponse><n:EnumerationContext>uuid:1</n:EnumerationContext></n:PullResponse>", 0, false},
        {"<n:EnumerateResponse><n:EnumerationContext/><n:EndOfSequence/></n:EnumerateResponse>", 0, true},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.body);
        const auto doc = xml::ParseUntrusted(Response(entry.body));
        EnumerationBatch batch;
        ASSERT_EQ(ReadEnumerationBatch(testing::BodyOf(doc.get()), batch), 0);
        EXPECT_EQ(batch.items.size(), entry.items);
        EXPECT_EQ(batch.endOfSequence, entry.end);
    }

    const auto noContext = xml::ParseUntrusted(Response("<n:PullResponse><n:Items/></n:PullResponse>"));
    EnumerationBatch batch;
    EXPECT_EQ(ReadEnumerationBatch(testing::BodyOf(noContext.get()), batch), errors::kInvalidSoapBody);
    const auto wrong = xml::ParseUntrusted(Response("<n:SomethingElse/>"));
    EXPECT_EQ(ReadEnumerationBatch(testing::BodyOf(wrong.get()), batch), errors::kInvalidSoapBody);
}

TEST(EnumerationReply, FragmentsCarryNamespacesDeclaredAboveThemAndStayUtf8) {
    // The q prefix is declared only on the envelope; the item must declare it itself.
    const std::string reply =
        "<s:Envelope xmlns:s=\"" + std::string(ns::kSoap) + "\" xmlns:n=\"" + ns::kEnumeration +
        "\" xmlns:w=\"" + ns::kWsman +
        "\" xmlns:q=\"urn:q\"><s:Body><n:PullResponse><n:EnumerationContext>c</n:EnumerationContext>"
        "<w:Items><w:XmlFragment><Name>Dienst \xC3\xA4\xE2\x82\xAC</Name><q:Extra "
        "q:attr=\"1\"/></w:XmlFragment>"
        "</w:Items><n:EndOfSequence/></n:PullResponse></s:Body></s:Envelope>";
    const auto doc = xml::ParseUntrusted(reply);
    EnumerationBatch batch;
    ASSERT_EQ(ReadEnumerationBatch(testing::BodyOf(doc.get()), batch), 0);
    ASSERT_EQ(batch.items.size(), 1u);
    const std::string& item = batch.items[0];
    EXPECT_NE(item.find("Dienst \xC3\xA4\xE2\x82\xAC"), std::string::npos) << item;
    const auto standalone = xml::ParseUntrusted(item);
    ASSERT_TRUE(standalone) << item;
    const xmlNode* fragment = xmlDocGetRootElement(standalone.get());
    EXPECT_TRUE(xml::IsElement(fragment, ns::kWsman, "XmlFragment"));
    EXPECT_NE(xml::FindChild(fragment, "urn:q", "Extra"), nullptr) << item;
}

TEST(InvokeReply, StdRegProvOutputComesBackWhole) {
    const auto doc = ParseFixture("invoke_StdRegProv_EnumKey_OUTPUT_response.xml");
    if (!doc) GTEST_SKIP() << "fixtures not found under " << QN_FIXTURES_DIR;
    std::string output;
    ASSERT_EQ(ReadInvokeOutput(testing::BodyOf(doc.get()), output), 0);
    const auto parsed = xml::ParseUntrusted(output);
    ASSERT_TRUE(parsed) << output;
    const std::string classUri = std::string(kWmiPrefix) + "root/default/StdRegProv";
    const xmlNode* root = xmlDocGetRootElement(parsed.get());
    EXPECT_TRUE(xml::IsElement(root, classUri.c_str(), "EnumKey_OUTPUT"));
    int names = 0;
    for (const xmlNode* child = xml::FirstChildElement(root); child; child = xml::NextSiblingElement(child)) {
        if (xml::IsElement(child, classUri.c_str(), "sNames")) ++names;
    }
    EXPECT_GT(names, 20);
    EXPECT_EQ(xml::TextOf(xml::FindChild(root, classUri.c_str(), "ReturnValue")), "0");

    const auto empty = xml::ParseUntrusted(Response(""));
    EXPECT_EQ(ReadInvokeOutput(testing::BodyOf(empty.get()), output), errors::kInvalidSoapBody);
}

}  // namespace
}  // namespace wsman::soap
