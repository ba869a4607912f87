// Replies as Windows and other servers send them: faults and their codes, the relation to the request and
// enumeration batches, from captured replies where there are some. (Captured items and invoke output down to
// their records: parsing/InstanceRecordWriterTest.)
#include <gtest/gtest.h>

#include "SoapTestSupport.h"
#include "TestFiles.h"
#include "wsman/core/AttributeBound.h"
#include "wsman/core/ErrorCodes.h"
#include "wsman/core/ItemArena.h"
#include "wsman/core/ItemTree.h"
#include "wsman/soap/Fault.h"
#include "wsman/soap/InvokeReply.h"
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
        EXPECT_EQ(CheckReply({500, "application/soap+xml", text}, relatesTo.empty() ? "uuid:X" : relatesTo,
                             ns::kActionPull, reply),
                  parsed->code);
        EXPECT_EQ(reply.faultMessage, parsed->message);
    }
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
        const auto doc = xml::ParseUntrusted(
            testing::ReplyTo("", "fault", testing::FaultWithSubcode(entry.subcode, entry.detail)));
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
    const std::string enumerated = std::string(ns::kActionEnumerate) + "Response";
    const std::string pulled = std::string(ns::kActionPull) + "Response";
    const std::string end = "<n:EnumerateResponse><w:EndOfSequence/></n:EnumerateResponse>";
    const auto answer = [&](const std::string& action, const std::string& body, int status = 200) {
        return Exchange{status, "", testing::ReplyTo(request, action, body)};
    };
    CheckedReply reply;
    EXPECT_EQ(CheckReply(answer(enumerated, end), "uuid:abc", ns::kActionEnumerate, reply), 0)
        << "identifiers compare without case";
    EXPECT_TRUE(reply.batch.endOfSequence);

    std::string flood = "<n:EnumerateResponse><w:Items><p:I";
    for (std::size_t i = 0; i <= xml::kMaxAttributesPerElement; ++i)
        flood += " a" + std::to_string(i) + "=''";
    flood += "/></w:Items></n:EnumerateResponse>";
    // A '>' inside a quoted value does not end the tag the bound counts in.
    std::string quotedFlood = flood;
    quotedFlood.insert(quotedFlood.find("<p:I") + 4, " q='>'");
    // A '<' in a quoted value ends that tag; the parser reads on from it, so a flood behind it counts. In a
    // comment the same text is no tag at all.
    std::string hiddenFlood = flood;
    hiddenFlood.insert(hiddenFlood.find("<p:I"), "<p:H q='");
    EXPECT_FALSE(xml::AttributesWithinBound(hiddenFlood));
    EXPECT_TRUE(xml::AttributesWithinBound("<r><!--" + flood + "--></r>"));

    const std::string withDtd =
        "<!DOCTYPE s:Envelope [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>" +
        testing::ReplyTo(request, "r", "<n:EnumerateResponse>&x;</n:EnumerateResponse>");
    const struct {
        Exchange exchange;
        const char* messageId;
        HResult code;
        const char* action = ns::kActionEnumerate;
    } cases[] = {
        {answer(enumerated, end), "uuid:OTHER", errors::kInvalidHeader},
        {{200, "", testing::ReplyTo("", "r", "<n:EnumerateResponse/>")}, "uuid:ABC", errors::kInvalidHeader},
        {answer("f", testing::FaultWithSubcode("w:TimedOut"), 500), "uuid:OTHER", errors::kInvalidHeader},
        {{500, "text/html", ""}, "uuid:ABC", errors::kHttpServerError},
        {answer(enumerated, end, 500), "uuid:ABC", errors::kHttpServerError},
        {{200, "", "<s:Envelope"}, "uuid:ABC", errors::kInvalidXml},
        {{200, "", "<html/>"}, "uuid:ABC", errors::kInvalidSoapBody},
        {{200, "", withDtd}, "uuid:ABC", errors::kInvalidXml},
        {answer(enumerated, flood), "uuid:ABC", errors::kInvalidXml},
        {answer(enumerated, quotedFlood), "uuid:ABC", errors::kInvalidXml},
        // Matched by RelatesTo but not by Action: another request's reply claiming the end, either way.
        {answer(pulled, end), "uuid:ABC", errors::kInvalidHeader},
        {answer(enumerated, end), "uuid:ABC", errors::kInvalidHeader, ns::kActionPull},
        // The right action with the wrong response element.
        {answer(pulled, end), "uuid:ABC", errors::kInvalidSoapBody, ns::kActionPull},
        // An item under an undeclared prefix would be read under the wrong name.
        {answer(enumerated, "<n:EnumerateResponse><p:Item/></n:EnumerateResponse>"), "uuid:ABC",
         errors::kInvalidXml},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(CheckReply(entry.exchange, entry.messageId, entry.action, reply), entry.code)
            << entry.exchange.body.substr(0, 400);
        EXPECT_TRUE(reply.batch.items.empty());
    }
    // An Invoke answered with an empty body.
    const auto empty = xml::ParseUntrusted(testing::ReplyTo("", "r", ""));
    std::string output;
    EXPECT_EQ(ReadInvokeOutput(testing::BodyOf(empty.get()), output), errors::kInvalidSoapBody);
}

