// Exports of the process checks: whether a process runs, and its CPU, memory and handle usage.
#include "api/ExportSupport.h"

using qn::api::ExportResult;
using qn::api::GuardExport;
using qn::api::kExportFailure;
using qn::api::ModuleFromHandle;
using qn::api::NumberOut;
using qn::api::TextOut;

extern "C" {

QNSNWSM_API uint32_t WSManGetProcessState(QNSNWSM_HANDLE handle, const char* processName, uint32_t* running,
                                          char* error, uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut runningOut(running);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMGetProcessState(processName, runningOut.Value(), errorOut.Text());
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

// The thresholds and the duration arrive unsigned and are passed on as the signed values the host meant:
// a negative threshold switches that measurement off, a negative duration counts by its size.
QNSNWSM_API uint32_t WSManGetProcessCpuMemHandles(
    QNSNWSM_HANDLE handle, const char* processName, const char* excludeNames, uint32_t cpuThreshold,
    uint32_t sleepMs, uint32_t durationMs, uint32_t memoryThreshold, uint32_t memoryCounter,
    uint32_t handlesThreshold, uint32_t* processId, char* instanceName, uint32_t instanceNameSize,
    uint32_t* cpuUsage, uint32_t* memoryMB, uint32_t* handles, char* error, uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut idOut(processId);
        TextOut instanceOut(instanceName, instanceNameSize);
        NumberOut cpuOut(cpuUsage);
        NumberOut memoryOut(memoryMB);
        NumberOut handlesOut(handles);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMGetProcessCpuMemHandles(
            processName, excludeNames, static_cast<std::int32_t>(cpuThreshold), sleepMs,
            static_cast<std::int32_t>(durationMs), static_cast<std::int32_t>(memoryThreshold), memoryCounter,
            static_cast<std::int32_t>(handlesThreshold), idOut.Value(), instanceOut.Text(), cpuOut.Value(),
            memoryOut.Value(), handlesOut.Value(), errorOut.Text());
        instanceOut.CopyOut();
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

}  // extern "C"
