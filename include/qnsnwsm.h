/*
 * qnsnwsm: agentless monitoring of Windows computers over WS-Management (WinRM).
 *
 * A host creates one module handle per monitored computer, connects it, runs checks and actions against it
 * and finally shuts it down:
 *
 *     QNSNWSM_HANDLE h = NULL;
 *     if (WSManInitialize("my-monitor", "/var/log/my-monitor/wsman.log", &h) == QNSNWSM_OK) {
 *         char error[512];
 *         if (WSManConnectToComputer(h, "server1", "DOMAIN\\monitor", "secret", "root\\cimv2", 5985, 0, 0,
 *                                    error, sizeof error) == QNSNWSM_OK) {
 *             ... checks ...
 *             WSManDisconnectComputer(h);
 *         }
 *         WSManShutdown(h);
 *     }
 *
 * Rules shared by every function:
 *  - The result is QNSNWSM_OK (0) on success and QNSNWSM_FAILURE (0xFFFFFFFF) on failure, also for a NULL
 *    handle. A check may return other codes of its own.
 *  - A text result is a caller buffer followed by its size in bytes. The buffer is zeroed over its whole size
 *    on entry, then filled and always NUL-terminated; a longer text is cut silently to size - 1 characters.
 *    A size of 0 means the buffer is neither zeroed nor written.
 *  - Texts are NUL-terminated; on Linux they are UTF-8, on Windows in the system ANSI code page.
 *  - A handle is used by one thread at a time. Different handles are independent.
 *  - No function throws; nothing crosses the interface but result codes and the buffers.
 */
#ifndef QNSNWSM_H
#define QNSNWSM_H

#include <stdint.h>

#if defined(_WIN32)
#if defined(QNSNWSM_BUILDING)
#define QNSNWSM_API __declspec(dllexport)
#else
#define QNSNWSM_API __declspec(dllimport)
#endif
#else
#define QNSNWSM_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The module handle: one monitored computer. Opaque to the host. */
typedef struct QnSnWsmModule* QNSNWSM_HANDLE;

#define QNSNWSM_OK ((uint32_t)0)
#define QNSNWSM_FAILURE ((uint32_t)0xFFFFFFFFu)

/* Default WinRM ports. */
#define QNSNWSM_PORT_HTTP 5985
#define QNSNWSM_PORT_HTTPS 5986

/* ---- Handle lifecycle and session ---- */

/*
 * Creates a module handle.
 *   baseSetting  a free text the host may use to name the handle; may be NULL.
 *   traceFile    full path of the trace log; NULL or "" turns tracing off. Every step is appended to it.
 *   handle       receives the new handle; set to NULL first, and left NULL on failure. Must not be NULL.
 * Returns QNSNWSM_OK, or QNSNWSM_FAILURE when the WinRM client could not be created (the reason is in the
 * trace) or `handle` is NULL.
 */
QNSNWSM_API uint32_t WSManInitialize(const char* baseSetting, const char* traceFile, QNSNWSM_HANDLE* handle);

/*
 * Destroys a handle created by WSManInitialize (the session is released with it). NULL does nothing.
 * The handle must not be used afterwards.
 */
QNSNWSM_API void WSManShutdown(QNSNWSM_HANDLE handle);

/*
 * Opens a WinRM session to a computer.
 *   computer      host name or address.
 *   userName      "DOMAIN\\user", "user@REALM" or a local account; NULL or "" uses the caller's own
 *                 credentials (on Linux: the Kerberos ticket cache).
 *   password      the account's password; never written to the trace.
 *   wmiNamespace  WMI namespace of every later query; NULL or "" means "root/cimv2". For "root\\cimv2" and
 *                 "root/cimv2" exactly, the connect reads one instance of a validation class to prove the
 *                 credentials, and fails (closing the session) when that is refused.
 *   port          TCP port, used as given (5985 for HTTP and 5986 for HTTPS are WinRM's defaults).
 *   useSsl        1 for HTTPS, anything else for HTTP.
 *   reserved      pass 0.
 *   errorText     receives the reason of a failure, such as
 *                 "WMI/WinRM Error 0x80070005: Access is denied".
 * Returns QNSNWSM_OK when the session is open. A second connect opens a new session.
 */
QNSNWSM_API uint32_t WSManConnectToComputer(QNSNWSM_HANDLE handle, const char* computer, const char* userName,
                                            const char* password, const char* wmiNamespace, uint16_t port,
                                            uint8_t useSsl, uintptr_t reserved, char* errorText,
                                            uint32_t errorTextSize);

