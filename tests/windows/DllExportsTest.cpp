// qnsnwsm.dll as a host sees it before any WinRM is available: the export table and initialisation without
// the WSMan class. (scripts/test-windows.sh checks the import table and the count of exports.)
#include <sstream>
#include <string>

#include "DllTestSupport.h"
#include "TestRunner.h"

using namespace qn::wintest;

QN_TEST(DllExportsEveryFunctionByPlainName) {
    const ModuleDll dll;
    QN_CHECK(dll.IsLoaded());
    std::istringstream names(
        "Initialize Shutdown ConnectToComputer DisconnectComputer GetDomain GetCpuUsage GetDisksState "
        "GetLogicalDiskSpace GetMemory GetPrinterList GetPrinterState GetProcessList GetProcessState "
        "GetProcessCpuMemHandles GetApplicationPoolList GetApplicationPoolState GetMsMqList GetMsMqLength "
        "GetServiceList GetServiceState GetShareState GetTerminalServerSessions GetWmiCounterData "
        "GetRemovableDrives GetWinUserAccountList GetWinGroupList GetWinGroupMemberList GetNICList "
        "GetNICTrafficValues RestartService RebootComputer CollectClasses CollectInstances "
        "CollectProperties");
    int count = 0;
    for (std::string name; names >> name; ++count) {
        if (dll.Find(("WSMan" + name).c_str()) == nullptr) QN_CHECK_EQ("WSMan" + name, "an export");
    }
    QN_CHECK_EQ(count, 34);
    // Nothing but the C interface leaks out under a decorated name.
    QN_CHECK(dll.Find("_WSManInitialize") == nullptr);
    QN_CHECK(dll.Find("WSManInitialize@12") == nullptr);
}

QN_TEST(DllInitializeFailsWithoutTheWsmanClass) {
    const ModuleDll dll;
    const std::string trace = FreshFolder("unregistered") + "\\trace.log";
    QNSNWSM_HANDLE handle = reinterpret_cast<QNSNWSM_HANDLE>(1);
    QN_CHECK_EQ(QN_EXPORT(dll, WSManInitialize)("host", trace.c_str(), &handle), QNSNWSM_FAILURE);
    QN_CHECK(handle == nullptr);

    const std::string log = ReadWholeFile(trace);
    QN_CHECK(log.find("] CoCreateInstance failed (error 0x80040154).\r\n") != std::string::npos);
    // The banner keeps its breaks: lines of their own, written in text mode as CR LF.
    QN_CHECK(log.find("\r\nModule: [qnsnwsm.dll], Build: [892.5061]") != std::string::npos);
    QN_CHECK(log.find("\r\r\n") == std::string::npos);
}
