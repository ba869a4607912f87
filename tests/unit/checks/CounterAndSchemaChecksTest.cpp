// Counters of any class, schema browsing, and the reboot action.
#include "CheckTestSupport.h"
#include "base/QncList.h"

namespace qn::checks_test {
namespace {

constexpr const char* kCounterClass = "Win32_PerfFormattedData_PerfOS_Processor";

std::string Counter(const std::string& name, const std::optional<std::string>& value) {
    return Instance(kCounterClass, {{"Name", name}, {"PercentIdleTime", value}, {"State", "Running"}});
}

class CounterDataTest : public CheckTest {
  protected:
    int Run(const char* className, const char* instance, const char* counter) {
        numeric = 9;
        return Module().WinRMGetWmiCounterData(className, instance, counter, numeric, value, error);
    }
    std::uint32_t numeric = 0;
    CQncString value;
};

TEST_F(CounterDataTest, InstanceIsFoundWithoutRegardToCaseOrTheFirstIsTaken) {
    Fake().Answer(kCounterClass, {Counter("0", "12"), Counter("1", "-5"), Counter("_Total", "0")});
    EXPECT_EQ(Run(kCounterClass, "_total", "PercentIdleTime"), 0);
    EXPECT_STREQ(value.GetText(), "0");
    EXPECT_EQ(numeric, 1u);
    EXPECT_TRUE(Traced("Retrieved value for [PercentIdleTime]:[0]."));

    EXPECT_EQ(Run(kCounterClass, "", "PercentIdleTime"), 0);
    EXPECT_STREQ(value.GetText(), "12");
    EXPECT_EQ(Run(kCounterClass, nullptr, "State"), 0);
    EXPECT_STREQ(value.GetText(), "Running");
    EXPECT_EQ(numeric, 0u);
    EXPECT_TRUE(Traced("Calling CQnWSMan::WinRMGetWmiCounterData (" + std::string(kCounterClass) +
                       ", (null), State)."));
}

TEST_F(CounterDataTest, MissingArgumentsInstancesAndCountersFail) {
    EXPECT_EQ(Run("", "x", ""), -1);
    EXPECT_STREQ(error.GetText(), "No Class specified");
    EXPECT_EQ(Run(kCounterClass, "x", nullptr), -1);
    EXPECT_STREQ(error.GetText(), "No Counter specified");
    EXPECT_TRUE(Fake().enumerations.empty());

    Fake().Answer(kCounterClass, {Counter("0", "12"), Counter("1", std::nullopt)});
    EXPECT_EQ(Run(kCounterClass, "7", "PercentIdleTime"), -1);
    EXPECT_STREQ(error.GetText(), "");
    EXPECT_EQ(Run(kCounterClass, "1", "PercentIdleTime"), -1);
    EXPECT_TRUE(Traced("Failed to retrieve value for counter name [PercentIdleTime]."));
    EXPECT_EQ(Run(kCounterClass, "0", "NoSuchCounter"), -1);
    EXPECT_STREQ(error.GetText(), "");
    EXPECT_EQ(numeric, 0u);
}

TEST_F(CounterDataTest, ClassWithoutInstancesCompletesEmpty) {
    Fake().Answer("Win32_Tape", {});
    EXPECT_EQ(Run("Win32_Tape", "", "Name"), 0);
    EXPECT_STREQ(value.GetText(), "");
    EXPECT_EQ(numeric, 0u);
    EXPECT_TRUE(
        Traced("Enumerate call was succesful, but there are no records for this class [Win32_Tape]."));
}

TEST_F(CounterDataTest, TextWithABlankIsAWholeQuery) {
    const std::string query = "select Name, PercentIdleTime from " + std::string(kCounterClass);
    Fake().AnswerQuery(query, {Counter("_Total", "88")});
    EXPECT_EQ(Run(query.c_str(), "_Total", "PercentIdleTime"), 0);
    EXPECT_STREQ(value.GetText(), "88");
    EXPECT_EQ(Fake().enumerations.back().filter, query);
}

std::string ClassDefinition(const std::string& className, const std::vector<std::string>& properties) {
    qntest::Properties nils;
    for (const std::string& name : properties) {
        nils.push_back({name, std::nullopt});
    }
    return Instance(className, nils);
}

using CollectClassesTest = CheckTest;

TEST_F(CollectClassesTest, OnlyWin32ClassesInTheirOrder) {
    Fake().Answer("meta_class",
                  {ClassDefinition("__Namespace", {"Name"}), ClassDefinition("Win32_Process", {"Name"}),
                   ClassDefinition("CIM_Process", {"Name"}), ClassDefinition("win32_foo", {"Name"}),
                   ClassDefinition("Win3", {"Name"})});
    CQncListString list;
    EXPECT_EQ(Module().WinRMCollectClasses(list, error), 0);
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"Win32_Process", "win32_foo"}));
    EXPECT_TRUE(Traced("Enumerate meta_class yielded 5 results. "));
}

