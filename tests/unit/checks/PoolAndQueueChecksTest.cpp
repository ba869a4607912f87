// Application pools and message queues.
#include "CheckTestSupport.h"

namespace qn::checks_test {
namespace {

constexpr const char* kQueueClass = "Win32_PerfRawData_MSMQ_MSMQQueue";

std::string Pool(const std::optional<std::string>& name) {
    return Instance("ApplicationPool", {{"AutoStart", "true"}, {"Name", name}}, "root/webadministration");
}

std::string Queue(const std::optional<std::string>& name, const std::optional<std::string>& messages = "0",
                  const std::optional<std::string>& bytes = "0") {
    return Instance(kQueueClass, {{"BytesInQueue", bytes}, {"MessagesInQueue", messages}, {"Name", name}});
}

std::string GetStateOutput(const std::string& returnValue) {
    return "<p:GetState_OUTPUT "
           "xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/webadministration/"
           "ApplicationPool\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><p:ReturnValue>" +
           returnValue + "</p:ReturnValue></p:GetState_OUTPUT>";
}

using PoolListTest = CheckTest;

TEST_F(PoolListTest, NamesAreSortedAndJoined) {
    Connect("root\\WebAdministration");
    Fake().Answer("ApplicationPool", {Pool("DefaultAppPool"), Pool("Classic .NET AppPool")});
    CQncString list;
    EXPECT_EQ(Module().WinRMGetApplicationPoolList(list, error), 0);
    EXPECT_STREQ(list.GetText(), "Classic .NET AppPool||DefaultAppPool");
    EXPECT_EQ(Fake().enumerations.back().resourceUri,
              "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/WebAdministration/*");
}

TEST_F(PoolListTest, EmptyResultCompletesAndANamelessPoolSpoilsTheList) {
    Connect("root/WebAdministration");
    CQncString list;
    Fake().Answer("ApplicationPool", {});
    EXPECT_EQ(Module().WinRMGetApplicationPoolList(list, error), 0);
    EXPECT_STREQ(list.GetText(), "");
    EXPECT_TRUE(Traced("CQnWSMan::WinRMGetApplicationPoolList - Enumerate returned empty list...."));

    Fake().Answer("ApplicationPool", {Pool("DefaultAppPool"), Pool(std::nullopt)});
    EXPECT_EQ(Module().WinRMGetApplicationPoolList(list, error), -1);
    EXPECT_STREQ(list.GetText(), "");
    EXPECT_TRUE(Traced("CQnWSMan::WinRMGetApplicationPoolList failed."));
}

class PoolStateTest : public CheckTest {
  protected:
    int Run(const char* pool) { return Module().WinRMGetApplicationPoolState(pool, started, state, error); }
    std::uint32_t started = 0;
    CQncString state;
};

TEST_F(PoolStateTest, ReturnValueIsMappedToAWord) {
    Connect("root\\WebAdministration");
    const std::tuple<const char*, std::uint32_t, const char*> cases[] = {
        {"0", 0, "Starting"}, {"1", 1, "Started"}, {"2", 0, "Stopping"},
        {"3", 0, "Stopped"},  {"4", 0, "Unknown"}, {"17", 0, "Unknown"}};
    for (const auto& [value, isStarted, word] : cases) {
        started = 9;
        Fake().AnswerInvoke("GetState", qn::platform::kOk, GetStateOutput(value));
        EXPECT_EQ(Run("DefaultAppPool"), 0) << value;
        EXPECT_EQ(started, isStarted) << value;
        EXPECT_STREQ(state.GetText(), word);
    }
    EXPECT_TRUE(Traced("WbemGetApplicationPoolState [17(Unknown)]."));
}

TEST_F(PoolStateTest, UriFollowsTheSessionWhileTheInputStaysFixed) {
    Connect("root/WebAdministration/");
    Fake().AnswerInvoke("GetState", qn::platform::kOk, GetStateOutput("1"));
    EXPECT_EQ(Run("My Pool"), 0);
    ASSERT_EQ(Fake().invocations.size(), 1u);
    EXPECT_EQ(Fake().invocations[0].action, "GetState");
    EXPECT_EQ(
        Fake().invocations[0].resourceUri,
        "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/WebAdministration/ApplicationPool?Name=My Pool");
    EXPECT_EQ(
        Fake().invocations[0].parameters,
        "<p:GetState_INPUT xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/webadministration/"
        "ApplicationPool\"></p:GetState_INPUT>");
}

TEST_F(PoolStateTest, RefusedCallOrMissingValueFails) {
    Connect("root/WebAdministration");
    started = 7;
    Fake().AnswerInvoke("GetState", static_cast<HResult>(0x8033801A), "");
    EXPECT_EQ(Run("Gone"), -1);
    EXPECT_EQ(started, 7u);  // left as it was
    EXPECT_EQ(
        std::string(error.GetText()),
        "WMI/WinRM Error 0x8033801A: The service cannot find the resource identified by the resource URI and "
        "selectors.");

    Fake().AnswerInvoke("GetState", qn::platform::kOk, GetStateOutput(""));
    EXPECT_EQ(Run("DefaultAppPool"), -1);
    EXPECT_STREQ(state.GetText(), "");
    EXPECT_EQ(started, 7u);
}

using QueueListTest = CheckTest;

TEST_F(QueueListTest, ShortNamesAndNamelessQueuesPassedOver) {
    Fake().Answer(kQueueClass, {Queue("host\\private$\\orders"), Queue(std::nullopt),
                                Queue("Computer Queues"), Queue("host\\public\\invoices")});
    CQncString list;
    EXPECT_EQ(Module().WinRMGetMsMqList(list, error), 0);
    EXPECT_STREQ(list.GetText(), "Computer Queues||private$\\orders||public\\invoices");
    EXPECT_TRUE(Traced("CQnWSMan::WinRMGetMsMqList completed; #Queues found: [3]"));

    Fake().Fail(kQueueClass, static_cast<HResult>(0x80338000));
    EXPECT_EQ(Module().WinRMGetMsMqList(list, error), -1);
    EXPECT_TRUE(Traced("CQnWSMan::WinRMGetMsMqList failed; #Queues found: [0]"));
}

class QueueLengthTest : public CheckTest {
  protected:
    int Run(const char* queue) {
        found = count = kilobytes = 9;
        return Module().WinRMGetMsMqLength(queue, found, count, kilobytes, error);
    }
    Numbers Values() const { return {found, count, kilobytes}; }
    std::uint32_t found = 0, count = 0, kilobytes = 0;
};

TEST_F(QueueLengthTest, MatchesTheShortNameWithoutRegardToCase) {
    Fake().Answer(kQueueClass, {Queue(std::nullopt), Queue("host\\private$\\small", "1", "1023")});
    EXPECT_EQ(Run("PRIVATE$\\SMALL"), 0);
    EXPECT_EQ(Values(), (Numbers{1, 1, 0}));
}

TEST_F(QueueLengthTest, UnknownQueueOrMissingCounterFails) {
    Fake().Answer(kQueueClass, {Queue("host\\private$\\orders", "12", std::nullopt)});
    EXPECT_EQ(Run("private$\\other"), -1);
    EXPECT_EQ(Values(), (Numbers{0, 0, 0}));
    EXPECT_STREQ(error.GetText(), "");
    EXPECT_EQ(Run("private$\\orders"), -1);
    EXPECT_EQ(Values(), (Numbers{1, 12, 0}));
}

}  // namespace
}  // namespace qn::checks_test
