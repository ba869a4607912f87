// Services (state, restart), printers, removable drives, terminal-server sessions and network interfaces:
// records without values, the restart's waiting on a clock that moves only when the module sleeps, units.
#include "CheckTestSupport.h"

namespace qn::checks_test {
namespace {

std::string Service(const std::optional<std::string>& displayName, const std::string& state = "Running",
                    const std::string& name = "Spooler") {
    return Instance("Win32_Service",
                    {{"DisplayName", displayName}, {"Name", name}, {"StartMode", "Auto"}, {"State", state}});
}

using ServiceTest = CheckTest;

TEST_F(ServiceTest, StateLooksUpNamesBeforeDisplayNamesAndFailsOnIncompleteRecords) {
    CQncString name, displayName, state, startMode;
    std::uint32_t installed = 9;
    const auto run = [&](const char* wanted) {
        return Module().WinRMGetServiceState(wanted, name, displayName, installed, state, startMode, error);
    };
    Fake().Answer("Win32_Service",
                  {Service("spooler", "Running", "Alpha"), Service("Print Spooler", "Stopped")});
    EXPECT_EQ(run("SPOOLER"), 0);
    EXPECT_STREQ(state.GetText(), "Stopped");
    EXPECT_EQ(Fake().CountQueries("select * from Win32_Service"), 1);
    EXPECT_EQ(run("print spooler"), 0);  // display names are searched in a second pass
    EXPECT_EQ(Fake().CountQueries("select * from Win32_Service"), 3);
    EXPECT_EQ(run("nosuch"), 0);
    EXPECT_EQ(installed, 0u);
    EXPECT_STREQ(name.GetText(), "");
    Fake().Answer("Win32_Service", {Service(std::nullopt)});
    EXPECT_EQ(run("Spooler"), -1);
    EXPECT_TRUE(Traced("CQnWSMan::WinRMGetServiceState failed."));
}

TEST_F(ServiceTest, RestartStopsWaitsForStoppedAndStarts) {
    for (const char* state : {"Running", "Stop Pending", "Stop Pending", "STOPPED", "Running"}) {
        Fake().AnswerNext("Win32_Service", {Service("Print Spooler", state)});
    }
    EXPECT_EQ(Module().WinRMRestartService("spooler", error), 0);
    ASSERT_EQ(Fake().invocations.size(), 2u);
    EXPECT_EQ(Fake().invocations[1].parameters,
              "<p:StartService_INPUT xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/"
              "Win32_Service\"></p:StartService_INPUT>");
    EXPECT_EQ(Clock().sleeps, (Numbers{1000, 1000}));
    EXPECT_TRUE(Traced("WinRMGetServiceState returned state = [STOPPED].."));
}

TEST_F(ServiceTest, RestartGivesUpWaitingAfterTwentySecondsOrAtOnceWhenTheDeadlineWraps) {
    Fake().Answer("Win32_Service", {Service("Print Spooler", "Stop Pending")});
    EXPECT_EQ(Module().WinRMRestartService("Spooler", error), 0);
    EXPECT_EQ(Clock().sleeps.size(), 20u);
    EXPECT_EQ(Fake().invocations.size(), 2u);

    // t0 + 20000 wraps to a small number, so the plain comparison ends the wait before the first poll.
    Clock().ticks = 0xFFFFF000u;
    Clock().sleeps.clear();
    EXPECT_EQ(Module().WinRMRestartService("Spooler", error), 0);
    EXPECT_TRUE(Clock().sleeps.empty());
    EXPECT_EQ(Fake().invocations.size(), 4u);
}

TEST_F(ServiceTest, RestartFailsOnARefusedStopOrAnUnreadableState) {
    Fake().Answer("Win32_Service", {Service("Print Spooler")});
    Fake().AnswerInvoke("StopService", ToHResult(0x80070005), "");
    EXPECT_EQ(Module().WinRMRestartService("Spooler", error), -1);
    EXPECT_EQ(Fake().invocations.size(), 1u);  // no start after a refused stop
    Fake().Fail("Win32_Service", ToHResult(0x80070005));
    EXPECT_EQ(Module().WinRMRestartService("Spooler", error), -1);
    EXPECT_TRUE(Traced("WinRMGetServiceState failed. Unable to retrieve current process state (Spooler)."));
}

using DeviceTest = CheckTest;

TEST_F(DeviceTest, MissingValuesOfPrintersAndDrives) {
    const auto printer = [](const char* name, const std::optional<std::string>& availability,
                            const std::optional<std::string>& errorState) {
        return Instance("Win32_Printer", {{"Availability", availability},
                                          {"DetectedErrorState", errorState},
                                          {"Name", name},
                                          {"PrinterStatus", "3"}});
    };
    Fake().Answer("Win32_Printer", {printer("HP", std::nullopt, "2"), printer("Zebra", "3", std::nullopt)});
    std::uint32_t found = 5, availability = 9, errorState = 0, status = 0;
    EXPECT_EQ(Module().WinRMGetPrinterState("HP", found, availability, errorState, status, error), 0);
    EXPECT_EQ((Numbers{found, availability, errorState, status}), (Numbers{1, 0, 2, 3}));
    EXPECT_EQ(Module().WinRMGetPrinterState("Zebra", found, availability, errorState, status, error), -1);
    EXPECT_EQ((Numbers{found, availability}), (Numbers{0, 3}));

    // Drives are listed up to the first without an interface type.
    const auto drive = [](const std::optional<std::string>& interfaceType, const char* model) {
        return Instance("Win32_DiskDrive", {{"InterfaceType", interfaceType}, {"Model", model}});
    };
    Fake().Answer("Win32_DiskDrive", {drive("IDE", "WDC"), drive("usb", "SanDisk"), drive("USB", "Kingston"),
                                      drive(std::nullopt, "Mystery"), drive("USB", "Later")});
    CQncString list;
    EXPECT_EQ(Module().WinRMGetRemovableDrives(list, error), -1);
    EXPECT_STREQ(list.GetText(), "SanDisk;Kingston");
}

TEST_F(DeviceTest, SessionsFromTheNewerClassWhenTheOlderIsMissing) {
    constexpr const char* kNewer = "Win32_PerfRawData_LocalSessionManager_TerminalServices";
    std::uint32_t active = 9, inactive = 9, third = 9;
    // The older class's first item counts (tests/e2e); without it the newer one's does.
    Fake().Fail("Win32_PerfFormattedData_TermService_TerminalServices", ToHResult(0x80338000));
    Fake().Answer(kNewer, {Instance(kNewer, {{"ActiveSessions", "1"}, {"InactiveSessions", "4"}})});
    EXPECT_EQ(Module().WinRMGetTerminalServerSessions(active, inactive, third, error), 0);
    EXPECT_EQ((Numbers{active, inactive, third}), (Numbers{1, 4, 4}));
}

TEST_F(DeviceTest, InterfaceBandwidthInMbitAndTrafficRoundedToKibibytes) {
    constexpr const char* kInterfaceClass = "Win32_PerfFormattedData_Tcpip_NetworkInterface";
    const auto nic = [&](const std::optional<std::string>& name, const char* bandwidth,
                         const std::optional<std::string>& bytes) {
        return Instance(kInterfaceClass,
                        {{"BytesTotalPersec", bytes}, {"CurrentBandwidth", bandwidth}, {"Name", name}});
    };
    Fake().Answer(kInterfaceClass, {nic("wan", "10000000000", "511"), nic("lan", "100000000", std::nullopt),
                                    nic(std::nullopt, "1", "0"), nic("late", "1", "0")});
    std::uint32_t found = 9, mbit = 9, bytes = 9, kilobytes = 9;
    const auto run = [&](const char* name) {
        const int result = Module().WinRMGetNICTrafficValues(name, found, mbit, bytes, kilobytes, error);
        return std::make_pair(result, Numbers{found, mbit, bytes, kilobytes});
    };
    EXPECT_EQ(run("wan"), std::make_pair(0, Numbers{1, 10000, 511, 0}));
    EXPECT_EQ(run("lan"), std::make_pair(-1, Numbers{1, 100, 0, 0}));
    EXPECT_EQ(run("late"),
              std::make_pair(-1, Numbers{0, 0, 0, 0}));  // the nameless interface ends the search
}

}  // namespace
}  // namespace qn::checks_test
