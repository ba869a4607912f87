// Accounts, groups, application pools, message queues, counters of any class and schema browsing: records
// without values, the trace lines, and the fixed inputs of the invoked methods.
#include "CheckTestSupport.h"

namespace qn::checks_test {
namespace {

using AccountsTest = CheckTest;

TEST_F(AccountsTest, NamelessAccountEndsTheListAndIncompleteGroupsAreLeftOut) {
    const auto account = [](const std::optional<std::string>& name) {
        return Instance("Win32_UserAccount", {{"Caption", "PC1\\" + name.value_or("")},
                                              {"Disabled", "false"},
                                              {"FullName", "F"},
                                              {"Lockout", "true"},
                                              {"Name", name}});
    };
    Fake().Answer("Win32_UserAccount", {account("a"), account(std::nullopt), account("c")});
    CQncListString list;
    list.AddString("stale");
    EXPECT_EQ(Module().WinRMGetWinUserAccountList(list, error), -1);
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"PC1\\a;;F;;a;;1;;0"}));
    Fake().Answer("Win32_Group", {Instance("Win32_Group", {{"Caption", "PC1\\x"}, {"Name", std::nullopt}}),
                                  Instance("Win32_Group", {{"Caption", "CORP\\S"}, {"Name", "S"}})});
    EXPECT_EQ(Module().WinRMGetWinGroupList(list, error), 0);
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"CORP\\S;;S;;"}));
    EXPECT_TRUE(Traced("  Group NOT listed because of an empty item, Caption=[PC1\\x], Name=[]"));
    EXPECT_TRUE(Traced("Number of [Win32_Group] items retrieved: [2]"));
}

using PoolTest = CheckTest;

TEST_F(PoolTest, ReturnValueIsMappedToAWordOnAFixedInputAndFailuresLeaveStartedAlone) {
    Connect("root/WebAdministration/");
    std::uint32_t started = 9;
    CQncString state;
    const auto run = [&](const char* returnValue) {
        Fake().AnswerInvoke("GetState", qn::platform::kOk,
                            std::string("<p:GetState_OUTPUT xmlns:p=\"urn:x\"><p:ReturnValue>") +
                                returnValue + "</p:ReturnValue></p:GetState_OUTPUT>");
        return Module().WinRMGetApplicationPoolState("My Pool", started, state, error);
    };
    const std::tuple<const char*, std::uint32_t, const char*> cases[] = {
        {"0", 0, "Starting"}, {"1", 1, "Started"}, {"3", 0, "Stopped"}, {"17", 0, "Unknown"}};
    for (const auto& [value, isStarted, word] : cases) {
        EXPECT_EQ(run(value), 0) << value;
        EXPECT_EQ(started, isStarted) << value;
        EXPECT_STREQ(state.GetText(), word);
    }
    EXPECT_TRUE(Traced("WbemGetApplicationPoolState [17(Unknown)]."));
    // The URI follows the session's namespace; the input's stays fixed.
    EXPECT_EQ(
        Fake().invocations[0].resourceUri,
        "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/WebAdministration/ApplicationPool?Name=My Pool");
    EXPECT_EQ(
        Fake().invocations[0].parameters,
        "<p:GetState_INPUT xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/webadministration/"
        "ApplicationPool\"></p:GetState_INPUT>");
    started = 7;
    EXPECT_EQ(run(""), -1);
    EXPECT_STREQ(state.GetText(), "");
    Fake().AnswerInvoke("GetState", ToHResult(0x8033801A), "");
    EXPECT_EQ(Module().WinRMGetApplicationPoolState("Gone", started, state, error), -1);
    EXPECT_EQ(started, 7u);
}

using ListTest = CheckTest;

