// Services (list, state, restart) and printers (list, state).
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
    CQnWSMan& module = Connect();
    Fake().Answer("Win32_Service", {Service("Spooler", "Print Spooler"), Service("wuauserv", std::nullopt),
                                    Service("ALG", "Gateway")});
    CQncString list;
    CQncString error;
    EXPECT_EQ(module.WinRMGetServiceList(list, error), 0);
    EXPECT_STREQ(list.GetText(), "ALG;;Gateway||Spooler;;Print Spooler");
    EXPECT_TRUE(Traced("WinRMGetServiceList completed."));
}

class ServiceStateTest : public CheckTest {
  protected:
    int Run(const char* wanted) {
        installed = 9;
        return Module().WinRMGetServiceState(wanted, name, displayName, installed, state, startMode, error);
    }
    CQncString name, displayName, state, startMode, error;
    std::uint32_t installed = 0;
};

TEST_F(ServiceStateTest, NameIsSearchedBeforeDisplayName) {
    Connect();
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
    EXPECT_TRUE(Traced("CQnWSMan::WinRMGetServiceState [print spooler] called..."));
}

TEST_F(ServiceStateTest, UnknownServiceCompletesAsNotInstalled) {
    Connect();
    Fake().Answer("Win32_Service", {Service("Spooler", "Print Spooler")});
    EXPECT_EQ(Run("nosuch"), 0);
    EXPECT_EQ(installed, 0u);
    EXPECT_STREQ(name.GetText(), "");
    EXPECT_STREQ(displayName.GetText(), "");
    EXPECT_STREQ(state.GetText(), "");
}

TEST_F(ServiceStateTest, IncompleteServicesFail) {
    Connect();
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
    CQnWSMan& module = Connect("root\\cimv2");
    Fake().AnswerNext("Win32_Service", {Service("Spooler", "Print Spooler", "Running")});       // lookup
    Fake().AnswerNext("Win32_Service", {Service("Spooler", "Print Spooler", "Stop Pending")});  // poll 1
    Fake().AnswerNext("Win32_Service", {Service("Spooler", "Print Spooler", "Stop Pending")});  // poll 2
    Fake().AnswerNext("Win32_Service", {Service("Spooler", "Print Spooler", "STOPPED")});       // poll 3
    Fake().AnswerNext("Win32_Service", {Service("Spooler", "Print Spooler", "Running")});
    CQncString error;
    EXPECT_EQ(module.WinRMRestartService("spooler", error), 0);
    ASSERT_EQ(Fake().invocations.size(), 2u);
    const std::string uri =
        "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service?Name=Spooler";
    EXPECT_EQ(Fake().invocations[0].action, "StopService");
    EXPECT_EQ(Fake().invocations[0].resourceUri, uri);
    EXPECT_EQ(Fake().invocations[0].parameters,
              "<p:StopService_INPUT xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/"
              "Win32_Service\"></p:StopService_INPUT>");
    EXPECT_EQ(Fake().invocations[1].action, "StartService");
    EXPECT_EQ(Fake().invocations[1].resourceUri, uri);
    EXPECT_EQ(Fake().invocations[1].parameters,
              "<p:StartService_INPUT xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/"
              "Win32_Service\"></p:StartService_INPUT>");
    EXPECT_EQ(Clock().sleeps, (std::vector<std::uint32_t>{1000, 1000}));
    EXPECT_TRUE(Traced("WinRMGetServiceState returned state = [STOPPED].."));
    EXPECT_TRUE(Traced("CQnWSMan::WinRMRestartService completed."));
}

TEST_F(RestartServiceTest, GivesUpWaitingAfterTwentySeconds) {
    CQnWSMan& module = Connect();
    Fake().Answer("Win32_Service", {Service("Spooler", "Print Spooler", "Stop Pending")});
    CQncString error;
    EXPECT_EQ(module.WinRMRestartService("Spooler", error), 0);
    EXPECT_EQ(Clock().sleeps.size(), 20u);
    EXPECT_EQ(Fake().invocations.size(), 2u);
}

