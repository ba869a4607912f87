// Exports of the process checks: the process list, whether a process runs, and its CPU, memory and handle
// usage.
#include "api/ExportSupport.h"

using namespace qn::api;

extern "C" {

QNSNWSM_API uint32_t WSManGetProcessList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                         uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize, &CQnWSMan::WinRMGetProcessList);
}

QNSNWSM_API uint32_t WSManGetProcessState(QNSNWSM_HANDLE handle, const char* processName, uint32_t* running,
                                          char* error, uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [&](CQnWSMan& module, uint32_t& isRunning, CQncString& errorText) {
            return module.WinRMGetProcessState(processName, isRunning, errorText);
        },
        CallerNumber{running}, CallerText{error, errorSize});
}

// The thresholds and the duration arrive unsigned and are passed on as the signed values the host meant:
// a negative threshold switches that measurement off, a negative duration counts by its size.
QNSNWSM_API uint32_t WSManGetProcessCpuMemHandles(
    QNSNWSM_HANDLE handle, const char* processName, const char* excludeNames, uint32_t cpuThreshold,
    uint32_t sleepMs, uint32_t durationMs, uint32_t memoryThreshold, uint32_t memoryCounter,
    uint32_t handlesThreshold, uint32_t* processId, char* instanceName, uint32_t instanceNameSize,
    uint32_t* cpuUsage, uint32_t* memoryMB, uint32_t* handles, char* error, uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [&](CQnWSMan& module, uint32_t& id, CQncString& instance, uint32_t& cpu, uint32_t& memory,
            uint32_t& handleCount, CQncString& errorText) {
            return module.WinRMGetProcessCpuMemHandles(
                processName, excludeNames, static_cast<std::int32_t>(cpuThreshold), sleepMs,
                static_cast<std::int32_t>(durationMs), static_cast<std::int32_t>(memoryThreshold),
                memoryCounter, static_cast<std::int32_t>(handlesThreshold), id, instance, cpu, memory,
                handleCount, errorText);
        },
        CallerNumber{processId}, CallerText{instanceName, instanceNameSize}, CallerNumber{cpuUsage},
        CallerNumber{memoryMB}, CallerNumber{handles}, CallerText{error, errorSize});
}

}  // extern "C"
