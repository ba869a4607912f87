// Domain role, disk drives, logical-disk space and memory.
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

using DomainTest = CheckTest;

TEST_F(DomainTest, MemberRolesCountAsDomainMembership) {
    CQnWSMan& module = Connect();
    const std::pair<const char*, std::uint32_t> cases[] = {{"0", 0}, {"1", 1}, {"2", 0}, {" 3 ", 1},
                                                           {"4", 1}, {"5", 1}, {"13", 0}};
    for (const auto& [role, member] : cases) {
        Fake().Answer("Win32_ComputerSystem", {ComputerSystem(role, "CORP")});
        CQncString domain;
        CQncString error;
        std::uint32_t isMember = 7;
        EXPECT_EQ(module.WinRMGetDomain(domain, error, isMember), 0) << role;
        EXPECT_EQ(isMember, member) << role;
        EXPECT_STREQ(domain.GetText(), "CORP");
        EXPECT_STREQ(error.GetText(), "");
    }
    EXPECT_TRUE(Traced("WinRMGetDomain, result:[completed], error:[], domain:[CORP]."));
}

TEST_F(DomainTest, MissingValuesAndNoComputerFail) {
    CQnWSMan& module = Connect();
    CQncString domain;
    CQncString error;
    std::uint32_t isMember = 5;

    Fake().Answer("Win32_ComputerSystem", {});
    EXPECT_EQ(module.WinRMGetDomain(domain, error, isMember), -1);
    EXPECT_EQ(isMember, 0u);

    Fake().Answer("Win32_ComputerSystem", {ComputerSystem(std::nullopt, "CORP")});
    EXPECT_EQ(module.WinRMGetDomain(domain, error, isMember), -1);
    EXPECT_STREQ(domain.GetText(), "");

    // The role is judged before the domain is found missing.
    Fake().Answer("Win32_ComputerSystem", {Instance("Win32_ComputerSystem", {{"DomainRole", "3"}})});
    EXPECT_EQ(module.WinRMGetDomain(domain, error, isMember), -1);
    EXPECT_EQ(isMember, 1u);
    EXPECT_STREQ(error.GetText(), "XML attribute missing");
    EXPECT_TRUE(Traced("WinRMGetDomain, result:[failed], error:[XML attribute missing], domain:[]."));
}

TEST_F(DomainTest, EnumerationFailureCarriesTheWinRMText) {
    CQnWSMan& module = Connect();
    Fake().Fail("Win32_ComputerSystem", static_cast<HResult>(0x80070005));
    CQncString domain("stale");
    CQncString error;
    std::uint32_t isMember = 1;
    EXPECT_EQ(module.WinRMGetDomain(domain, error, isMember), -1);
    EXPECT_STREQ(error.GetText(), "WMI/WinRM Error 0x80070005: Access is denied");
    EXPECT_STREQ(domain.GetText(), "");
    EXPECT_EQ(isMember, 0u);
}

using DisksStateTest = CheckTest;

TEST_F(DisksStateTest, HealthyDisksAreListedInBrackets) {
    CQnWSMan& module = Connect();
    Fake().Answer("Win32_DiskDrive", {Disk("Disk 0", "OK"), Disk("Disk 1", "ok")});
    std::uint32_t allOk = 0;
    CQncString list, bad, badStatus, error;
    EXPECT_EQ(module.WinRMGetDisksState(allOk, list, bad, badStatus, error), 0);
    EXPECT_EQ(allOk, 1u);
    EXPECT_STREQ(list.GetText(), "[Disk 0],[Disk 1]");
    EXPECT_STREQ(bad.GetText(), "");
    EXPECT_TRUE(Traced("Found Disk: [Disk 1]..."));
    EXPECT_TRUE(Traced("Found Disk Status: [ok]..."));
    EXPECT_TRUE(Traced("WinRMGetDisksState completed."));
}

TEST_F(DisksStateTest, OnlyTheFirstUnhealthyDiskIsReported) {
    CQnWSMan& module = Connect();
    Fake().Answer("Win32_DiskDrive", {Disk("Disk 0", "OK"), Disk("Disk 1", "Degraded"),
                                      Disk("Disk 2", "Pred Fail"), Disk("Disk 3", "OK")});
    std::uint32_t allOk = 1;
    CQncString list, bad, badStatus, error;
    EXPECT_EQ(module.WinRMGetDisksState(allOk, list, bad, badStatus, error), 0);
    EXPECT_EQ(allOk, 0u);
    EXPECT_STREQ(list.GetText(), "[Disk 0]");
    EXPECT_STREQ(bad.GetText(), "[Disk 1]");
    EXPECT_STREQ(badStatus.GetText(), "[Degraded]");
    EXPECT_FALSE(Traced("Found Disk: [Disk 2]..."));
}

