// Every check and action export end to end: the library's exports, the WinRM client on the wire and the
// simulator's server, with a computer whose instances the test sets. Basic over plain HTTP keeps the
// authentication out of the way; enumerations hand over one item per message, so every list is pulled.
// Each export must leave its entry and its exit line in the trace.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "ModuleBench.h"

namespace qn::e2e {
namespace {

using qntest::Properties;
using N = std::vector<std::uint32_t>;
using T = std::vector<std::string>;

constexpr const char* kProcessorClass = "Win32_PerfFormattedData_PerfOS_Processor";
constexpr const char* kWebAdministration = "root/WebAdministration";

// "Name=value|Other" as properties; a name without "=" is nil.
Properties P(const std::string& text) {
    Properties properties;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find('|', start), text.size());
        const std::string pair = text.substr(start, end - start);
        const std::size_t equals = pair.find('=');
        properties.emplace_back(
            pair.substr(0, equals),
            equals == std::string::npos ? std::nullopt : std::optional<std::string>(pair.substr(equals + 1)));
        start = end + 1;
    }
    return properties;
}

class EveryExportTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(bench_.StartSim()) << bench_.SimError();
        computer_ = bench_.Computer();
        h_ = bench_.Handle();
    }

    // Runs one export, which must succeed, and finds its entry line, then its exit line, among the trace
    // lines it wrote.
    void Run(const std::string& entry, const std::string& exit, const std::function<std::uint32_t()>& call) {
        SCOPED_TRACE(entry);
        EXPECT_EQ(call(), QNSNWSM_OK) << error_;
        const auto lines = qntest::ReadTraceMessages(bench_.TraceFile());
        const auto from = lines.begin() + static_cast<std::ptrdiff_t>(std::min(traced_, lines.size()));
        const auto in = std::find(from, lines.end(), entry);
        EXPECT_NE(in, lines.end()) << "no entry line";
        EXPECT_NE(std::find(in, lines.end(), exit), lines.end()) << "no exit line";
        traced_ = lines.size();
    }

    qntest::Bench bench_;
    qntest::CannedComputer* computer_ = nullptr;
    QNSNWSM_HANDLE h_ = nullptr;
    char error_[256] = {};
    std::size_t traced_ = 0;
};