TEST_F(ListTest, QueuesByShortNameAndAQueueWithoutSizeFails) {
    constexpr const char* kQueueClass = "Win32_PerfRawData_MSMQ_MSMQQueue";
    const auto queue = [&](const std::optional<std::string>& name, const char* messages,
                           const std::optional<std::string>& bytes) {
        return Instance(kQueueClass,
                        {{"BytesInQueue", bytes}, {"MessagesInQueue", messages}, {"Name", name}});
    };
    Fake().Answer(kQueueClass, {queue(std::nullopt, "0", "0"), queue("Computer Queues", "0", "0"),
                                queue("host\\private$\\orders", "12", std::nullopt)});
    CQncString list;
    EXPECT_EQ(Module().WinRMGetMsMqList(list, error), 0);  // a name without a backslash is kept whole
    EXPECT_STREQ(list.GetText(), "Computer Queues||private$\\orders");
    std::uint32_t found = 9, count = 9, kilobytes = 9;
    EXPECT_EQ(Module().WinRMGetMsMqLength("private$\\orders", found, count, kilobytes, error), -1);
    EXPECT_EQ((Numbers{found, count, kilobytes}), (Numbers{1, 12, 0}));
}

TEST_F(ListTest, CounterDataTakesTheFirstInstanceAndNamesMissingArguments) {
    constexpr const char* kCounterClass = "Win32_PerfFormattedData_PerfOS_Processor";
    std::uint32_t numeric = 9;
    CQncString value;
    const auto run = [&](const char* className, const char* instance, const char* counter) {
        return Module().WinRMGetWmiCounterData(className, instance, counter, numeric, value, error);
    };
    EXPECT_EQ(run("", "x", ""), -1);
    EXPECT_STREQ(error.GetText(), "No Class specified");
    EXPECT_EQ(run(kCounterClass, "x", nullptr), -1);
    EXPECT_STREQ(error.GetText(), "No Counter specified");
    EXPECT_TRUE(Fake().enumerations.empty());
    Fake().Answer(kCounterClass,
                  {Instance(kCounterClass, {{"Name", "0"}, {"PercentIdleTime", "12"}, {"State", "Running"}}),
                   Instance(kCounterClass, {{"Name", "1"}, {"PercentIdleTime", std::nullopt}})});
    EXPECT_EQ(run(kCounterClass, "", "PercentIdleTime"), 0);
    EXPECT_STREQ(value.GetText(), "12");
    EXPECT_EQ(numeric, 1u);
    EXPECT_EQ(run(kCounterClass, nullptr, "State"), 0);
    EXPECT_EQ(numeric, 0u);  // text is not numeric
    EXPECT_TRUE(Traced("Calling CQnWSMan::WinRMGetWmiCounterData (" + std::string(kCounterClass) +
                       ", (null), State)."));
    EXPECT_EQ(run(kCounterClass, "1", "PercentIdleTime"), -1);
    EXPECT_TRUE(Traced("Failed to retrieve value for counter name [PercentIdleTime]."));
}

TEST_F(ListTest, SchemaListsSkipWhatCannotBeReadAndFailEmpty) {
    const auto definition = [](const std::string& className) {
        return Instance(className, {{"Name", std::nullopt}});
    };
    Fake().Answer("meta_class", {definition("Win32_Process"), "<p:Win32_Broken", definition("win32_foo"),
                                 definition("Win3")});
    CQncListString list;
    EXPECT_EQ(Module().WinRMCollectClasses(list, error), 0);
    EXPECT_STREQ(error.GetText(), "");
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"Win32_Process", "win32_foo"}));
    EXPECT_TRUE(Traced("Enumerate meta_class yielded 4 results. "));
    Fake().Answer("Win32_Service",
                  {Instance("Win32_Service", {{"Name", "Spooler"}}), definition("Win32_Service")});
    EXPECT_EQ(Module().WinRMCollectInstances("Win32_Service", list, error), 0);
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"Spooler"}));
    Fake().Fail("Win32_Nothing", ToHResult(0x80338000));
    EXPECT_EQ(Module().WinRMCollectInstances("Win32_Nothing", list, error), -1);
    EXPECT_TRUE(Entries(list).empty());
    EXPECT_EQ(Module().WinRMCollectProperties("Win32_Nothing", list, error), -1);
    // The word "completed" belongs to the line itself.
    EXPECT_TRUE(Traced("CQnWSMan::WinRMCollectProperties completed, #properties: 0, result:failed"));
}

}  // namespace
}  // namespace qn::checks_test