TEST_F(DisksStateTest, NoDiskIsHealthyAndAMissingStatusFails) {
    CQnWSMan& module = Connect();
    std::uint32_t allOk = 0;
    CQncString list, bad, badStatus, error;
    Fake().Answer("Win32_DiskDrive", {});
    EXPECT_EQ(module.WinRMGetDisksState(allOk, list, bad, badStatus, error), 0);
    EXPECT_EQ(allOk, 1u);
    EXPECT_STREQ(list.GetText(), "");

    Fake().Answer("Win32_DiskDrive", {Disk("Disk 0", "OK"), Disk("Disk 1", std::nullopt)});
    EXPECT_EQ(module.WinRMGetDisksState(allOk, list, bad, badStatus, error), -1);
    EXPECT_STREQ(list.GetText(), "[Disk 0]");
    EXPECT_TRUE(Traced("WinRMGetDisksState failed."));

    Fake().Fail("Win32_DiskDrive", static_cast<HResult>(0x80338000));
    EXPECT_EQ(module.WinRMGetDisksState(allOk, list, bad, badStatus, error), -1);
    EXPECT_EQ(allOk, 0u);
    EXPECT_STREQ(error.GetText(), "WMI/WinRM Error 0x80338000: No items can be found at the selected URI.");
}

class LogicalDiskSpaceTest : public CheckTest {
  protected:
    int Run(const char* drive) {
        found = freeMB = usedMB = sizeMB = 99;
        return Module().WinRMGetLogicalDiskSpace(drive, found, freeMB, usedMB, sizeMB, error);
    }
    std::uint32_t found = 0, freeMB = 0, usedMB = 0, sizeMB = 0;
    CQncString error;
};

TEST_F(LogicalDiskSpaceTest, SpaceInTruncatedMebibytes) {
    Connect();
    // 3.9 MiB of which 1.1 MiB free: used is taken from the truncated values, 3 - 1.
    Fake().Answer("Win32_LogicalDisk", {LogicalDisk("C:", "840649814016", "999650488320"),
                                        LogicalDisk("D:", "1153433", "4089446")});
    EXPECT_EQ(Run("C:"), 0);
    EXPECT_EQ(found, 1u);
    EXPECT_EQ(freeMB, 801706u);
    EXPECT_EQ(sizeMB, 953340u);
    EXPECT_EQ(usedMB, 953340u - 801706u);
    EXPECT_TRUE(Traced("Value for [FreeSpace]: '840649814016' ([801706])."));

    EXPECT_EQ(Run(" D "), 0);
    EXPECT_EQ(freeMB, 1u);
    EXPECT_EQ(sizeMB, 3u);
    EXPECT_EQ(usedMB, 2u);
}

TEST_F(LogicalDiskSpaceTest, NameMatchesExactlyAfterAddingTheColon) {
    Connect();
    Fake().Answer("Win32_LogicalDisk", {LogicalDisk("C:", "1048575", "2097152")});
    EXPECT_EQ(Run("C"), 0);
    EXPECT_EQ(freeMB, 0u);
    EXPECT_EQ(sizeMB, 2u);

    for (const char* other : std::initializer_list<const char*>{"c", "c:", "C:\\", "", nullptr}) {
        EXPECT_EQ(Run(other), -1);
        EXPECT_EQ(found, 0u);
        EXPECT_EQ(freeMB, 0u);
        EXPECT_STREQ(error.GetText(), "");
    }
    EXPECT_TRUE(Traced("WinRMGetLogicalDiskSpace failed."));
}

TEST_F(LogicalDiskSpaceTest, MissingSizeKeepsTheFreeSpace) {
    Connect();
    Fake().Answer("Win32_LogicalDisk", {LogicalDisk("E:", "5242880", std::nullopt)});
    EXPECT_EQ(Run("E:"), -1);
    EXPECT_EQ(found, 1u);
    EXPECT_EQ(freeMB, 5u);
    EXPECT_EQ(sizeMB, 0u);
    EXPECT_EQ(usedMB, 0u);
}

using MemoryTest = CheckTest;

TEST_F(MemoryTest, BytesBecomeMebibytesAndPagesStayUnscaled) {
    CQnWSMan& module = Connect();
    Fake().Answer("Win32_PerfFormattedData_PerfOS_Memory",
                  {Instance("Win32_PerfFormattedData_PerfOS_Memory", {{"AvailableBytes", "4294967296"},
                                                                      {"CommittedBytes", "  3221225472"},
                                                                      {"PagesPerSec", "17 pages"}})});
    std::uint32_t available = 0, committed = 0, pages = 0;
    CQncString error;
    EXPECT_EQ(module.WinRMGetMemory(available, committed, pages, error), 0);
    EXPECT_EQ(available, 4096u);
    EXPECT_EQ(committed, 3072u);
    EXPECT_EQ(pages, 17u);
    EXPECT_TRUE(Traced("Value for [PagesPerSec]: '17 pages' ([17])."));
    EXPECT_TRUE(Traced("WinRMGetMemory completed."));
}

TEST_F(MemoryTest, MissingCounterFailsAfterTheEarlierOnes) {
    CQnWSMan& module = Connect();
    Fake().Answer(
        "Win32_PerfFormattedData_PerfOS_Memory",
        {Instance("Win32_PerfFormattedData_PerfOS_Memory",
                  {{"AvailableBytes", "2097152"}, {"CommittedBytes", std::nullopt}, {"PagesPerSec", "1"}})});
    std::uint32_t available = 0, committed = 0, pages = 0;
    CQncString error;
    EXPECT_EQ(module.WinRMGetMemory(available, committed, pages, error), -1);
    EXPECT_EQ(available, 2u);
    EXPECT_EQ(pages, 0u);
    EXPECT_TRUE(Traced("WinRMGetMemory failed."));
}

}  // namespace
}  // namespace qn::checks_test
