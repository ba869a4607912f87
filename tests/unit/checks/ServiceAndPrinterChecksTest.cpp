// Services (list, state, restart) and printers (state): names and records the simulator never sends, and
// the restart's waiting on a clock that moves only when the module sleeps.
#include "CheckTestSupport.h"

namespace qn::checks_test {
namespace {

std::string Service(const std::string& name, const std::optional<std::string>& displayName,
                    const std::string& state = "Running", const std::string& startMode = "Auto") {
    return Instance(
        "Win32_Service",
        {{"DisplayName", displayName}, {"Name", name}, {"StartMode", startMode}, {"State", state}});
}

std::string Printer(const std::string& name, const std::optional<std::string>& availability,
                    const std::optional<std::string>& errorState = "2",
                    const std::optional<std::string>& status = "3") {
    return Instance("Win32_Printer", {{"Availability", availability},
                                      {"DetectedErrorState", errorState},
                                      {"Name", name},
                                      {"PrinterStatus", status}});
}

using ServiceListTest = CheckTest;

TEST_F(ServiceListTest, EntriesPairNameAndDisplayName) {
    Fake().Answer("Win32_Service", {Service("Spooler", "Print Spooler"), Service("wuauserv", std::nullopt),
                                    Service("ALG", "Gateway")});
    CQncString list;
    EXPECT_EQ(Module().WinRMGetServiceList(list, error), 0);
    EXPECT_STREQ(list.GetText(), "ALG;;Gateway||Spooler;;Print Spooler");
}

class ServiceStateTest : public CheckTest {
  protected:
    int Run(const char* wanted) {
        installed = 9;
        return Module().WinRMGetServiceState(wanted, name, displayName, installed, state, startMode, error);
    }
    CQncString name, displayName, state, startMode;
    std::uint32_t installed = 0;
};

TEST_F(ServiceStateTest, NameIsSearchedBeforeDisplayName) {
    Fake().Answer("Win32_Service",
                  {Service("Alpha", "spooler"), Service("Spooler", "Print Spooler", "Stopped", "Manual")});
    EXPECT_EQ(Run("SPOOLER"), 0);
    EXPECT_EQ(installed, 1u);
    EXPECT_STREQ(name.GetText(), "Spooler");
    EXPECT_STREQ(state.GetText(), "Stopped");
    EXPECT_STREQ(startMode.GetText(), "Manual");
    EXPECT_EQ(Fake().CountQueries("select * from Win32_Service"), 1);

    EXPECT_EQ(Run("print spooler"), 0);
    EXPECT_STREQ(name.GetText(), "Spooler");
    EXPECT_STREQ(displayName.GetText(), "Print Spooler");
    EXPECT_EQ(Fake().CountQueries("select * from Win32_Service"), 3);
}

TEST_F(ServiceStateTest, UnknownServiceCompletesAsNotInstalledAndIncompleteOnesFail) {
    Fake().Answer("Win32_Service", {Service("Spooler", "Print Spooler")});
    EXPECT_EQ(Run("nosuch"), 0);
    EXPECT_EQ(installed, 0u);
    EXPECT_EQ((std::vector<std::string>{name.GetText(), displayName.GetText(), state.GetText()}),
              (std::vector<std::string>{"", "", ""}));

    Fake().Answer("Win32_Service", {Service("Spooler", std::nullopt)});
    EXPECT_EQ(Run("Spooler"), -1);
    Fake().Answer("Win32_Service",
                  {Instance("Win32_Service", {{"DisplayName", "X"}, {"Name", "X"}, {"StartMode", "Auto"}})});
    EXPECT_EQ(Run("X"), -1);
    EXPECT_EQ(installed, 1u);
    EXPECT_TRUE(Traced("CQnWSMan::WinRMGetServiceState failed."));
}

using RestartServiceTest = CheckTest;

TEST_F(RestartServiceTest, StopsWaitsForStoppedAndStarts) {
    Connect("root\\cimv2");
    Fake().AnswerNext("Win32_Service", {Service("Spooler", "Print Spooler", "Running")});       // lookup
    Fake().AnswerNext("Win32_Service", {Service("Spooler", "Print Spooler", "Stop Pending")});  // poll 1
    Fake().AnswerNext("Win32_Service", {Service("Spooler", "Print Spooler", "Stop Pending")});  // poll 2
    Fake().AnswerNext("Win32_Service", {Service("Spooler", "Print Spooler", "STOPPED")});       // poll 3
    Fake().AnswerNext("Win32_Service", {Service("Spooler", "Print Spooler", "Running")});
    EXPECT_EQ(Module().WinRMRestartService("spooler", error), 0);
    ASSERT_EQ(Fake().invocations.size(), 2u);
    const std::string uri = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service";
    for (std::size_t i = 0; i < 2; ++i) {
        const std::string method = i == 0 ? "StopService" : "StartService";
        EXPECT_EQ(Fake().invocations[i].action, method);
        EXPECT_EQ(Fake().invocations[i].resourceUri, uri + "?Name=Spooler");
        EXPECT_EQ(Fake().invocations[i].parameters,
                  "<p:" + method + "_INPUT xmlns:p=\"" + uri + "\"></p:" + method + "_INPUT>");
    }
    EXPECT_EQ(Clock().sleeps, (Numbers{1000, 1000}));
    EXPECT_TRUE(Traced("WinRMGetServiceState returned state = [STOPPED].."));
}

TEST_F(RestartServiceTest, GivesUpWaitingAfterTwentySeconds) {
    Fake().Answer("Win32_Service", {Service("Spooler", "Print Spooler", "Stop Pending")});
    EXPECT_EQ(Module().WinRMRestartService("Spooler", error), 0);
    EXPECT_EQ(Clock().sleeps.size(), 20u);
    EXPECT_EQ(Fake().invocations.size(), 2u);
}

TEST_F(RestartServiceTest, WaitEndsAtOnceWhenTheDeadlineWraps) {
    // t0 + 20000 wraps to a small number, so the plain comparison ends the wait before the first poll.
    Clock().ticks = 0xFFFFF000u;
    Fake().Answer("Win32_Service", {Service("Spooler", "Print Spooler", "Stop Pending")});
    EXPECT_EQ(Module().WinRMRestartService("Spooler", error), 0);
    EXPECT_TRUE(Clock().sleeps.empty());
    EXPECT_EQ(Fake().invocations.size(), 2u);
}

TEST_F(RestartServiceTest, RefusalsAndUnknownServicesFail) {
    Fake().Answer("Win32_Service", {Service("Spooler", "Print Spooler")});
    EXPECT_EQ(Module().WinRMRestartService("nosuch", error), -1);
    EXPECT_STREQ(error.GetText(), "Service not installed.");
    EXPECT_TRUE(Fake().invocations.empty());

    Fake().AnswerInvoke("StopService", static_cast<HResult>(0x80070005), "");
    EXPECT_EQ(Module().WinRMRestartService("Spooler", error), -1);
    EXPECT_STREQ(error.GetText(), "WMI/WinRM Error 0x80070005: Access is denied");
    EXPECT_EQ(Fake().invocations.size(), 1u);  // no start after a refused stop

    Fake().invokeReplies.clear();
    Fake().Answer("Win32_Service", {Service("Spooler", "Print Spooler", "Stopped")});
    Fake().AnswerInvoke("StartService", static_cast<HResult>(0x8033801A), "");
    EXPECT_EQ(Module().WinRMRestartService("Spooler", error), -1);
    EXPECT_NE(std::string(error.GetText()).find("0x8033801A"), std::string::npos);

    Fake().Fail("Win32_Service", static_cast<HResult>(0x80070005));
    EXPECT_EQ(Module().WinRMRestartService("Spooler", error), -1);
    EXPECT_TRUE(Traced("WinRMGetServiceState failed. Unable to retrieve current process state (Spooler)."));
}

class PrinterTest : public CheckTest {
  protected:
    int Run(const char* printer) {
        found = 5;
        availability = 9;
        return Module().WinRMGetPrinterState(printer, found, availability, errorState, status, error);
    }
    Numbers Values() const { return {found, availability, errorState, status}; }
    std::uint32_t found = 0, availability = 0, errorState = 0, status = 0;
};

TEST_F(PrinterTest, StateValuesArePassedOnUnmapped) {
    Fake().Answer("Win32_Printer", {Printer("Zebra", "3", "4", "7"), Printer("HP", std::nullopt, "2", "3")});
    EXPECT_EQ(Run("zebra"), 0);
    EXPECT_TRUE(Traced("Value for [DetectedErrorState]: '4' ([4])."));
    // Without an Availability value the other two still count.
    EXPECT_EQ(Run("HP"), 0);
    EXPECT_EQ(Values(), (Numbers{1, 0, 2, 3}));
}

TEST_F(PrinterTest, UnknownOrIncompletePrintersFail) {
    Fake().Answer("Win32_Printer", {Printer("Zebra", "3", std::nullopt, "7")});
    EXPECT_EQ(Run("Other"), -1);
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(Run("Zebra"), -1);
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(availability, 3u);
    EXPECT_TRUE(Traced("WinRMGetPrinterState failed."));
}

}  // namespace
}  // namespace qn::checks_test