/* Closes the session of a handle; the handle stays valid and may connect again. NULL does nothing. */
QNSNWSM_API void WSManDisconnectComputer(QNSNWSM_HANDLE handle);

/* ---- Checks and actions ---- */

/*
 * Every function below takes the handle first and follows the same rules:
 *  - Before anything else, every text buffer is zeroed over its whole size and every number output is set
 *    to 0 (where a function says otherwise, that number is left to the check). Then a NULL handle returns
 *    QNSNWSM_FAILURE with the buffers left zeroed.
 *  - A NULL number pointer is allowed: that value is simply not returned.
 *  - The result is QNSNWSM_OK when the check completed and QNSNWSM_FAILURE when it did not. "Completed" says
 *    that the computer answered, not that the checked thing is healthy: health is in the output values.
 *  - On failure, `error` says why when a reason is known: a WinRM/WMI error such as
 *    "WMI/WinRM Error 0x80338000: No items can be found at the selected URI.", a record error such as
 *    "XML attribute missing", or a text of the function's own. Some failures (a name that is not found)
 *    leave it empty. Outputs filled before the failure keep their values.
 *  - Lists of names are joined with "||"; entries made of several fields join them with ";;". A list that
 *    does not fit is cut at the buffer size (the six list functions at the last whole entry).
 *  - The separators are not escaped: a value that contains ";;" or "||" (a service's display name, a user's
 *    full name, anything the monitored computer reports) splits into extra fields or extra entries when the
 *    list is split, so "A;;B||C;;D" as one display name reads as two services. Split lists for display
 *    only. Never take a security or health decision on the entries or on their count: ask the function for
 *    the one thing by name instead (WSManGetServiceState, WSManGetProcessState, ...), whose numeric outputs
 *    cannot be forged that way, and compare whole names, not pieces.
 */

/*
 * Domain membership (Win32_ComputerSystem).
 *   domain      the computer's domain or workgroup name.
 *   domainRole  1 when the computer is a member workstation, member server or domain controller of a
 *               domain; 0 for a stand-alone workstation or server.
 */
QNSNWSM_API uint32_t WSManGetDomain(QNSNWSM_HANDLE handle, char* domain, uint32_t domainSize, char* error,
                                    uint32_t errorSize, uint32_t* domainRole);

/*
 * Processor usage in percent (Win32_PerfFormattedData_PerfOS_Processor), averaged over a period.
 *   cpuName     the counter instance: "_Total" for all processors, "0", "1", ... for one (any letter case).
 *   sleepMs     milliseconds to wait after each reading.
 *   durationMs  readings are taken until this many milliseconds have passed; at least one is always taken.
 *   usage       the average of the readings, 0 to 100.
 * Fails when the instance is not found or a reading lies outside 0..100 ("WMI property
 * [Win32_PerfFormattedData_PerfOS_Processor:PercentProcessorTime] out of bound, value: [n]"); `usage` is then
 * meaningless.
 */
QNSNWSM_API uint32_t WSManGetCpuUsage(QNSNWSM_HANDLE handle, const char* cpuName, uint32_t sleepMs,
                                      uint32_t durationMs, uint32_t* usage, char* error, uint32_t errorSize);

/*
 * Health of the physical disk drives (Win32_DiskDrive).
 *   allDisksOk     1 when every drive reports the status "OK" (also when there is none), else 0.
 *   diskList       the captions of the healthy drives examined, as "[Disk 0],[Disk 1]".
 *   badDisk        "[caption]" of the first drive that is not OK; drives after it are not examined.
 *   badDiskStatus  "[status]" of that drive, for example "[Degraded]".
 *   size           the size of each of the three buffers above.
 * An unhealthy drive is a completed check (QNSNWSM_OK with allDisksOk 0).
 */
QNSNWSM_API uint32_t WSManGetDisksState(QNSNWSM_HANDLE handle, uint32_t* allDisksOk, char* diskList,
                                        char* badDisk, char* badDiskStatus, uint32_t size, char* error,
                                        uint32_t errorSize);

/*
 * Space on one logical disk (Win32_LogicalDisk), in MiB (truncated).
 *   diskName    the drive, "C:" or "C" (blanks around it are ignored; the letter's case must match the
 *               computer's, which writes it in capitals).
 *   driveFound  1 when the drive exists.
 *   freeMB, usedMB, sizeMB  free, used (size - free) and total space.
 * Fails with an empty error text when no such drive exists.
 */
QNSNWSM_API uint32_t WSManGetLogicalDiskSpace(QNSNWSM_HANDLE handle, const char* diskName,
                                              uint32_t* driveFound, uint32_t* freeMB, uint32_t* usedMB,
                                              uint32_t* sizeMB, char* error, uint32_t errorSize);

