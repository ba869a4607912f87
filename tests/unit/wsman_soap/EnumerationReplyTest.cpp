#include <gtest/gtest.h>

#include "SoapTestSupport.h"
#include "TestFiles.h"
#include "wsman/soap/EnumerationReply.h"
#include "wsman/soap/ErrorCodes.h"
#include "wsman/soap/InvokeReply.h"

namespace wsman::soap {
namespace {

const std::string kWmi = "http://schemas.microsoft.com/wbem/wsman/1/wmi/";

xml::DocPtr ParseFixture(const char* name) {
    const std::string text = qntest::ReadFixture(name);
    return text.empty() ? nullptr : xml::ParseUntrusted(text);
}

EnumerationBatch ReadBatch(xmlDoc* doc, HResult expected = 0) {
    EnumerationBatch batch;
    EXPECT_EQ(ReadEnumerationBatch(testing::BodyOf(doc), batch), expected);
    return batch;
}

// Each item must parse alone: its xsi:type QName resolves to the class namespace, and reference properties
// keep the namespaces of their addressing blocks.
TEST(EnumerationReply, CapturedAssociationYieldsStandaloneItems) {
    const auto doc = ParseFixture(
        "enumerate_response_association_class_Msvm_SettingsDefineCapabilities_EPR_properties.xml");
    if (!doc) GTEST_SKIP() << "fixtures not found under " << QN_FIXTURES_DIR;
    const EnumerationBatch batch = ReadBatch(doc.get());
    EXPECT_TRUE(batch.endOfSequence);
    EXPECT_EQ(batch.context.rfind("uuid:", 0), 0u);
    ASSERT_EQ(batch.items.size(), 1u);
    EXPECT_EQ(batch.items[0].find("xmlns:s="), std::string::npos) << "the envelope's namespaces stay behind";
    const auto item = xml::ParseUntrusted(batch.items[0]);
    ASSERT_TRUE(item) << batch.items[0];
    xmlNode* root = xmlDocGetRootElement(item.get());
    const std::string classUri = kWmi + "root/virtualization/Msvm_SettingsDefineCapabilities";
    EXPECT_TRUE(xml::IsElement(root, classUri.c_str(), "Msvm_SettingsDefineCapabilities"));
    xml::CharPtr type(xmlGetNsProp(root, xml::XmlChars("type"),
                                   xml::XmlChars("http://www.w3.org/2001/XMLSchema-instance")));
    ASSERT_TRUE(type);
    const std::string qname = xml::Chars(type.get());
    const xmlNs* typeNs =
        xmlSearchNs(item.get(), root, xml::XmlChars(qname.substr(0, qname.find(':')).c_str()));
    ASSERT_NE(typeNs, nullptr);
    EXPECT_EQ(xml::Chars(typeNs->href), classUri);
    const xmlNode* group = xml::FindChild(root, classUri.c_str(), "GroupComponent");
    EXPECT_EQ(xml::TextOf(xml::FindChild(xml::FindChild(group, ns::kAddressing, "ReferenceParameters"),
                                         ns::kWsman, "ResourceURI")),
              kWmi + "root/virtualization/Msvm_AllocationCapabilities");
}

// Windows' replies use w:Items and n:EndOfSequence (the fixture above); other servers the other namespaces.
// An item using a prefix declared only on the envelope declares it itself, and its text stays UTF-8.
TEST(EnumerationReply, AcceptsTheOtherNamespacesAndNoItems) {
    const std::string instance = "<p:C xmlns:p=\"urn:c\"><p:V>Dienst \xC3\xA4\xE2\x82\xAC</p:V><w:X/></p:C>";
    const auto both = xml::ParseUntrusted(
        testing::ReplyTo("", "r",
                         "<n:PullResponse><n:EnumerationContext>uuid:1</n:EnumerationContext><n:Items>" +
                             instance + instance + "</n:Items><w:EndOfSequence/></n:PullResponse>"));
    EnumerationBatch batch = ReadBatch(both.get());
    ASSERT_EQ(batch.items.size(), 2u);
    EXPECT_TRUE(batch.endOfSequence);
    EXPECT_NE(batch.items[0].find("Dienst \xC3\xA4\xE2\x82\xAC"), std::string::npos) << batch.items[0];
    const auto standalone = xml::ParseUntrusted(batch.items[0]);
    ASSERT_TRUE(standalone) << batch.items[0];
    EXPECT_NE(xml::FindChild(xmlDocGetRootElement(standalone.get()), ns::kWsman, "X"), nullptr);

    const auto none = xml::ParseUntrusted(testing::ReplyTo(
        "", "r", "<n:PullResponse><n:EnumerationContext>uuid:1</n:EnumerationContext></n:PullResponse>"));
    batch = ReadBatch(none.get());
    EXPECT_TRUE(batch.items.empty());
    EXPECT_FALSE(batch.endOfSequence);
    for (const char* bad : {"<n:PullResponse><n:Items/></n:PullResponse>", "<n:SomethingElse/>"}) {
        ReadBatch(xml::ParseUntrusted(testing::ReplyTo("", "r", bad)).get(), errors::kInvalidSoapBody);
    }
}

TEST(InvokeReply, StdRegProvOutputComesBackWhole) {
    const auto doc = ParseFixture("invoke_StdRegProv_EnumKey_OUTPUT_response.xml");
    if (!doc) GTEST_SKIP() << "fixtures not found under " << QN_FIXTURES_DIR;
    std::string output;
    ASSERT_EQ(ReadInvokeOutput(testing::BodyOf(doc.get()), output), 0);
    const auto parsed = xml::ParseUntrusted(output);
    ASSERT_TRUE(parsed) << output;
    const std::string classUri = kWmi + "root/default/StdRegProv";
    const xmlNode* root = xmlDocGetRootElement(parsed.get());
    EXPECT_TRUE(xml::IsElement(root, classUri.c_str(), "EnumKey_OUTPUT"));
    EXPECT_NE(xml::FindChild(root, classUri.c_str(), "sNames"), nullptr);
    EXPECT_EQ(xml::TextOf(xml::FindChild(root, classUri.c_str(), "ReturnValue")), "0");

    const auto empty = xml::ParseUntrusted(testing::ReplyTo("", "r", ""));
    EXPECT_EQ(ReadInvokeOutput(testing::BodyOf(empty.get()), output), errors::kInvalidSoapBody);
}

}  // namespace
}  // namespace wsman::soap
