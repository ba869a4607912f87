// Export of the CPU usage check.
#include "api/ExportSupport.h"

using namespace qn::api;

extern "C" {

QNSNWSM_API uint32_t WSManGetCpuUsage(QNSNWSM_HANDLE handle, const char* cpuName, uint32_t sleepMs,
                                      uint32_t durationMs, uint32_t* usage, char* error, uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [&](CQnWSMan& module, uint32_t& usageValue, CQncString& errorText) {
            return module.WinRMGetCpuUsage(cpuName, sleepMs, durationMs, usageValue, errorText);
        },
        CallerNumber{usage}, CallerText{error, errorSize});
}

}  // extern "C"
