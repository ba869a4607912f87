// The native writer of WsmTxtEx.xsl's records, on the compact item tree, against libxslt applying the file
// to libxml2's document: the same text for every item form WinRM produces, every instance of the bundled
// computers and the captured Windows items, and libxslt's own answer for the items the writer declines.
// The compact tree accepts exactly the texts libxml2's document does.
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "TestFiles.h"
#include "model/ComputerModel.h"
#include "parsing/native/BuiltinStylesheets.h"
#include "parsing/native/InstanceRecordWriter.h"
#include "platform/XmlDocument.h"
#include "platform/posix/XmlLibrary.h"
#include "platform/posix/XmlTransform.h"
#include "wsman/core/ItemArena.h"
#include "wsman/core/ItemTree.h"
#include "wsman/soap/InvokeReply.h"
#include "wsman/soap/Reply.h"

namespace {

namespace posix = qn::platform::posix;
namespace native = qn::parsing::native;

std::string StylesheetPath() {
    return QN_SHARE_DIR "/Sys/Wsman/WsmTxtEx.xsl";
}

// The record as libxslt makes it from the shipped file; nothing when the transformation fails.
std::optional<std::string> ViaLibxslt(const std::string& item) {
    static const wsman::xml::DocPtr sheet = posix::ParseUntrustedFile(StylesheetPath().c_str());
    static const posix::UniqueXsltStylesheet style = posix::CompileStylesheet(*sheet);
    wsman::xml::DocPtr doc = wsman::xml::ParseUntrusted(item);
    std::string output;
    if (doc == nullptr || style == nullptr || !posix::ApplyStylesheet(*style, *doc, output))
        return std::nullopt;
    return output;
}

// The record as the writer makes it from the item's compact tree; nothing when it leaves the item to
// libxslt.
std::optional<std::string> ViaWriter(const std::string& item) {
    static wsman::xml::ItemTreeParser parser;
    wsman::xml::ItemArena arena;
    const wsman::xml::ItemTree* tree = parser.Parse(item, arena);
    std::string output;
    if (tree == nullptr || !native::WriteInstanceRecord(*tree, output)) return std::nullopt;
    return output;
}

void ExpectSameRecord(const std::string& item) {
    const std::optional<std::string> written = ViaWriter(item);
    ASSERT_TRUE(written.has_value()) << "declined: " << item;
    const std::optional<std::string> transformed = ViaLibxslt(item);
    ASSERT_TRUE(transformed.has_value()) << item;
    EXPECT_EQ(*written, *transformed) << item;
}

constexpr const char* kNamespaces =
    R"(xmlns:p="http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Test_Class" )"
    R"(xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xmlns:cim="http://schemas.dmtf.org/wbem/wscim/1/common" )"
    R"(xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing" xmlns:w="http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd")";

std::string Instance(const std::string& properties) {
    return std::string("<p:Test_Class ") + kNamespaces + ">" + properties + "</p:Test_Class>";
}

std::string Reference(const std::string& resourceUri, const std::string& selectorSets) {
    return "<a:Address>http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</a:Address>"
           "<a:ReferenceParameters><w:ResourceURI>" +
           resourceUri + "</w:ResourceURI>" + selectorSets + "</a:ReferenceParameters>";
}

TEST(InstanceRecordWriterTest, ShippedStylesheetIsTheOneTheWriterReproduces) {
    const std::string bytes = qntest::ReadFile(StylesheetPath());
    ASSERT_FALSE(bytes.empty());
    EXPECT_EQ(native::RecognizeStylesheet("WsmTxtEx.xsl", bytes), native::BuiltinStylesheet::InstanceRecord)
        << "WsmTxtEx.xsl changed: bring InstanceRecordWriter in line with it, then update its digest in "
           "BuiltinStylesheets.cpp";
}

