// CQnWSMan: the object behind one module handle. It holds the connection settings, the WinRM automation
// object, the open session to one computer and the record parser, and carries every operation the exports
// call: session, enumeration and invocation, WinRM error texts, access validation, and the checks.
//
// One handle is used by one thread at a time: the checks share the session and the parser's one document.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/QncBase.h"
#include "engine/QnWSManRecord.h"
#include "platform/WsmanAutomation.h"

class CSnWinrmNode;
class CWmiProcess;
class CWmiProcessList;

// Every item an enumeration returned (its XML text, and on POSIX its tree), in the order the service
// returned them.
using EnumeratedItem = qn::platform::EnumeratedItem;
using ItemList = std::vector<EnumeratedItem>;

class CQnWSMan : public CQncBase {
  public:
    static constexpr std::uint32_t kFailure = 0xFFFFFFFF;
    static constexpr std::uint16_t kDefaultHttpPort = 5985;

    explicit CQnWSMan(const char* baseSetting);
    ~CQnWSMan() override;

    // ---- Lifecycle ----

    // Sets the trace file (empty turns tracing off), writes the banner, enters COM, creates the record
    // parser and the WinRM automation object. 0, or kFailure when the automation object is unavailable.
    std::uint32_t Initialize(const char* traceSetting);
    // Releases the automation object and the parser when all three of initialized/parser/wsman are set.
    void Shutdown();

    // ---- Session ----

    // Opens a session to computer:port with the stored settings; validates access for the default
    // namespace. 0 on success; otherwise errorText says why.
    std::uint32_t OpenSession(const char* computer, std::uint16_t port, CQncString& errorText);
    void CloseSession();

    // ---- Enumeration and invocation ----

    // A text without a blank is a class name ("select * from " is put before it); otherwise a whole WQL
    // query. Appends every returned item to `items`. 0 or -1 (errorText set).
    int Enumerate(const char* classOrQuery, ItemList& items, CQncString& errorText);
    // Calls the WMI method `actionName` on `resourceUri`; response := the method's output element.
    int Invoke(const char* resourceUri, const char* actionName, const char* parametersXml,
               CQncString& response, CQncString& errorText);
    // uri := the WMI resource URI of every class of the session's namespace ("…/wmi/root/cimv2/*").
    void BuildResourceUri(CQncString& uri);
    // text := "WMI/WinRM Error 0x%08lX" and the known suffix of the code, if any.
    static void FormatWinRMError(std::uint32_t code, CQncString& text);

    // ---- Access validation ----

    // value := the configured validation class ("Win32_ComputerSystem" by default), stored back normalised.
    void ReadValidationClass(CQncString& value);
    // Enumerates the validation class: 0 when that works (or no class is configured), else -1.
    int WinRMValidateAccess(CQncString& errorText);

    // ---- Record helper of every check ----

    // value := the property of the record last transformed ("" when missing); on a parser code the error
    // text gets that code's message. Returns value.
    CQncString& GetProperty(CQncString& value, const char* propertyName, CQncString& errorText, int flag);

    // ---- Settings stored by the connect export ----

    void SetUserName(const char* text) { userName.Assign(text); }
    void SetPassword(const char* text) { password.Assign(text); }
    void SetNamespace(const char* text) { wmiNamespace.Assign(text); }
    void SetUseSsl(std::uint8_t flag) { useSsl = flag; }

    const CQncString& GetUserName() const { return userName; }
    const CQncString& GetNamespace() const { return wmiNamespace; }
    bool IsInitialized() const { return initialized != 0; }
    bool IsSessionOpen() const { return sessionOpen != 0; }
    bool HasParser() const { return nodeParser != nullptr; }
    std::uint16_t GetDefaultPort() const { return defaultPort; }

    // ---- Checks (implemented in src/checks/) ----

    // Record helpers shared by the checks.
    // Sets the stylesheet for the items that follow (once per item loop: it reads the configuration).
    void UseStylesheet(const char* fileName);
    // Transforms one item into the current record; a failure code's message goes to `error`.
    int TransformItem(const char* itemXml, CQncString& error);
    int TransformItem(const EnumeratedItem& item, CQncString& error);
    // megabytes := the byte-count property in MiB, traced; -1 when the property is empty.
    int ReadMiB(const char* propertyName, std::uint32_t& megabytes, CQncString& error);

    // System checks.
    int WinRMGetDomain(CQncString& domain, CQncString& error, std::uint32_t& isDomainMember);
    int WinRMGetDisksState(std::uint32_t& allDisksOk, CQncString& diskList, CQncString& badDisk,
                           CQncString& badDiskStatus, CQncString& error);
    int WinRMGetLogicalDiskSpace(const char* driveName, std::uint32_t& driveFound, std::uint32_t& freeMB,
                                 std::uint32_t& usedMB, std::uint32_t& sizeMB, CQncString& error);
    int WinRMGetMemory(std::uint32_t& availableMB, std::uint32_t& committedMB, std::uint32_t& pagesPerSec,
                       CQncString& error);

    // CPU usage.
    int GetNumLogicalCpus(std::uint32_t& count, CQncString& error);
    int GetCpuUsage(const char* cpuName, std::uint32_t& usage, CQncString& error);
    int WinRMGetCpuUsage(const char* cpuName, std::uint32_t sleepMs, std::uint32_t durationMs,
                         std::uint32_t& usage, CQncString& error);