// The batch of a reply to a Pull (or, for a captured reply, to the request it names).
// Every item also carries the tree read in the same pass, and it is the tree its text alone reads into.
EnumerationBatch ReadBatch(const std::string& reply, HResult expected = 0) {
    const auto doc = xml::ParseUntrusted(reply);
    const std::string action = testing::HeaderText(doc.get(), ns::kAddressing, "Action");
    CheckedReply checked;
    EXPECT_EQ(CheckReply({200, "", reply}, testing::HeaderText(doc.get(), ns::kAddressing, "RelatesTo"),
                         action.substr(0, action.size() - std::string_view("Response").size()), checked),
              expected);
    for (const EnumeratedItem& item : checked.batch.items) {
        xml::ItemTreeParser parser;
        xml::ItemArena arena;
        const xml::ItemTree* alone = parser.Parse(item.Text(), arena);
        EXPECT_TRUE(alone != nullptr && item.Tree() != nullptr && item.Tree()->SameAs(*alone)) << item.Text();
    }
    return checked.batch;
}

std::string PullReply(const std::string& body) {
    return testing::ReplyTo("<s:Envelope xmlns:s=\"" + std::string(ns::kSoap) + "\" xmlns:a=\"" +
                                ns::kAddressing +
                                "\"><s:Header><a:MessageID>uuid:P</a:MessageID></s:Header></s:Envelope>",
                            std::string(ns::kActionPull) + "Response", body);
}

// Windows' replies use w:Items and n:EndOfSequence (the capture below); other servers the other namespaces.
// An item using a prefix declared only on the envelope declares it itself, and its text stays UTF-8.
TEST(EnumerationReply, AcceptsTheOtherNamespacesAndNoItems) {
    const std::string instance = "<p:C xmlns:p=\"urn:c\"><p:V>Dienst \xC3\xA4\xE2\x82\xAC</p:V><w:X/></p:C>";
    EnumerationBatch batch =
        ReadBatch(PullReply("<n:PullResponse><n:EnumerationContext>uuid:1</n:EnumerationContext><n:Items>" +
                            instance + instance + "</n:Items><w:EndOfSequence/></n:PullResponse>"));
    ASSERT_EQ(batch.items.size(), 2u);
    EXPECT_TRUE(batch.endOfSequence);
    // ReadBatch shows that the text reads alone, w:X included, into the tree of the pass.
    EXPECT_NE(batch.items[0].Text().find("Dienst \xC3\xA4\xE2\x82\xAC"), std::string::npos)
        << batch.items[0].Text();

    batch = ReadBatch(
        PullReply("<n:PullResponse><n:EnumerationContext>uuid:1</n:EnumerationContext></n:PullResponse>"));
    EXPECT_TRUE(batch.items.empty());
    EXPECT_FALSE(batch.endOfSequence);
    for (const char* bad : {"<n:PullResponse><n:Items/></n:PullResponse>", "<n:SomethingElse/>"}) {
        ReadBatch(PullReply(bad), errors::kInvalidSoapBody);
    }

    // A captured association: the tree of its reference properties is the one of the item's text alone.
    // (Its record, and every captured item's: parsing/InstanceRecordWriterTest.)
    const std::string text = qntest::ReadFixture(
        "enumerate_response_association_class_Msvm_SettingsDefineCapabilities_EPR_properties.xml");
    if (text.empty()) GTEST_SKIP() << "fixtures not found under " << QN_FIXTURES_DIR;
    batch = ReadBatch(text);
    EXPECT_TRUE(batch.endOfSequence);
    EXPECT_EQ(batch.context.rfind("uuid:", 0), 0u);
    EXPECT_EQ(batch.items.size(), 1u);
}