/*
 * Memory (Win32_PerfFormattedData_PerfOS_Memory).
 *   availableMB  available physical memory in MiB.
 *   committedMB  committed virtual memory in MiB.
 *   pagesPerSec  hard page faults per second.
 */
QNSNWSM_API uint32_t WSManGetMemory(QNSNWSM_HANDLE handle, uint32_t* availableMB, uint32_t* committedMB,
                                    uint32_t* pagesPerSec, char* error, uint32_t errorSize);

/*
 * The printers (Win32_Printer), sorted without regard to case: "name;;||name;;" (each entry has an empty
 * second field, like the entries of the service list).
 */
QNSNWSM_API uint32_t WSManGetPrinterList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                         uint32_t errorSize);

/*
 * State of one printer (Win32_Printer), found by name without regard to case. The three values are WMI's
 * own numbers, passed on unmapped.
 *   found               1 when the printer exists (and its values could be read).
 *   availability        Availability (0 when the printer does not report it).
 *   detectedErrorState  DetectedErrorState (0 unknown, 1 other, 2 no error, 3 low paper, 4 no paper, ...).
 *   printerStatus       PrinterStatus (3 idle, 4 printing, 5 warming up, 7 offline, ...).
 * Fails when no printer of that name exists.
 */
QNSNWSM_API uint32_t WSManGetPrinterState(QNSNWSM_HANDLE handle, const char* printerName, uint32_t* found,
                                          uint32_t* availability, uint32_t* detectedErrorState,
                                          uint32_t* printerStatus, char* error, uint32_t errorSize);

/* The names of the running processes (Win32_Process), each once, sorted: "explorer.exe||svchost.exe". */
QNSNWSM_API uint32_t WSManGetProcessList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                         uint32_t errorSize);

/*
 * Whether a process runs (Win32_Process).
 *   processName  the process name as WMI gives it, with ".exe" ("notepad.exe"), any letter case.
 *   running      1 or 0. A process that does not run is a completed check with the error text
 *                "Process not found".
 */
QNSNWSM_API uint32_t WSManGetProcessState(QNSNWSM_HANDLE handle, const char* processName, uint32_t* running,
                                          char* error, uint32_t errorSize);

/*
 * CPU, memory and handle usage of a process (Win32_PerfRawData_PerfProc_Process).
 *   processName       the process, with or without ".exe"; NULL or "" measures every process.
 *   excludeNames      processes to leave out, separated by "," or ";" ("svchost.exe,lsass"); may be NULL.
 *   cpuThreshold      the value is passed on as a signed 32-bit number; a negative one turns the CPU
 *                     measurement off. The same holds for memoryThreshold and handlesThreshold.
 *   sleepMs           milliseconds between the two samples of each CPU measurement.
 *   durationMs        how long to keep measuring CPU, in milliseconds (signed; its absolute value counts).
 *                     0 takes no CPU sample.
 *   memoryCounter     which memory counter: 1 commit size (PrivateBytes), 2 working set, 3 peak working
 *                     set, 4 paged pool, 5 non-paged pool, 0 or any other value private working set.
 *   processId         the process id of the reported process.
 *   instanceName      its counter instance name, such as "notepad#1".
 *   cpuUsage          its CPU usage in percent of the whole computer.
 *   memoryMB          its memory in MiB per memoryCounter.
 *   handles           its handle count.
 * When several processes match, the one the computer listed last is reported. Every number that was not
 * measured is 0xFFFFFFFF; on failure all four numbers are 0xFFFFFFFF.
 */
QNSNWSM_API uint32_t WSManGetProcessCpuMemHandles(
    QNSNWSM_HANDLE handle, const char* processName, const char* excludeNames, uint32_t cpuThreshold,
    uint32_t sleepMs, uint32_t durationMs, uint32_t memoryThreshold, uint32_t memoryCounter,
    uint32_t handlesThreshold, uint32_t* processId, char* instanceName, uint32_t instanceNameSize,
    uint32_t* cpuUsage, uint32_t* memoryMB, uint32_t* handles, char* error, uint32_t errorSize);

/*
 * The IIS application pools (ApplicationPool), sorted: "DefaultAppPool||Classic .NET AppPool". Connect the
 * handle with the namespace "root\\WebAdministration" first. Fails, with no names at all, when one pool has
 * no name.
 */
QNSNWSM_API uint32_t WSManGetApplicationPoolList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize,
                                                 char* error, uint32_t errorSize);