TEST_F(RestartServiceTest, WaitEndsAtOnceWhenTheDeadlineWraps) {
    // t0 + 20000 wraps to a small number, so the plain comparison ends the wait before the first poll.
    CQnWSMan& module = Connect();
    Clock().ticks = 0xFFFFF000u;
    Fake().Answer("Win32_Service", {Service("Spooler", "Print Spooler", "Stop Pending")});
    CQncString error;
    EXPECT_EQ(module.WinRMRestartService("Spooler", error), 0);
    EXPECT_TRUE(Clock().sleeps.empty());
    EXPECT_EQ(Fake().invocations.size(), 2u);
}

TEST_F(RestartServiceTest, RefusalsAndUnknownServicesFail) {
    CQnWSMan& module = Connect();
    Fake().Answer("Win32_Service", {Service("Spooler", "Print Spooler")});
    CQncString error;
    EXPECT_EQ(module.WinRMRestartService("nosuch", error), -1);
    EXPECT_STREQ(error.GetText(), "Service not installed.");
    EXPECT_TRUE(Fake().invocations.empty());

    Fake().AnswerInvoke("StopService", static_cast<HResult>(0x80070005), "");
    EXPECT_EQ(module.WinRMRestartService("Spooler", error), -1);
    EXPECT_STREQ(error.GetText(), "WMI/WinRM Error 0x80070005: Access is denied");
    EXPECT_EQ(Fake().invocations.size(), 1u);  // no start after a refused stop

    Fake().invokeReplies.clear();
    Fake().Answer("Win32_Service", {Service("Spooler", "Print Spooler", "Stopped")});
    Fake().AnswerInvoke("StartService", static_cast<HResult>(0x8033801A), "");
    EXPECT_EQ(module.WinRMRestartService("Spooler", error), -1);
    EXPECT_NE(std::string(error.GetText()).find("0x8033801A"), std::string::npos);

    Fake().Fail("Win32_Service", static_cast<HResult>(0x80070005));
    EXPECT_EQ(module.WinRMRestartService("Spooler", error), -1);
    EXPECT_TRUE(Traced("WinRMGetServiceState failed. Unable to retrieve current process state (Spooler)."));
}

using PrinterTest = CheckTest;

TEST_F(PrinterTest, ListEntriesHaveAnEmptySecondField) {
    CQnWSMan& module = Connect();
    Fake().Answer("Win32_Printer", {Printer("Zebra", "3"), Printer("HP LaserJet", "3")});
    CQncString list;
    CQncString error;
    EXPECT_EQ(module.WinRMGetPrinterList(list, error), 0);
    EXPECT_STREQ(list.GetText(), "HP LaserJet;;||Zebra;;");
    EXPECT_TRUE(Traced("WinRMGetPrinterList completed."));
}

TEST_F(PrinterTest, StateValuesArePassedOnUnmapped) {
    CQnWSMan& module = Connect();
    Fake().Answer("Win32_Printer", {Printer("Zebra", "3", "4", "7"), Printer("HP", std::nullopt, "2", "3")});
    std::uint32_t found = 0, availability = 9, errorState = 0, status = 0;
    CQncString error;
    EXPECT_EQ(module.WinRMGetPrinterState("zebra", found, availability, errorState, status, error), 0);
    EXPECT_EQ(found, 1u);
    EXPECT_EQ(availability, 3u);
    EXPECT_EQ(errorState, 4u);
    EXPECT_EQ(status, 7u);
    EXPECT_TRUE(Traced("Value for [DetectedErrorState]: '4' ([4])."));

    // Without an Availability value the other two still count.
    EXPECT_EQ(module.WinRMGetPrinterState("HP", found, availability, errorState, status, error), 0);
    EXPECT_EQ(availability, 0u);
    EXPECT_EQ(errorState, 2u);
}

TEST_F(PrinterTest, UnknownOrIncompletePrintersFail) {
    CQnWSMan& module = Connect();
    Fake().Answer("Win32_Printer", {Printer("Zebra", "3", std::nullopt, "7")});
    std::uint32_t found = 5, availability = 0, errorState = 0, status = 0;
    CQncString error;
    EXPECT_EQ(module.WinRMGetPrinterState("Other", found, availability, errorState, status, error), -1);
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(module.WinRMGetPrinterState("Zebra", found, availability, errorState, status, error), -1);
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(availability, 3u);
    EXPECT_TRUE(Traced("WinRMGetPrinterState failed."));
}

}  // namespace
}  // namespace qn::checks_test