TEST(InstanceRecordWriterTest, EveryValueFormAsLibxsltWritesIt) {
    const std::vector<std::string> items = {
        Instance(""),
        Instance("<p:A>1</p:A><p:B></p:B><p:C/>"),
        // nil: 'true' and '1' only; other spellings are ordinary values; references inside the flag.
        Instance(
            R"(<p:A xsi:nil="true"/><p:B xsi:nil="1">x</p:B><p:C xsi:nil="false">y</p:C><p:D xsi:nil=" true">z</p:D>)"
            R"(<p:E xsi:nil="tr&#117;e">e</p:E>)"),
        // Arrays, also split by other properties and mixed with nil elements.
        Instance(R"(<p:Arr>1</p:Arr><p:Arr>2</p:Arr><p:X>x</p:X><p:Arr xsi:nil="true"/><p:Arr>4</p:Arr>)"),
        // Datetime and interval wrappers, with and without the cim namespace.
        Instance("<p:T><cim:Datetime>2024-01-02T03:04:05Z</cim:Datetime></p:T><p:U><cim:Interval>P1D</"
                 "cim:Interval></p:U>"
                 "<p:V><Datetime>d</Datetime><cim:Date>e</cim:Date></p:V>"
                 "<p:R><Other>o</Other><cim:Datetime>x</cim:Datetime></p:R>"),
        // References: selectors escaped, several selector sets, a singleton, whitespace around the URI.
        Instance(
            "<p:Ref>" +
            Reference(
                "  http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Group \n",
                R"(<w:SelectorSet><w:Selector Name="Domain">PC1</w:Selector>)"
                R"(<w:Selector Name="Name">a\b "q"</w:Selector>)"
                R"(<w:Selector Name="a&amp;b&#38;c&lt;&#x26;&quot;&apos;&#10;d	e">v</w:Selector></w:SelectorSet>)"
                R"(<w:SelectorSet><w:Selector Name="Extra">e</w:Selector></w:SelectorSet>)") +
            "</p:Ref><p:Single>" +
            Reference("http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_OperatingSystem", "") +
            "</p:Single>"),
        // A reference without namespaces (as in fragments), a selector holding a nested reference, no URI.
        Instance("<p:R><ReferenceParameters><ResourceURI>x/y/Cls</ResourceURI><SelectorSet>"
                 "<Selector "
                 "Name='K'>v</Selector><Selector>noname</Selector></SelectorSet></ReferenceParameters></p:R>"
                 "<p:N><a:ReferenceParameters><w:SelectorSet><w:Selector Name='Ref'><a:EndpointReference>"
                 "<a:Address>addr</a:Address></a:EndpointReference></w:Selector></w:SelectorSet>"
                 "</a:ReferenceParameters></p:N>"),
        // An address alone; embedded objects with arrays, nil members and their own cim:Location.
        Instance("<p:Addr><a:Address>http://host/x</a:Address><Other>o</Other></p:Addr>"
                 "<p:Emb><p:K>1</p:K><p:L>a</p:L><p:L>b</p:L><p:M xsi:nil='true'/>"
                 "<cim:Location>loc</cim:Location><p:In><p:Deep>d</p:Deep></p:In></p:Emb>"),
        // cim:Location is left out, and takes a same-named property's line with it when it comes first.
        Instance(
            "<p:A>1</p:A><cim:Location>http://x</cim:Location><p:Location>mine</p:Location><p:B>2</p:B>"),
        Instance("<p:Location>first</p:Location><cim:Location>second</cim:Location>"),
        // Text: blanks-only nodes vanish, other text keeps its blanks; tabs and line breaks become blanks;
        // CDATA, comments, processing instructions, entities and non-ASCII text.
        Instance(
            "<p:A>  </p:A><p:B> x \t\r\n y </p:B><p:C><![CDATA[ <raw> ]]></p:C><p:D>a<!--c--><?pi x?>b</p:D>"
            "<p:E>&amp;&lt;&#233;&#x1F600;</p:E><p:F>\xC3\xA9t\xC3\xA9</p:F>\n  <p:G>\n  </p:G>"),
        // Mixed content: an element with text and element children counts as an embedded object.
        Instance("<p:M>text<p:Part>p</p:Part>more</p:M>"),
        // Namespaces do not separate properties of one name.
        Instance(R"(<p:Dup>1</p:Dup><q:Dup xmlns:q="urn:q">2</q:Dup><Dup>3</Dup>)"),
        // A method's output element and projections, with and without the wsman namespace.
        R"(<p:Reboot_OUTPUT xmlns:p="http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_OperatingSystem">)"
        R"(<p:ReturnValue>0</p:ReturnValue></p:Reboot_OUTPUT>)",
        R"(<w:XmlFragment xmlns:w="http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd"><Name>svchost.exe</Name>)"
        R"(<__CLASS>Win32_Process</__CLASS><ProcessId>4</ProcessId></w:XmlFragment>)",
        R"(<w:XmlFragment xmlns:w="http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd"/>)",
        "<XmlFragment><Name>n</Name></XmlFragment>",
        "<Plain attr='1'>text only</Plain>",
    };
    for (const std::string& item : items) ExpectSameRecord(item);
    // Many properties, one name repeated among them: below and beyond the count grouped in one pass.
    for (const int count : {250, 300}) {
        std::string properties;
        for (int i = 0; i < count; ++i)
            properties += i % 7 == 0 ? "<p:Rep>" + std::to_string(i) + "</p:Rep>"
                                     : "<p:P" + std::to_string(i) + ">v</p:P" + std::to_string(i) + ">";
        ExpectSameRecord(Instance(properties));
    }
}

// Items on which libxslt's limits or xml:space handling could decide: the writer declines them and the
// platform document answers with libxslt's own result.
TEST(InstanceRecordWriterTest, DeclinedItemsGetLibxsltsAnswer) {
    std::string deep = "x";
    for (int i = 0; i < 81; ++i) deep = "<p:L>" + deep + "</p:L>";
    const std::vector<std::string> items = {
        Instance(R"(<p:A xml:space="preserve"> </p:A>)"),
        Instance(deep),
        Instance("<p:Ref>" +
                 Reference("u", "<w:SelectorSet><w:Selector Name='K'>" + std::string(2000, '"') +
                                    "</w:Selector></w:SelectorSet>") +
                 "</p:Ref>"),
        Instance("<p:Ref>" + Reference(std::string(2000, '/') + "C", "") + "</p:Ref>"),
    };
    auto sheet = qn::platform::CreateXmlDocument();
    ASSERT_TRUE(sheet->LoadFile(StylesheetPath().c_str()));
    for (const std::string& item : items) {
        EXPECT_FALSE(ViaWriter(item).has_value()) << item;
        auto document = qn::platform::CreateXmlDocument();
        ASSERT_TRUE(document->LoadText(item));
        std::string output = "unchanged";
        const bool transformed = document->TransformNode(*sheet, output);
        const std::optional<std::string> expected = ViaLibxslt(item);
        EXPECT_EQ(transformed, expected.has_value()) << item;
        EXPECT_EQ(output, expected.value_or("unchanged")) << item;
    }
}

TEST(InstanceRecordWriterTest, CompactTreeAcceptsWhatTheDocumentAccepts) {
    const std::vector<std::string> texts = {"<p:a xmlns:p='urn:p'/>",
                                            "<p:a/>",
                                            "<a><b></a>",
                                            "<a/><b/>",
                                            "<a/>trailing",
                                            "",
                                            "<!DOCTYPE a><a/>",
                                            "<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>",
                                            "<a>&undefined;</a>",
                                            "<a b='1' b='2'/>",
                                            "<a>\xC3\x28</a>",
                                            "\xEF\xBB\xBF<a/>",
                                            std::string("<a>\0</a>", 8),
                                            "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xC3\xA9</a>",
                                            "<a><![CDATA[x]></a>",
                                            "<xmlns:a/>",
                                            "<a xmlns:p=''/>",
                                            "<?pi?><a/><!--c-->"};
    wsman::xml::ItemTreeParser parser;
    for (const std::string& text : texts) {
        wsman::xml::ItemArena arena;
        const wsman::xml::ItemTree* tree = parser.Parse(text, arena);
        const bool accepted = tree != nullptr;
        const wsman::xml::DocPtr doc = wsman::xml::ParseUntrusted(text);
        ASSERT_EQ(accepted, doc != nullptr) << text;
        if (!accepted) continue;
        const xmlNode* root = xmlDocGetRootElement(doc.get());
        std::string name = root->ns != nullptr && root->ns->prefix != nullptr
                               ? std::string(reinterpret_cast<const char*>(root->ns->prefix)) + ":"
                               : std::string();
        name += reinterpret_cast<const char*>(root->name);
        EXPECT_EQ(tree->RootName(), name) << text;
    }
    // Texts are read as UTF-8 whatever libxml2 would detect: UTF-16 and UCS-4 texts are refused by both.
    for (const std::string& text : {std::string("<\0a\0/\0>\0", 8), std::string("\xFF\xFE<\0a\0/\0>\0", 10),
                                    std::string("\0\0\0<\0\0\0a\0\0\0/\0\0\0>", 16)}) {
        wsman::xml::ItemArena arena;
        EXPECT_EQ(parser.Parse(text, arena), nullptr);
        EXPECT_EQ(wsman::xml::ParseUntrusted(text), nullptr);
    }
}

TEST(InstanceRecordWriterTest, EveryInstanceOfTheBundledComputers) {
    const auto now = std::chrono::steady_clock::now();
    for (const char* profile : {"workstation", "server", "unhealthy"}) {
        std::string error;
        std::unique_ptr<qnsim::ComputerModel> model = qnsim::LoadComputerModel(profile, error);
        ASSERT_TRUE(model) << error;
        for (const char* wmiNamespace : {"root/cimv2", "root/WebAdministration"}) {
            const auto classes = model->ExecQuery(wmiNamespace, "select * from meta_class", now);
            ASSERT_TRUE(classes.ok);
            for (const qnsim::RenderedItem& definition : classes.value) {
                ExpectSameRecord(definition.xml);
                const std::string className = *ViaWriter(definition.xml);
                const std::string name = className.substr(9, className.find("\r\n") - 9);  // "__CLASS:=" line
                const auto instances = model->ExecQuery(wmiNamespace, "select * from " + name, now);
                ASSERT_TRUE(instances.ok) << name;
                // The server's 2,000 processes add nothing the first hundred do not show.
                for (std::size_t i = 0; i < instances.value.size() && i < 100; ++i) {
                    ExpectSameRecord(instances.value[i].xml);
                }
            }
        }
    }
}

// The items of a captured reply as the client hands them over: an enumeration's items, or else the body's
// element standing alone, as an Invoke's output is read.
std::vector<std::string> ExtractItems(std::string reply) {
    // The trimmed Pull capture kept its Enumerate's Action, for which the client would rightly refuse it.
    if (reply.find("<n:PullResponse") != std::string::npos)
        reply.replace(reply.find("EnumerateResponse</"), 9, "Pull");
    const auto header = [&](const char* name) {
        const std::size_t start = reply.find('>', reply.find(name)) + 1;
        return reply.substr(start, reply.find('<', start) - start);
    };
    const std::string action = header(":Action");
    wsman::soap::CheckedReply checked;
    if (wsman::soap::CheckReply({200, "", reply}, header(":RelatesTo"),
                                action.substr(0, action.rfind("Response")), checked) != 0)
        return {};
    std::vector<std::string> items;
    for (const auto& item : checked.batch.items) items.emplace_back(item.Text());
    std::string output;
    if (checked.body != nullptr && wsman::soap::ReadInvokeOutput(checked.body, output) == 0)
        items.push_back(output);
    return items;
}

TEST(InstanceRecordWriterTest, CapturedWindowsItems) {
    const struct {
        const char* fixture;
        const char* recordStart;
    } captures[] = {
        {"get_response_Win32_LogicalDisk_real.xml",
         "__CLASS:=Win32_LogicalDisk\r\nAccess:=0\r\nAvailability:=\r\n"},
        {"get_response_Win32_OperatingSystem_trimmed_win7.xml",  // indented
         "__CLASS:=Win32_OperatingSystem\r\nBootDevice:=\\Device\\HarddiskVolume2\r\n"},
        {"enumerate_response_Win32_Process_trimmed_cim_Datetime_Interval_array.xml",
         "__CLASS:=Win32_Process\r\nCaption:=System Idle Process\r\nCommandLine:=\r\n"
         "CreationDate:=2014-04-03T14:45:50.46875+08:00\r\nAutomaticStartupActionDelay:=P0DT0H1M40S\r\n"
         "IPAddress:=192.168.1.103,fe80::6962:c157:2318:423d,192.168.1.102\r\n"},
        // References become object paths on one line.
        {"enumerate_response_association_class_Msvm_SettingsDefineCapabilities_EPR_properties.xml",
         "__CLASS:=Msvm_SettingsDefineCapabilities\r\n"
         "GroupComponent:=Msvm_AllocationCapabilities.InstanceID=\"Microsoft:06FF76FA-2D58-4BAF-9F8D-"
         "455773824F37\"\r\n"
         "PartComponent:=Msvm_Synthetic3DDisplayControllerSettingData.InstanceID="
         "\"Microsoft:Definition\\\\06FF76FA-2D58-4BAF-9F8D-455773824F37\\\\Default\"\r\n"},
        {"pull_response_Win32_Process_trimmed_EndOfSequence.xml",
         "__CLASS:=Win32_Process\r\nCaption:=SystemTest\r\n"},
        {"invoke_StdRegProv_EnumKey_OUTPUT_response.xml",
         "__CLASS:=EnumKey_OUTPUT\r\nsNames:=AddressBook,Branding,Connection Manager,DirectAnimation,"},
    };
    for (const auto& c : captures) {
        const std::string reply = qntest::ReadFixture(c.fixture);
        if (reply.empty()) GTEST_SKIP() << "captured Windows replies not found in " QN_FIXTURES_DIR;
        const std::vector<std::string> items = ExtractItems(reply);
        ASSERT_FALSE(items.empty()) << c.fixture;
        for (const std::string& item : items) {
            ExpectSameRecord(item);
            EXPECT_EQ(item.find("xmlns:s="), std::string::npos) << "the envelope's namespaces stay behind";
        }
        const std::string record = ViaWriter(items.front()).value_or("");
        EXPECT_EQ(record.substr(0, std::char_traits<char>::length(c.recordStart)), c.recordStart);
        EXPECT_EQ(record.find("\r\n\r\n"), std::string::npos) << c.fixture;
    }
}

}  // namespace