/*
 * State of one IIS application pool, asked with its GetState method. Connect the handle with the namespace
 * "root\\WebAdministration" first.
 *   poolName   the pool's name.
 *   isStarted  1 when the pool is started, else 0. Not zeroed on entry: it is set only when a state was
 *              read.
 *   stateText  "Starting", "Started", "Stopping", "Stopped" or "Unknown".
 */
QNSNWSM_API uint32_t WSManGetApplicationPoolState(QNSNWSM_HANDLE handle, const char* poolName,
                                                  uint32_t* isStarted, char* stateText,
                                                  uint32_t stateTextSize, char* error, uint32_t errorSize);

/*
 * The MSMQ queues (Win32_PerfRawData_MSMQ_MSMQQueue), without the computer part of their names, sorted:
 * "private$\\orders||public\\invoices".
 */
QNSNWSM_API uint32_t WSManGetMsMqList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                      uint32_t errorSize);

/*
 * Length of one MSMQ queue.
 *   queueName     the queue as WSManGetMsMqList lists it ("private$\\orders"), any letter case.
 *   queueFound    1 when the queue exists.
 *   messageCount  messages in the queue.
 *   kilobytes     size of those messages in KiB (truncated).
 * The three numbers are not zeroed on entry; the check sets them to 0 before it asks the computer.
 * Fails with an empty error text when no such queue exists.
 */
QNSNWSM_API uint32_t WSManGetMsMqLength(QNSNWSM_HANDLE handle, const char* queueName, uint32_t* queueFound,
                                        uint32_t* messageCount, uint32_t* kilobytes, char* error,
                                        uint32_t errorSize);

/*
 * The services (Win32_Service), sorted: "name;;display name||name;;display name". Services without a
 * display name are left out.
 */
QNSNWSM_API uint32_t WSManGetServiceList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                         uint32_t errorSize);

/*
 * State of one service (Win32_Service).
 *   serviceName  the service's name or its display name, any letter case.
 *   name         the service's name ("Spooler").
 *   displayName  its display name ("Print Spooler").
 *   installed    1 when the service exists. A missing service is a completed check with installed 0 and
 *                the texts empty.
 *   state        "Running", "Stopped", "Start Pending", ...
 *   startMode    "Auto", "Manual", "Disabled", ...
 */
QNSNWSM_API uint32_t WSManGetServiceState(QNSNWSM_HANDLE handle, const char* serviceName, char* name,
                                          uint32_t nameSize, char* displayName, uint32_t displayNameSize,
                                          uint32_t* installed, char* state, uint32_t stateSize,
                                          char* startMode, uint32_t startModeSize, char* error,
                                          uint32_t errorSize);

/*
 * Whether a share exists (Win32_Share), by name without regard to case ("C$", "Users").
 *   shareFound  1 when it exists.
 *   text        reserved: zeroed and left empty.
 * A missing share fails the call, with an empty error text.
 */
QNSNWSM_API uint32_t WSManGetShareState(QNSNWSM_HANDLE handle, const char* shareName, uint32_t* shareFound,
                                        char* text, uint32_t textSize, char* error, uint32_t errorSize);

/*
 * Remote desktop sessions (the terminal services performance class; both its older and newer names are
 * asked).
 *   activeSessions    active sessions.
 *   inactiveSessions  disconnected sessions.
 *   thirdCount        repeats inactiveSessions (kept for hosts that read it).
 */
QNSNWSM_API uint32_t WSManGetTerminalServerSessions(QNSNWSM_HANDLE handle, uint32_t* activeSessions,
                                                    uint32_t* inactiveSessions, uint32_t* thirdCount,
                                                    char* error, uint32_t errorSize);

/*
 * One property ("counter") of one instance of any WMI class.
 *   className     the class (a text containing a blank is taken as a whole WQL query). Required: else
 *                 "No Class specified".
 *   counterName   the property to read. Required: else "No Counter specified".
 *   instanceName  the instance's Name, any letter case; NULL or "" takes the first instance.
 *   isNumeric     1 when the value consists of digits and "-" only.
 *   value         the value as the computer wrote it.
 * Note the order: class, counter, instance. A class without instances is a completed check with an empty
 * value; a missing instance or property fails with an empty error text.
 */
QNSNWSM_API uint32_t WSManGetWmiCounterData(QNSNWSM_HANDLE handle, const char* className,
                                            const char* counterName, const char* instanceName,
                                            uint32_t* isNumeric, char* value, uint32_t valueSize, char* error,
                                            uint32_t errorSize);