// An item is handed on as the reply's own bytes: references stay as sent, and only the declarations of the
// prefixes it uses (xsi:type values included) and of the default namespace come along from the envelope.
TEST(EnumerationReply, ItemsKeepTheirBytesAndTakeOnlyTheNamespacesTheyUse) {
    const EnumerationBatch batch = ReadBatch(
        PullReply("<n:PullResponse xmlns:p=\"urn:p\" xmlns:q=\"urn:q\" "
                  "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><n:EnumerationContext>uuid:1"
                  "</n:EnumerationContext><n:Items><p:X xsi:type='q:T'><p:V>a&#xD;&amp;b</p:V></p:X>"
                  "<Y xmlns=\"urn:y\"><Z/></Y></n:Items></n:PullResponse>"));
    ASSERT_EQ(batch.items.size(), 2u);
    EXPECT_EQ(batch.items[0].Text(),
              "<p:X xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:q=\"urn:q\" "
              "xmlns:p=\"urn:p\" xsi:type='q:T'><p:V>a&#xD;&amp;b</p:V></p:X>");
    EXPECT_EQ(batch.items[1].Text(), "<Y xmlns=\"urn:y\"><Z/></Y>");

    // Texts split by comments and instructions, CDATA, references in texts and attribute values, blanks,
    // xml:space and a redeclared prefix: the tree of the pass equals the text's (checked in ReadBatch).
    ReadBatch(PullReply(
        "<n:PullResponse xmlns:p=\"urn:p\"><n:EnumerationContext>uuid:1</n:EnumerationContext><n:Items>"
        "<p:X a=\"1&amp;&#9;2\" xml:space=\"preserve\"> <p:V>a<!--c-->b<?pi x?>c<![CDATA[<d>]]>&lt;e</p:V>"
        "\r\n<q:W xmlns:q=\"urn:q\" xmlns:p=\"urn:other\"><p:V q:b='&quot;'/></q:W></p:X>"
        "</n:Items></n:PullResponse>"));

    // An item larger than a block of the reply's arena, between small ones, keeps its tree and text.
    const std::string big(100000, 'v');
    const EnumerationBatch large = ReadBatch(
        PullReply("<n:PullResponse><n:EnumerationContext>uuid:1</n:EnumerationContext><n:Items><A/><B>" +
                  big + "</B><C/></n:Items></n:PullResponse>"));
    ASSERT_EQ(large.items.size(), 3u);
    EXPECT_EQ(large.items[1].Text(), "<B>" + big + "</B>");
    EXPECT_EQ(large.items[2].Text(), "<C/>");
}

// The replies of one enumeration place their items in its arena and intern names in its one dictionary
// (a reply of one small item would otherwise hold a block and a dictionary of its own); past the bound on
// names a fresh dictionary is started, and the items read before keep theirs.
TEST(EnumerationReply, RepliesOfOneEnumerationShareItsArenaAndDictionary) {
    auto arena = std::make_shared<xml::ItemArena>();
    std::string invented;
    for (int i = 0; i <= xml::kMaxInternedNames; ++i) invented += "<N" + std::to_string(i) + "/>";
    std::vector<EnumeratedItem> kept;
    for (const std::string& items :
         {std::string("<X/>"), std::string("<X/>"), "<Y>" + invented + "</Y>", std::string("<X/>")}) {
        CheckedReply checked;
        const std::string reply = PullReply(
            "<n:PullResponse><n:EnumerationContext>uuid:1</n:EnumerationContext>"
            "<n:Items>" +
            items + "</n:Items></n:PullResponse>");
        ASSERT_EQ(CheckReply({200, "", reply}, "uuid:P", ns::kActionPull, checked, arena), 0);
        ASSERT_EQ(checked.batch.items.size(), 1u);
        kept.push_back(std::move(checked.batch.items[0]));
    }
    for (const EnumeratedItem& item : kept) {
        EXPECT_FALSE(item.Tree().owner_before(arena) || arena.owner_before(item.Tree()));
    }
    const auto name = [&](std::size_t item) { return kept[item].Tree()->At(0).localName; };
    EXPECT_EQ(name(0), name(1));  // one dictionary
    EXPECT_NE(name(0), name(3));  // a fresh one after the invented names
    EXPECT_STREQ(name(0), "X");
}

}  // namespace
}  // namespace wsman::soap
