// qnsnwsm.dll as a host sees it before any WinRM is available: the export table, initialisation without
// the WSMan class, and the NULL-handle rules.
#include <algorithm>
#include <cstring>
#include <string>

#include "DllTestSupport.h"
#include "TestRunner.h"

using namespace qn::wintest;

QN_TEST(DllExportsEveryFunctionByPlainName) {
    const ModuleDll dll;
    QN_CHECK(dll.IsLoaded());
    const char* const names[] = {"WSManInitialize",
                                 "WSManShutdown",
                                 "WSManConnectToComputer",
                                 "WSManDisconnectComputer",
                                 "WSManGetDomain",
                                 "WSManGetCpuUsage",
                                 "WSManGetDisksState",
                                 "WSManGetLogicalDiskSpace",
                                 "WSManGetMemory",
                                 "WSManGetPrinterList",
                                 "WSManGetPrinterState",
                                 "WSManGetProcessList",
                                 "WSManGetProcessState",
                                 "WSManGetProcessCpuMemHandles",
                                 "WSManGetApplicationPoolList",
                                 "WSManGetApplicationPoolState",
                                 "WSManGetMsMqList",
                                 "WSManGetMsMqLength",
                                 "WSManGetServiceList",
                                 "WSManGetServiceState",
                                 "WSManGetShareState",
                                 "WSManGetTerminalServerSessions",
                                 "WSManGetWmiCounterData",
                                 "WSManGetRemovableDrives",
                                 "WSManGetWinUserAccountList",
                                 "WSManGetWinGroupList",
                                 "WSManGetWinGroupMemberList",
                                 "WSManGetNICList",
                                 "WSManGetNICTrafficValues",
                                 "WSManRestartService",
                                 "WSManRebootComputer",
                                 "WSManCollectClasses",
                                 "WSManCollectInstances",
                                 "WSManCollectProperties"};
    static_assert(sizeof names / sizeof names[0] == 34);
    for (const char* name : names) {
        if (dll.Find(name) == nullptr) QN_CHECK_EQ(name, "an export");
    }
    // Nothing but the C interface leaks out under a decorated or internal name.
    QN_CHECK(dll.Find("_WSManInitialize") == nullptr);
    QN_CHECK(dll.Find("WSManInitialize@12") == nullptr);
}

QN_TEST(DllInitializeFailsWithoutTheWsmanClass) {
    const ModuleDll dll;
    const std::string folder = FreshFolder("unregistered");
    const std::string trace = folder + "\\trace.log";
    QNSNWSM_HANDLE handle = reinterpret_cast<QNSNWSM_HANDLE>(1);
    QN_CHECK_EQ(QN_EXPORT(dll, WSManInitialize)("host", trace.c_str(), &handle), QNSNWSM_FAILURE);
    QN_CHECK(handle == nullptr);

    const std::string log = ReadWholeFile(trace);
    QN_CHECK(log.find("Module: [qnsnwsm.dll], Build: [892.5061]") != std::string::npos);
    QN_CHECK(log.find("] CoCreateInstance failed (error 0x80040154).\r\n") != std::string::npos);
    // The banner keeps its breaks: three lines of their own, written in text mode as CR LF.
    QN_CHECK(log.find("\r\nModule: [qnsnwsm.dll]") != std::string::npos);
    QN_CHECK(log.find("\r\r\n") == std::string::npos);
}

QN_TEST(DllNullHandleZeroesBuffersAndFails) {
    const ModuleDll dll;
    char domain[16];
    char error[32];
    std::memset(domain, 'x', sizeof domain);
    std::memset(error, 'x', sizeof error);
    uint32_t role = 7;
    QN_CHECK_EQ(QN_EXPORT(dll, WSManGetDomain)(nullptr, domain, sizeof domain, error, sizeof error, &role),
                QNSNWSM_FAILURE);
    QN_CHECK_EQ(role, 0u);
    QN_CHECK(std::all_of(domain, domain + sizeof domain, [](char c) { return c == '\0'; }));
    QN_CHECK(std::all_of(error, error + sizeof error, [](char c) { return c == '\0'; }));

    // The list exports also say why, cut to the buffer.
    char list[8] = "xxxxxxx";
    char shortError[10];
    QN_CHECK_EQ(
        QN_EXPORT(dll, WSManGetWinGroupList)(nullptr, list, sizeof list, shortError, sizeof shortError),
        QNSNWSM_FAILURE);
    QN_CHECK_EQ(list, "");
    QN_CHECK_EQ(shortError, "Handle is");

    QN_EXPORT(dll, WSManShutdown)(nullptr);
    QN_EXPORT(dll, WSManDisconnectComputer)(nullptr);
    QN_CHECK_EQ(
        QN_EXPORT(dll, WSManConnectToComputer)(nullptr, "pc", "", "", "", 5985, 0, 0, error, sizeof error),
        QNSNWSM_FAILURE);
}