/* The models of the USB disk drives (Win32_DiskDrive), separated by ";": "SanDisk Ultra;Kingston DT". */
QNSNWSM_API uint32_t WSManGetRemovableDrives(QNSNWSM_HANDLE handle, char* list, uint32_t listSize,
                                             char* error, uint32_t errorSize);

/*
 * The user accounts (Win32_UserAccount), sorted, as "caption;;full name;;name;;lockout;;disabled" entries
 * joined with "||" ("PC1\\guest;;;;guest;;0;;1"); lockout and disabled are 1 or 0. The list holds the
 * entries that fit whole. On failure (NULL handle included) `list` stays empty; a NULL handle writes
 * "Handle is a NULL pointer" to `error`.
 */
QNSNWSM_API uint32_t WSManGetWinUserAccountList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize,
                                                char* error, uint32_t errorSize);

/*
 * The groups (Win32_Group), sorted, as "caption;;name;;domain" entries joined with "||". Buffers as for
 * WSManGetWinUserAccountList.
 */
QNSNWSM_API uint32_t WSManGetWinGroupList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                          uint32_t errorSize);

/*
 * The members of one group, as "caption;;full name;;name" entries joined with "||".
 *   groupName  the group's name ("Administrators").
 *   domain     the group's domain, or the computer's name for a local group ("PC1").
 * Buffers as for WSManGetWinUserAccountList.
 */
QNSNWSM_API uint32_t WSManGetWinGroupMemberList(QNSNWSM_HANDLE handle, const char* groupName,
                                                const char* domain, char* list, uint32_t listSize,
                                                char* error, uint32_t errorSize);

/*
 * The network interfaces (Win32_PerfFormattedData_Tcpip_NetworkInterface), sorted, joined with "||". Fails,
 * with no names at all, when one interface has no name.
 */
QNSNWSM_API uint32_t WSManGetNICList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                     uint32_t errorSize);

/*
 * Traffic on one network interface.
 *   nicName          the interface as WSManGetNICList lists it, any letter case.
 *   nicFound         1 when it exists.
 *   bandwidthMbit    its current bandwidth in Mbit/s (truncated).
 *   bytesPerSec      bytes sent and received per second.
 *   kilobytesPerSec  the same in KiB/s, rounded.
 * The four numbers are not zeroed on entry; the check sets them to 0 before it asks the computer. Fails with
 * an empty error text when no such interface exists.
 */
QNSNWSM_API uint32_t WSManGetNICTrafficValues(QNSNWSM_HANDLE handle, const char* nicName, uint32_t* nicFound,
                                              uint32_t* bandwidthMbit, uint32_t* bytesPerSec,
                                              uint32_t* kilobytesPerSec, char* error, uint32_t errorSize);

/*
 * Restarts a service: stops it, waits up to 20 seconds for it to report "Stopped", then starts it.
 *   serviceName  the service's name or display name.
 * Fails with "Service not installed." for an unknown service, and with the WinRM error when the stop or
 * the start request is refused. Takes up to about 20 seconds.
 */
QNSNWSM_API uint32_t WSManRestartService(QNSNWSM_HANDLE handle, const char* serviceName, char* error,
                                         uint32_t errorSize);

/*
 * Asks the computer to reboot (Win32_OperatingSystem.Reboot). QNSNWSM_OK means the request was accepted;
 * the operating system may still refuse it afterwards.
 */
QNSNWSM_API uint32_t WSManRebootComputer(QNSNWSM_HANDLE handle, char* error, uint32_t errorSize);

/*
 * The WMI classes whose names begin with "Win32" in the connected namespace, sorted, joined with "||".
 * Buffers as for WSManGetWinUserAccountList.
 */
QNSNWSM_API uint32_t WSManCollectClasses(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                         uint32_t errorSize);

/*
 * The Name of every instance of a class, sorted, joined with "||". Buffers as for
 * WSManGetWinUserAccountList.
 */
QNSNWSM_API uint32_t WSManCollectInstances(QNSNWSM_HANDLE handle, const char* className, char* list,
                                           uint32_t listSize, char* error, uint32_t errorSize);

/*
 * The properties of a class as "name;;8" entries (8: offered as a string), sorted, joined with "||". Fails
 * when the class does not exist. Buffers as for WSManGetWinUserAccountList.
 */
QNSNWSM_API uint32_t WSManCollectProperties(QNSNWSM_HANDLE handle, const char* className, char* list,
                                            uint32_t listSize, char* error, uint32_t errorSize);

/* ---- End of checks and actions ---- */

#ifdef __cplusplus
}
#endif

#endif /* QNSNWSM_H */
