// Export of the reboot action.
#include "api/ExportSupport.h"

using namespace qn::api;

extern "C" {

QNSNWSM_API uint32_t WSManRebootComputer(QNSNWSM_HANDLE handle, char* error, uint32_t errorSize) {
    return RunCheckExport(
        handle, [](CQnWSMan& module, CQncString& errorText) { return module.WinRMRebootComputer(errorText); },
        CallerText{error, errorSize});
}

}  // extern "C"