TEST_F(CollectClassesTest, UnreadableItemsDoNotFailTheCollection) {
    Fake().Answer("meta_class", {ClassDefinition("Win32_Share", {"Name"}), "<p:Win32_Broken",
                                 ClassDefinition("CIM_X", {})});
    CQncListString list;
    EXPECT_EQ(Module().WinRMCollectClasses(list, error), 0);
    EXPECT_STREQ(error.GetText(), "");
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"Win32_Share"}));
}

using CollectInstancesTest = CheckTest;

TEST_F(CollectInstancesTest, NamedInstancesAreListed) {
    Fake().Answer("Win32_Service", {Instance("Win32_Service", {{"Name", "Spooler"}}),
                                    Instance("Win32_Service", {{"Name", std::nullopt}}),
                                    Instance("Win32_Service", {{"Name", "ALG"}})});
    CQncListString list;
    EXPECT_EQ(Module().WinRMCollectInstances("Win32_Service", list, error), 0);
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"Spooler", "ALG"}));
    EXPECT_TRUE(Traced("Calling Win32_Service (CQnWSMan::WinRMCollectInstances)."));
    EXPECT_TRUE(Traced("Adding instance [ALG] to the list..."));

    Fake().Fail("Win32_Nothing", static_cast<HResult>(0x80338000));
    EXPECT_EQ(Module().WinRMCollectInstances("Win32_Nothing", list, error), -1);
    EXPECT_TRUE(Entries(list).empty());
}

class CollectPropertiesTest : public CheckTest {
  protected:
    // Replaces the installation's property stylesheet by one that writes `text` whatever the item.
    void UseFixedPropertyText(const std::string& text) {
        folder_.Write("Sys/Wsman/WsmProps.xsl",
                      "<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
                      "<xsl:output method=\"text\"/><xsl:template match=\"/\"><xsl:text>" +
                          text + "</xsl:text></xsl:template></xsl:stylesheet>");
        SetProgramFolder(folder_.Path() + "/");
    }
    qntest::ScratchFolder folder_;
};

TEST_F(CollectPropertiesTest, EveryPropertyIsOfferedAsAString) {
    Fake().AnswerQuery("select * from meta_class where __CLASS='Win32_Share'",
                       {ClassDefinition("Win32_Share", {"Caption", "Name", "Path", "Type"})});
    CQncListString list;
    EXPECT_EQ(Module().WinRMCollectProperties("Win32_Share", list, error), 0);
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"Caption;;8", "Name;;8", "Path;;8", "Type;;8"}));
    EXPECT_TRUE(
        Traced("Enumerate [select * from meta_class where __CLASS='Win32_Share'], result: 0 (size:1)."));
    EXPECT_TRUE(Traced("CQnWSMan::WinRMCollectProperties completed, #properties: 4, result:completed"));
}

TEST_F(CollectPropertiesTest, FirstEmptyLineEndsTheList) {
    UseFixedPropertyText("A&#10;B&#13;&#10;  &#10;C&#10;");
    Fake().AnswerQuery("select * from meta_class where __CLASS='X'", {ClassDefinition("X", {"A"})});
    CQncListString list;
    EXPECT_EQ(Module().WinRMCollectProperties("X", list, error), 0);
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"A;;8", "B;;8"}));
}

TEST_F(CollectPropertiesTest, UnknownClassFailsWithAnEmptyList) {
    CQncListString list;
    EXPECT_EQ(Module().WinRMCollectProperties("Win32_Nothing", list, error), -1);
    EXPECT_TRUE(Entries(list).empty());
    // The word "completed" belongs to the line itself.
    EXPECT_TRUE(Traced("CQnWSMan::WinRMCollectProperties completed, #properties: 0, result:failed"));
}

using RebootTest = CheckTest;

TEST_F(RebootTest, InvokesRebootOnTheSessionNamespaceWithAFixedInput) {
    Connect("root\\other");
    Fake().AnswerInvoke(
        "Reboot", qn::platform::kOk,
        "<p:Reboot_OUTPUT xmlns:p=\"urn:x\"><p:ReturnValue>1191</p:ReturnValue></p:Reboot_OUTPUT>");
    EXPECT_EQ(Module().WinRMRebootComputer(error), 0);
    ASSERT_EQ(Fake().invocations.size(), 1u);
    EXPECT_EQ(Fake().invocations[0].action, "Reboot");
    EXPECT_EQ(Fake().invocations[0].resourceUri,
              "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/other/Win32_OperatingSystem");
    EXPECT_EQ(Fake().invocations[0].parameters,
              "<p:Reboot_INPUT xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/"
              "Win32_OperatingSystem\"></p:Reboot_INPUT>");
}

TEST_F(RebootTest, RefusedOrUnopenedFails) {
    Fake().AnswerInvoke("Reboot", static_cast<HResult>(0x80070005), "");
    EXPECT_EQ(Module().WinRMRebootComputer(error), -1);
    EXPECT_STREQ(error.GetText(), "WMI/WinRM Error 0x80070005: Access is denied");

    Module().CloseSession();
    EXPECT_EQ(Module().WinRMRebootComputer(error), -1);
    EXPECT_STREQ(error.GetText(), "NULL pointer detected");
}

}  // namespace
}  // namespace qn::checks_test
