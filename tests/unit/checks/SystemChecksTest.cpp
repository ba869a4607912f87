// Domain role, disk drives, logical-disk space and memory: the records the simulator never sends.
#include "CheckTestSupport.h"

namespace qn::checks_test {
namespace {

std::string ComputerSystem(const std::optional<std::string>& role, const std::optional<std::string>& domain) {
    return Instance("Win32_ComputerSystem", {{"Name", "PC1"}, {"DomainRole", role}, {"Domain", domain}});
}

std::string Disk(const std::string& caption, const std::optional<std::string>& status) {
    return Instance("Win32_DiskDrive", {{"Caption", caption}, {"InterfaceType", "IDE"}, {"Status", status}});
}

std::string LogicalDisk(const std::string& name, const std::optional<std::string>& freeSpace,
                        const std::optional<std::string>& size) {
    return Instance("Win32_LogicalDisk",
                    {{"Caption", name}, {"FreeSpace", freeSpace}, {"Name", name}, {"Size", size}});
}

class DomainTest : public CheckTest {
  protected:
    int Run() {
        isMember = 7;
        return Module().WinRMGetDomain(domain, error, isMember);
    }
    CQncString domain{"stale"};
    std::uint32_t isMember = 0;
};

TEST_F(DomainTest, MemberRolesCountAsDomainMembership) {
    const std::pair<const char*, std::uint32_t> cases[] = {{"0", 0}, {"1", 1}, {"2", 0}, {" 3 ", 1},
                                                           {"4", 1}, {"5", 1}, {"13", 0}};
    for (const auto& [role, member] : cases) {
        Fake().Answer("Win32_ComputerSystem", {ComputerSystem(role, "CORP")});
        EXPECT_EQ(Run(), 0) << role;
        EXPECT_EQ(isMember, member) << role;
        EXPECT_STREQ(domain.GetText(), "CORP");
        EXPECT_STREQ(error.GetText(), "");
    }
}

TEST_F(DomainTest, MissingValuesNoComputerAndRefusalsFail) {
    Fake().Answer("Win32_ComputerSystem", {});
    EXPECT_EQ(Run(), -1);
    EXPECT_EQ(isMember, 0u);

    Fake().Answer("Win32_ComputerSystem", {ComputerSystem(std::nullopt, "CORP")});
    EXPECT_EQ(Run(), -1);
    EXPECT_STREQ(domain.GetText(), "");

    // The role is judged before the domain is found missing.
    Fake().Answer("Win32_ComputerSystem", {Instance("Win32_ComputerSystem", {{"DomainRole", "3"}})});
    EXPECT_EQ(Run(), -1);
    EXPECT_EQ(isMember, 1u);
    EXPECT_STREQ(error.GetText(), "XML attribute missing");
    EXPECT_TRUE(Traced("WinRMGetDomain, result:[failed], error:[XML attribute missing], domain:[]."));

    domain = "stale";
    Fake().Fail("Win32_ComputerSystem", static_cast<HResult>(0x80070005));
    EXPECT_EQ(Run(), -1);
    EXPECT_STREQ(error.GetText(), "WMI/WinRM Error 0x80070005: Access is denied");
    EXPECT_STREQ(domain.GetText(), "");
    EXPECT_EQ(isMember, 0u);
}

class DisksStateTest : public CheckTest {
  protected:
    int Run(std::vector<std::string> disks) {
        Fake().Answer("Win32_DiskDrive", std::move(disks));
        return Module().WinRMGetDisksState(allOk, list, bad, badStatus, error);
    }
    std::uint32_t allOk = 7;
    CQncString list, bad, badStatus;
};

TEST_F(DisksStateTest, HealthyDisksAreListedAndOnlyTheFirstUnhealthyOneIsReported) {
    EXPECT_EQ(Run({Disk("Disk 0", "OK"), Disk("Disk 1", "ok")}), 0);
    EXPECT_EQ(allOk, 1u);
    EXPECT_STREQ(list.GetText(), "[Disk 0],[Disk 1]");
    EXPECT_STREQ(bad.GetText(), "");
    EXPECT_TRUE(Traced("Found Disk Status: [ok]..."));

    EXPECT_EQ(Run({Disk("Disk 0", "OK"), Disk("Disk 1", "Degraded"), Disk("Disk 2", "Pred Fail"),
                   Disk("Disk 3", "OK")}),
              0);
    EXPECT_EQ(allOk, 0u);
    EXPECT_STREQ(list.GetText(), "[Disk 0]");
    EXPECT_STREQ(bad.GetText(), "[Disk 1]");
    EXPECT_STREQ(badStatus.GetText(), "[Degraded]");
    EXPECT_FALSE(Traced("Found Disk: [Disk 2]..."));
}

TEST_F(DisksStateTest, NoDiskIsHealthyAndAMissingStatusFails) {
    EXPECT_EQ(Run({}), 0);
    EXPECT_EQ(allOk, 1u);
    EXPECT_STREQ(list.GetText(), "");

    EXPECT_EQ(Run({Disk("Disk 0", "OK"), Disk("Disk 1", std::nullopt)}), -1);
    EXPECT_STREQ(list.GetText(), "[Disk 0]");
    EXPECT_TRUE(Traced("WinRMGetDisksState failed."));

    Fake().Fail("Win32_DiskDrive", static_cast<HResult>(0x80338000));
    EXPECT_EQ(Module().WinRMGetDisksState(allOk, list, bad, badStatus, error), -1);
    EXPECT_EQ(allOk, 0u);
    EXPECT_STREQ(error.GetText(), "WMI/WinRM Error 0x80338000: No items can be found at the selected URI.");
}

class LogicalDiskSpaceTest : public CheckTest {
  protected:
    int Run(const char* drive) {
        found = freeMB = usedMB = sizeMB = 99;
        return Module().WinRMGetLogicalDiskSpace(drive, found, freeMB, usedMB, sizeMB, error);
    }
    Numbers Values() const { return {found, freeMB, usedMB, sizeMB}; }
    std::uint32_t found = 0, freeMB = 0, usedMB = 0, sizeMB = 0;
};

TEST_F(LogicalDiskSpaceTest, SpaceInTruncatedMebibytesForTheExactName) {
    // 3.9 MiB of which 1.1 MiB free: used is taken from the truncated values, 3 - 1.
    Fake().Answer("Win32_LogicalDisk",
                  {LogicalDisk("C:", "1048575", "2097152"), LogicalDisk("D:", "1153433", "4089446")});
    EXPECT_EQ(Run(" D "), 0);
    EXPECT_EQ(Values(), (Numbers{1, 1, 2, 3}));
    EXPECT_EQ(Run("C"), 0);
    EXPECT_EQ(Values(), (Numbers{1, 0, 2, 2}));

    for (const char* other : std::initializer_list<const char*>{"c", "c:", "C:\\", "", nullptr}) {
        EXPECT_EQ(Run(other), -1);
        EXPECT_EQ(Values(), (Numbers{0, 0, 0, 0}));
        EXPECT_STREQ(error.GetText(), "");
    }
    EXPECT_TRUE(Traced("WinRMGetLogicalDiskSpace failed."));
}

TEST_F(LogicalDiskSpaceTest, MissingSizeKeepsTheFreeSpace) {
    Fake().Answer("Win32_LogicalDisk", {LogicalDisk("E:", "5242880", std::nullopt)});
    EXPECT_EQ(Run("E:"), -1);
    EXPECT_EQ(Values(), (Numbers{1, 5, 0, 0}));
}

class MemoryTest : public CheckTest {
  protected:
    int Run(const qntest::Properties& counters) {
        Fake().Answer("Win32_PerfFormattedData_PerfOS_Memory",
                      {Instance("Win32_PerfFormattedData_PerfOS_Memory", counters)});
        return Module().WinRMGetMemory(available, committed, pages, error);
    }
    Numbers Values() const { return {available, committed, pages}; }
    std::uint32_t available = 0, committed = 0, pages = 0;
};

TEST_F(MemoryTest, BytesBecomeMebibytesAndPagesStayUnscaled) {
    EXPECT_EQ(Run({{"AvailableBytes", "4294967296"},
                   {"CommittedBytes", "  3221225472"},
                   {"PagesPerSec", "17 pages"}}),
              0);
    EXPECT_EQ(Values(), (Numbers{4096, 3072, 17}));
    EXPECT_TRUE(Traced("Value for [PagesPerSec]: '17 pages' ([17])."));
}

TEST_F(MemoryTest, MissingCounterFailsAfterTheEarlierOnes) {
    EXPECT_EQ(Run({{"AvailableBytes", "2097152"}, {"CommittedBytes", std::nullopt}, {"PagesPerSec", "1"}}),
              -1);
    EXPECT_EQ(Values(), (Numbers{2, 0, 0}));
    EXPECT_TRUE(Traced("WinRMGetMemory failed."));
}

}  // namespace
}  // namespace qn::checks_test