TEST_F(EveryExportTest, ChecksAndActionsReadAndChangeTheComputer) {
    auto& c = *computer_;
    c.Add(kProcessorClass, P("Name=_Total|PercentIdleTime=58|PercentProcessorTime=42"));
    c.Add("Win32_DiskDrive", P("Caption=Disk 0|InterfaceType=IDE|Model=WDC|Status=OK"));
    c.Add("Win32_DiskDrive", P("Caption=Disk 1|InterfaceType=USB|Model=SanDisk|Status=Degraded"));
    c.Add("Win32_LogicalDisk", P("FreeSpace=840649814016|Name=C:|Size=999650488320"));
    c.Add("Win32_Printer", P("Availability=3|DetectedErrorState=4|Name=Zebra|PrinterStatus=7"));
    c.Add("Win32_Printer", P("Availability=3|DetectedErrorState=2|Name=HP LaserJet|PrinterStatus=3"));
    c.Add("Win32_Processor", P("DeviceID=CPU0|NumberOfLogicalProcessors=2"));
    c.Add("Win32_PerfRawData_PerfProc_Process",
          P("Name=app|IDProcess=42|PercentProcessorTime=0|TimeStamp_Sys100NS=0|WorkingSetPrivate=5242880|"
            "PrivateBytes=10485760|HandleCount=70"));
    c.Declare("Win32_Service");
    c.Add("Win32_Service", P("DisplayName=Print Spooler|Name=Spooler|StartMode=Auto|State=Stopped"));
    c.Add("Win32_Service", P("DisplayName=Gateway|Name=ALG|StartMode=Manual|State=Running"));
    c.Add("Win32_Share", P("Name=C$|Path=C:\\|Type=2147483648"));  // instance lists are sorted
    c.Add("Win32_Share", P("Name=ADMIN$|Path=C:\\|Type=2147483648"));
    c.Add("Win32_PerfFormattedData_TermService_TerminalServices",
          P("ActiveSessions=3|InactiveSessions=2|TotalSessions=9"));
    c.Add("Win32_PerfRawData_LocalSessionManager_TerminalServices",
          P("ActiveSessions=7|InactiveSessions=5|TotalSessions=9"));
    const Properties admin =
        P("Caption=PC1\\Administrator|Disabled=false|Domain=PC1|FullName=Built-in "
          "admin|Lockout=false|Name=Administrator");
    c.Add("Win32_UserAccount", admin);
    c.Add("Win32_UserAccount",
          P("Caption=PC1\\guest|Disabled=true|Domain=PC1|FullName|Lockout=false|Name=guest"));
    c.Add("Win32_Group", P("Caption=PC1\\Administrators|Domain=PC1|Name=Administrators"));
    c.AddQuery(
        "Associators of {Win32_Group.Domain='PC1',Name='Administrators'} Where AssocClass=Win32_GroupUser "
        "Role=GroupComponent",
        qntest::RenderInstance("Win32_UserAccount", admin));
    const char* nic = "Win32_PerfFormattedData_Tcpip_NetworkInterface";
    c.Add(nic, P("BytesTotalPersec=1536|CurrentBandwidth=100000000|Name=lan"));
    c.Add(nic, P("BytesTotalPersec=0|CurrentBandwidth=1000000000|Name=Intel[R] Ethernet"));
    c.Add("Win32_PerfRawData_MSMQ_MSMQQueue",
          P("BytesInQueue=5000000|MessagesInQueue=12|Name=host\\private$\\orders"));
    c.AddItem("meta_class", qntest::RenderInstance("Win32_Share", P("Name|Path")));
    c.AddItem("meta_class", qntest::RenderInstance("CIM_Process", P("Name")));
    for (const char* method : {"StopService", "StartService", "Reboot"})
        c.SetOutput(method, P("ReturnValue=0"));
    c.Add("ApplicationPool", P("Name=DefaultAppPool"), kWebAdministration);
    c.SetOutput("GetState", P("ReturnValue=1"));
    ASSERT_EQ(bench_.ConnectToSim(), QNSNWSM_OK) << bench_.ErrorText();

    char a[256], b[256], s[256], d[256];
    std::uint32_t n1 = 7, n2 = 7, n3 = 7, n4 = 7;
    const auto E = sizeof error_;
    Run("CQnWSMan::WinRMGetDomain called...", "WinRMGetDomain, result:[completed], error:[], domain:[CORP].",
        [&] { return WSManGetDomain(h_, a, sizeof a, error_, E, &n1); });
    EXPECT_STREQ(a, "CORP");
    EXPECT_EQ(n1, 1u);
    Run("CQnWSMan::WinRMGetCpuUsage called...",
        "CQnWSMan::WinRMGetCpuUsage, result:[completed], error:[], CPU:[_total].",
        [&] { return WSManGetCpuUsage(h_, "_total", 1, 0, &n1, error_, E); });
    EXPECT_EQ(n1, 42u);
    Run("WinRMGetDisksState called...", "WinRMGetDisksState completed.",
        [&] { return WSManGetDisksState(h_, &n1, a, b, s, 256, error_, E); });
    EXPECT_EQ(n1, 0u);
    EXPECT_EQ((T{a, b, s}), (T{"[Disk 0]", "[Disk 1]", "[Degraded]"}));
    // The three buffers share one size.
    EXPECT_EQ(WSManGetDisksState(h_, &n1, a, b, s, 7, error_, E), QNSNWSM_OK);
    EXPECT_EQ((T{a, b, s}), (T{"[Disk ", "[Disk ", "[Degra"}));
    Run("Calling WinRMGetLogicalDiskSpace (C)...", "WinRMGetLogicalDiskSpace completed.",
        [&] { return WSManGetLogicalDiskSpace(h_, "C", &n1, &n2, &n3, &n4, error_, E); });
    EXPECT_EQ((N{n1, n2, n3, n4}), (N{1, 801706, 953340u - 801706u, 953340}));
    Run("Enumerate called (Win32_PerfFormattedData_PerfOS_Memory), namespace = [root\\cimv2]...",
        "WinRMGetMemory completed.", [&] { return WSManGetMemory(h_, &n1, &n2, &n3, error_, E); });
    EXPECT_EQ((N{n1, n2, n3}), (N{4096, 1024, 12}));
    Run("Calling WinRMGetPrinterList...", "WinRMGetPrinterList completed.",
        [&] { return WSManGetPrinterList(h_, a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "HP LaserJet;;||Zebra;;");
    Run("Calling WinRMGetPrinterState (zebra)...", "WinRMGetPrinterState completed.",
        [&] { return WSManGetPrinterState(h_, "zebra", &n1, &n2, &n3, &n4, error_, E); });
    EXPECT_EQ((N{n1, n2, n3, n4}), (N{1, 3, 4, 7}));
    Run("Calling WinRMGetProcessList...", "WinRMGetProcessList completed.",
        [&] { return WSManGetProcessList(h_, a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "proc0.exe||proc1.exe||proc2.exe||proc3.exe||proc4.exe");
    Run("Calling WinRMGetProcessState (PROC3.EXE)...", "WinRMGetProcessState completed.",
        [&] { return WSManGetProcessState(h_, "PROC3.EXE", &n1, error_, E); });
    EXPECT_EQ(n1, 1u);
    Run("Calling CQnWSMan::WinRMGetProcessCpuMemHandles (app.exe)...",
        "CQnWSMan::WinRMGetProcessCpuMemHandles completed.", [&] {
            return WSManGetProcessCpuMemHandles(h_, "app.exe", nullptr, static_cast<std::uint32_t>(-1), 0, 0,
                                                0, 0, 0, &n1, a, sizeof a, &n2, &n3, &n4, error_, E);
        });
    EXPECT_EQ(n1, 42u);
    EXPECT_STREQ(a, "app");
    EXPECT_EQ((N{n2, n3, n4}), (N{0xFFFFFFFFu, 5, 70}));
    Run("Calling CQnWSMan::WinRMGetMsMqList...", "CQnWSMan::WinRMGetMsMqList completed; #Queues found: [1]",
        [&] { return WSManGetMsMqList(h_, a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "private$\\orders");
    Run("CQnWSMan::WinRMGetMsMqLength [PRIVATE$\\ORDERS] called...",
        "CQnWSMan::WinRMGetMsMqLength completed.",
        [&] { return WSManGetMsMqLength(h_, "PRIVATE$\\ORDERS", &n1, &n2, &n3, error_, E); });
    EXPECT_EQ((N{n1, n2, n3}), (N{1, 12, 4882}));
    Run("Calling WinRMGetServiceList...", "WinRMGetServiceList completed.",
        [&] { return WSManGetServiceList(h_, a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "ALG;;Gateway||Spooler;;Print Spooler");
    Run("CQnWSMan::WinRMGetServiceState [print spooler] called...",
        "CQnWSMan::WinRMGetServiceState completed.", [&] {
            return WSManGetServiceState(h_, "print spooler", a, sizeof a, b, sizeof b, &n1, s, sizeof s, d,
                                        sizeof d, error_, E);
        });
    EXPECT_EQ((T{a, b, s, d}), (T{"Spooler", "Print Spooler", "Stopped", "Auto"}));
    EXPECT_EQ(n1, 1u);
    Run("Calling CQnWSMan::WinRMGetShareState.", "CQnWSMan::WinRMGetShareState completed.",
        [&] { return WSManGetShareState(h_, "c$", &n1, a, sizeof a, error_, E); });
    EXPECT_EQ(n1, 1u);
    EXPECT_STREQ(a, "");
    Run("Calling CQnWSMan::WinRMGetTerminalServerSessions.",
        "CQnWSMan::WinRMGetTerminalServerSessions completed.",
        [&] { return WSManGetTerminalServerSessions(h_, &n1, &n2, &n3, error_, E); });
    EXPECT_EQ((N{n1, n2, n3}), (N{3, 2, 2}));
    Run("Calling CQnWSMan::WinRMGetWmiCounterData (Win32_PerfFormattedData_PerfOS_Processor, _total, "
        "PercentIdleTime).",
        "CQnWSMan::WinRMGetWmiCounterData completed.", [&] {
            return WSManGetWmiCounterData(h_, kProcessorClass, "PercentIdleTime", "_total", &n1, a, sizeof a,
                                          error_, E);
        });
    EXPECT_STREQ(a, "58");
    EXPECT_EQ(n1, 1u);
    Run("Calling CQnWSMan::WinRMGetRemovableDrives.", "CQnWSMan::WinRMGetRemovableDrives completed.",
        [&] { return WSManGetRemovableDrives(h_, a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "SanDisk");
    Run("Calling CQnWSMan::WinRMGetWinUserAccountList.", "CQnWSMan::WinRMGetWinUserAccountList completed.",
        [&] { return WSManGetWinUserAccountList(h_, a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "PC1\\Administrator;;Built-in admin;;Administrator;;0;;0||PC1\\guest;;;;guest;;0;;1");
    Run("CQnWSMan::WinRMGetWinGroupList called.", "CQnWSMan::WinRMGetWinGroupList completed.",
        [&] { return WSManGetWinGroupList(h_, a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "PC1\\Administrators;;Administrators;;PC1");
    Run("Calling CQnWSMan::WinRMGetWinGroupMemberList.", "CQnWSMan::WinRMGetWinGroupMemberList completed.",
        [&] { return WSManGetWinGroupMemberList(h_, "Administrators", "PC1", a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "PC1\\Administrator;;Built-in admin;;Administrator");
    Run("Calling CQnWSMan::WinRMGetNICList.", "CQnWSMan::WinRMGetNICList completed.",
        [&] { return WSManGetNICList(h_, a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "Intel[R] Ethernet||lan");
    Run("Calling CQnWSMan::WinRMGetNICTrafficValues.", "CQnWSMan::WinRMGetNICTrafficValues completed.",
        [&] { return WSManGetNICTrafficValues(h_, "LAN", &n1, &n2, &n3, &n4, error_, E); });
    EXPECT_EQ((N{n1, n2, n3, n4}), (N{1, 100, 1536, 2}));
    Run("Calling CQnWSMan::WinRMCollectClasses.", "CQnWSMan::WinRMCollectClasses (result:completed)",
        [&] { return WSManCollectClasses(h_, a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "Win32_Share");
    Run("Calling Win32_Share (CQnWSMan::WinRMCollectInstances).",
        "CQnWSMan::WinRMCollectInstances (result:completed)",
        [&] { return WSManCollectInstances(h_, "Win32_Share", a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "ADMIN$||C$");
    Run("CQnWSMan::WinRMCollectProperties called...",
        "CQnWSMan::WinRMCollectProperties completed, #properties: 2, result:completed",
        [&] { return WSManCollectProperties(h_, "Win32_Share", a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "Name;;8||Path;;8");
    Run("Calling CQnWSMan::WinRMRestartService (Spooler).", "CQnWSMan::WinRMRestartService completed.",
        [&] { return WSManRestartService(h_, "Spooler", error_, E); });
    Run("Calling CQnWSMan::WinRMRebootComputer.", "CQnWSMan::WinRMRebootComputer completed.",
        [&] { return WSManRebootComputer(h_, error_, E); });
    T called;
    for (const auto& call : c.Calls()) called.push_back(call.className + "." + call.method);
    EXPECT_EQ(called,
              (T{"Win32_Service.StopService", "Win32_Service.StartService", "Win32_OperatingSystem.Reboot"}));
    EXPECT_EQ(c.Calls()[0].selectors.at("Name"), "Spooler");

    ASSERT_EQ(bench_.ConnectToSim("root\\WebAdministration"), QNSNWSM_OK) << bench_.ErrorText();
    Run("Calling CQnWSMan::WinRMGetApplicationPoolList.", "CQnWSMan::WinRMGetApplicationPoolList completed.",
        [&] { return WSManGetApplicationPoolList(h_, a, sizeof a, error_, E); });
    EXPECT_STREQ(a, "DefaultAppPool");
    Run("Calling CQnWSMan::WinRMGetApplicationPoolState.",
        "CQnWSMan::WinRMGetApplicationPoolState completed.",
        [&] { return WSManGetApplicationPoolState(h_, "DefaultAppPool", &n1, a, sizeof a, error_, E); });
    EXPECT_EQ(n1, 1u);
    EXPECT_STREQ(a, "Started");
    EXPECT_EQ(c.Calls().back().selectors.at("Name"), "DefaultAppPool");
}

TEST_F(EveryExportTest, LongListsArePulledWholeAndCutAtTheBuffer) {
    computer_->Declare("Win32_Process");
    for (int i = 0; i < 120; ++i) {
        computer_->Add("Win32_Process", {{"Name", "proc" + std::to_string(1000 + i) + ".exe"},
                                         {"ProcessId", std::to_string(i + 8)}});
    }
    ASSERT_EQ(bench_.ConnectToSim(), QNSNWSM_OK) << bench_.ErrorText();
    std::vector<char> list(4096);
    EXPECT_EQ(WSManGetProcessList(h_, list.data(), 4096, error_, sizeof error_), QNSNWSM_OK);
    const std::string joined(list.data());
    EXPECT_EQ(joined.size(), 120u * 12u + 119u * 2u);
    EXPECT_EQ(joined.substr(0, 26), "proc1000.exe||proc1001.exe");
    char small[20];
    EXPECT_EQ(WSManGetProcessList(h_, small, sizeof small, error_, sizeof error_), QNSNWSM_OK);
    EXPECT_STREQ(small, "proc1000.exe||proc1");
    // The schema lists keep whole entries only, "||" counted before the first one too: 2 + 12 fits in 14.
    EXPECT_EQ(WSManCollectInstances(h_, "Win32_Process", small, 14, error_, sizeof error_), QNSNWSM_OK);
    EXPECT_STREQ(small, "proc1000.exe");
    EXPECT_EQ(WSManCollectInstances(h_, "Win32_Process", small, 13, error_, sizeof error_), QNSNWSM_OK);
    EXPECT_STREQ(small, "");
    std::uint32_t running = 0;
    EXPECT_EQ(WSManGetProcessState(h_, "PROC1119.EXE", &running, error_, sizeof error_), QNSNWSM_OK);
    EXPECT_EQ(running, 1u);
}

TEST_F(EveryExportTest, FailuresReachTheHost) {
    computer_->Add("Win32_LogicalDisk", P("FreeSpace=1|Name=C:|Size=2"));
    ASSERT_EQ(bench_.ConnectToSim(), QNSNWSM_OK) << bench_.ErrorText();
    std::uint32_t found = 1, n = 0;
    EXPECT_EQ(WSManGetLogicalDiskSpace(h_, "c", &found, &n, &n, &n, error_, sizeof error_), QNSNWSM_FAILURE);
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(WSManRestartService(h_, "NoSuchService", error_, sizeof error_), QNSNWSM_FAILURE);
    EXPECT_STREQ(error_, "Service not installed.");
    char text[8];
    found = 1;
    EXPECT_EQ(WSManGetShareState(h_, "C$", &found, text, sizeof text, error_, sizeof error_),
              QNSNWSM_FAILURE);
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(std::string(error_), qntest::WinrmErrorText(0x8033801A));

    // A failed list export leaves the whole list buffer zeroed.
    const char* members =
        "Associators of {Win32_Group.Domain='PC1',Name='Users'} Where AssocClass=Win32_GroupUser "
        "Role=GroupComponent";
    computer_->AddQuery(members, qntest::RenderInstance("Win32_UserAccount", P("Caption=PC1\\a|Name=a")));
    computer_->AddQuery(members, qntest::RenderInstance("Win32_UserAccount", P("Caption=PC1\\b")));
    char list[64];
    std::memset(list, 'x', sizeof list);
    EXPECT_EQ(WSManGetWinGroupMemberList(h_, "Users", "PC1", list, sizeof list, error_, sizeof error_),
              QNSNWSM_FAILURE);
    EXPECT_EQ(std::string(list, sizeof list), std::string(sizeof list, '\0'));
    EXPECT_STREQ(error_, "XML attribute missing");
}

}  // namespace
}  // namespace qn::e2e