    // Processes.
    int WinRMGetProcessList(CQncString& list, CQncString& error);
    int WinRMGetProcessState(const char* processName, std::uint32_t& running, CQncString& error);
    int WinRMGetProcessCpuMemHandles(const char* processName, const char* excludeNames,
                                     std::int32_t cpuThreshold, std::uint32_t sleepMs,
                                     std::int32_t durationMs, std::int32_t memoryThreshold,
                                     std::uint32_t memoryCounter, std::int32_t handlesThreshold,
                                     std::uint32_t& processId, CQncString& instanceName,
                                     std::uint32_t& cpuUsage, std::uint32_t& memoryMB, std::uint32_t& handles,
                                     CQncString& error);
    int GetProcessMemoryUsage(const EnumeratedItem& item, std::uint32_t memoryCounter, CWmiProcess& process,
                              CQncString& error);
    int GetProcessHandleUsage(const EnumeratedItem& item, CWmiProcess& process, CQncString& error);
    int GetProcessCpuUsage(const EnumeratedItem& item, std::int64_t& rawTime, std::int64_t& rawStamp,
                           CQncString& error);
    int SampleProcessCpu(const EnumeratedItem& item, CWmiProcess& process, bool isFirst, CQncString& error);
    int SampleProcessList(CWmiProcessList& processList, bool isFirst, CQncString& error);

    // Services and printers.
    int WinRMGetServiceList(CQncString& list, CQncString& error);
    int WinRMGetServiceState(const char* serviceName, CQncString& name, CQncString& displayName,
                             std::uint32_t& installed, CQncString& state, CQncString& startMode,
                             CQncString& error);
    int WinRMRestartService(const char* serviceName, CQncString& error);
    int WinRMGetPrinterList(CQncString& list, CQncString& error);
    int WinRMGetPrinterState(const char* printerName, std::uint32_t& found, std::uint32_t& availability,
                             std::uint32_t& detectedErrorState, std::uint32_t& printerStatus,
                             CQncString& error);

    // Application pools and message queues.
    int WinRMGetApplicationPoolList(CQncString& poolList, CQncString& error);
    int WinRMGetApplicationPoolState(const char* poolName, std::uint32_t& isStarted, CQncString& stateText,
                                     CQncString& error);
    int WinRMGetMsMqList(CQncString& queueList, CQncString& error);
    int WinRMGetMsMqLength(const char* queueName, std::uint32_t& queueFound, std::uint32_t& messageCount,
                           std::uint32_t& kilobytes, CQncString& error);

    // Shares, removable drives, sessions and network interfaces.
    int WinRMGetShareState(const char* shareName, std::uint32_t& shareFound, CQncString& error);
    int WinRMGetRemovableDrives(CQncString& driveList, CQncString& error);
    int WinRMGetTerminalServerSessions(std::uint32_t& activeSessions, std::uint32_t& inactiveSessions,
                                       std::uint32_t& thirdCount, CQncString& error);
    int WinRMGetNICList(CQncString& nicList, CQncString& error);
    int WinRMGetNICTrafficValues(const char* nicName, std::uint32_t& nicFound, std::uint32_t& bandwidthMbit,
                                 std::uint32_t& bytesPerSec, std::uint32_t& kilobytesPerSec,
                                 CQncString& error);

    // Windows accounts and groups.
    int WinRMGetWinUserAccountList(CQncListString& accountList, CQncString& error);
    int WinRMGetWinGroupList(CQncListString& groupList, CQncString& error);
    int WinRMGetWinGroupMemberList(const char* groupName, const char* domain, CQncListString& memberList,
                                   CQncString& error);

    // WMI counter data and schema browsing.
    int WinRMGetWmiCounterData(const char* className, const char* instanceName, const char* counterName,
                               std::uint32_t& isNumeric, CQncString& value, CQncString& error);
    int WinRMCollectClasses(CQncListString& classList, CQncString& error);
    int WinRMCollectInstances(const char* className, CQncListString& instanceList, CQncString& error);
    int WinRMCollectProperties(const char* className, CQncListString& propertyList, CQncString& error);

    // Computer reboot.
    int WinRMRebootComputer(CQncString& error);

  private:
    // The parts of the checks that run between their entry and exit lines.
    int MeasureProcesses(const char* processName, const char* excludeNames, std::int32_t cpuThreshold,
                         std::uint32_t sleepMs, std::int32_t durationMs, std::int32_t memoryThreshold,
                         std::uint32_t memoryCounter, std::int32_t handlesThreshold, std::uint32_t& processId,
                         CQncString& instanceName, std::uint32_t& cpuUsage, std::uint32_t& memoryMB,
                         std::uint32_t& handles, CQncString& error);
    int RestartService(const char* serviceName, CQncString& error);
    int ReadPrinterValue(const char* propertyName, bool required, std::uint32_t& value, CQncString& error);
    // joined := the sorted "||"-joined Name of every instance; one nameless instance fails the whole list.
    int CollectNames(const char* className, const char* emptyTraceMethod, CQncString& joined,
                     CQncString& error);
    int ReadCounter(const char* className, const char* instanceName, const char* counterName,
                    std::uint32_t& isNumeric, CQncString& value, CQncString& error);

    // ---- End of checks ----

  private:
    // Fields in the order the object has always laid them out.
    std::vector<QnWSManRecord> records;
    std::uint8_t initialized = 0;
    std::uint8_t sessionOpen = 0;
    CQncString connection;  // spare: no operation writes it
    CQncString userName;
    CQncString password;
    CQncString wmiNamespace;
    std::uint8_t useSsl = 0;
    std::uint16_t defaultPort = kDefaultHttpPort;  // never read: sessions use the port they are given
    std::unique_ptr<CSnWinrmNode> nodeParser;
    std::unique_ptr<qn::platform::Wsman> wsman;
    std::unique_ptr<qn::platform::WsmanSession> session;
    // Sessions replaced by a second connect: they are not released before the object shuts down (see
    // OpenSession).
    std::vector<std::unique_ptr<qn::platform::WsmanSession>> replacedSessions;
};
