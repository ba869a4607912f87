// Shares, removable drives, terminal-server sessions and network interfaces.
#include "CheckTestSupport.h"

namespace qn::checks_test {
namespace {

constexpr const char* kInterfaceClass = "Win32_PerfFormattedData_Tcpip_NetworkInterface";
constexpr const char* kTermServiceClass = "Win32_PerfFormattedData_TermService_TerminalServices";
constexpr const char* kSessionManagerClass = "Win32_PerfRawData_LocalSessionManager_TerminalServices";

std::string Share(const std::optional<std::string>& name) {
    return Instance("Win32_Share", {{"Name", name}, {"Path", "C:\\"}, {"Type", "2147483648"}});
}

std::string Drive(const std::optional<std::string>& interfaceType, const std::optional<std::string>& model) {
    return Instance("Win32_DiskDrive",
                    {{"Caption", "Disk"}, {"InterfaceType", interfaceType}, {"Model", model}});
}

std::string Sessions(const char* className, const std::optional<std::string>& active,
                     const std::optional<std::string>& inactive) {
    return Instance(className,
                    {{"ActiveSessions", active}, {"InactiveSessions", inactive}, {"TotalSessions", "9"}});
}

std::string Interface(const std::optional<std::string>& name,
                      const std::optional<std::string>& bandwidth = "1000000000",
                      const std::optional<std::string>& bytes = "0") {
    return Instance(kInterfaceClass,
                    {{"BytesTotalPersec", bytes}, {"CurrentBandwidth", bandwidth}, {"Name", name}});
}

using ShareStateTest = CheckTest;

TEST_F(ShareStateTest, FoundWithoutRegardToCaseAndMissingFails) {
    Fake().Answer("Win32_Share", {Share("ADMIN$"), Share("C$"), Share(std::nullopt), Share("Users")});
    std::uint32_t found = 0;
    EXPECT_EQ(Module().WinRMGetShareState("c$", found, error), 0);
    EXPECT_EQ(found, 1u);

    // The nameless share ends the search before Users is seen.
    EXPECT_EQ(Module().WinRMGetShareState("Users", found, error), -1);
    EXPECT_EQ(found, 0u);
    EXPECT_STREQ(error.GetText(), "");
}

using RemovableDrivesTest = CheckTest;

TEST_F(RemovableDrivesTest, OnlyUsbModelsJoinedBySemicolons) {
    Fake().Answer("Win32_DiskDrive", {Drive("IDE", "WDC WD10"), Drive("USB", "SanDisk Ultra"),
                                      Drive("SCSI", "VMware"), Drive("usb", "Kingston DT")});
    CQncString list;
    EXPECT_EQ(Module().WinRMGetRemovableDrives(list, error), 0);
    EXPECT_STREQ(list.GetText(), "SanDisk Ultra;Kingston DT");

    Fake().Answer("Win32_DiskDrive", {Drive("IDE", "WDC WD10")});
    EXPECT_EQ(Module().WinRMGetRemovableDrives(list, error), 0);
    EXPECT_STREQ(list.GetText(), "");
}

TEST_F(RemovableDrivesTest, IncompleteDriveFailsKeepingTheModelsBeforeIt) {
    Fake().Answer("Win32_DiskDrive",
                  {Drive("USB", "SanDisk Ultra"), Drive(std::nullopt, "Mystery"), Drive("USB", "Later")});
    CQncString list;
    EXPECT_EQ(Module().WinRMGetRemovableDrives(list, error), -1);
    EXPECT_STREQ(list.GetText(), "SanDisk Ultra");
    EXPECT_TRUE(Traced("CQnWSMan::WinRMGetRemovableDrives failed."));
}

class SessionsTest : public CheckTest {
  protected:
    int Run() {
        active = inactive = third = 9;
        return Module().WinRMGetTerminalServerSessions(active, inactive, third, error);
    }
    Numbers Values() const { return {active, inactive, third}; }
    std::uint32_t active = 0, inactive = 0, third = 0;
};

// The older class's first item counts (tests/e2e), though both are asked; without it the newer one's does.
TEST_F(SessionsTest, TheNewerClassAloneIsEnoughDespiteTheOlderOnesFailure) {
    Fake().Answer(kTermServiceClass, {Sessions(kTermServiceClass, "3", "2")});
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(Fake().CountQueries(std::string("select * from ") + kSessionManagerClass),
              1);  // asked all the same

    Fake().Fail(kTermServiceClass, static_cast<HResult>(0x80338000));
    Fake().Answer(kSessionManagerClass, {Sessions(kSessionManagerClass, "1", "4")});
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(Values(), (Numbers{1, 4, 4}));
    EXPECT_STREQ(error.GetText(), "");
}

TEST_F(SessionsTest, NoItemOrMissingCounterFails) {
    Fake().Fail(kSessionManagerClass, static_cast<HResult>(0x80338000));
    EXPECT_EQ(Run(), -1);
    EXPECT_EQ(active, 0u);
    EXPECT_EQ(std::string(error.GetText()),
              "WMI/WinRM Error 0x80338000: No items can be found at the selected URI.");

    Fake().Answer(kTermServiceClass, {Sessions(kTermServiceClass, "3", std::nullopt)});
    EXPECT_EQ(Run(), -1);
    EXPECT_EQ(Values(), (Numbers{3, 0, 0}));
}

using NicListTest = CheckTest;

TEST_F(NicListTest, NamesSortedAndANamelessInterfaceFails) {
    Fake().Answer(kInterfaceClass, {Interface("Intel[R] Ethernet"), Interface("isatap.local")});
    CQncString list;
    EXPECT_EQ(Module().WinRMGetNICList(list, error), 0);
    EXPECT_STREQ(list.GetText(), "Intel[R] Ethernet||isatap.local");

    Fake().Answer(kInterfaceClass, {Interface("Intel[R] Ethernet"), Interface(std::nullopt)});
    EXPECT_EQ(Module().WinRMGetNICList(list, error), -1);
    EXPECT_STREQ(list.GetText(), "");
    EXPECT_FALSE(Traced("CQnWSMan::WinRMGetNICList - Enumerate returned empty list...."));
}

class NicTrafficTest : public CheckTest {
  protected:
    int Run(const char* nic) {
        found = mbit = bytes = kilobytes = 9;
        return Module().WinRMGetNICTrafficValues(nic, found, mbit, bytes, kilobytes, error);
    }
    Numbers Values() const { return {found, mbit, bytes, kilobytes}; }
    std::uint32_t found = 0, mbit = 0, bytes = 0, kilobytes = 0;
};

TEST_F(NicTrafficTest, BandwidthInMbitAndTrafficRoundedToKibibytes) {
    Fake().Answer(kInterfaceClass, {Interface("lan", "100000000", "1536"), Interface("slow", "999999", "511"),
                                    Interface("wan", "10000000000", "512")});
    EXPECT_EQ(Run("LAN"), 0);
    EXPECT_TRUE(Traced("Value: [CurrentBandwidth] = [100000000]."));
    EXPECT_EQ(Run("slow"), 0);
    EXPECT_EQ(Values(), (Numbers{1, 0, 511, 0}));
    EXPECT_EQ(Run("wan"), 0);
    EXPECT_EQ(Values(), (Numbers{1, 10000, 512, 1}));
}

TEST_F(NicTrafficTest, UnknownInterfaceOrMissingCounterFails) {
    Fake().Answer(kInterfaceClass,
                  {Interface("lan", "100000000", std::nullopt), Interface(std::nullopt), Interface("late")});
    EXPECT_EQ(Run("late"), -1);  // the nameless interface ends the search
    EXPECT_EQ(Values(), (Numbers{0, 0, 0, 0}));
    EXPECT_STREQ(error.GetText(), "");
    EXPECT_EQ(Run("lan"), -1);
    EXPECT_EQ(Values(), (Numbers{1, 100, 0, 0}));
}

}  // namespace
}  // namespace qn::checks_test
