// Exports of the application-pool state and the message-queue length.
#include "api/ExportSupport.h"

using qn::api::ExportResult;
using qn::api::GuardExport;
using qn::api::kExportFailure;
using qn::api::ModuleFromHandle;
using qn::api::NumberOut;
using qn::api::TextOut;

extern "C" {

// isStarted is the check's to set: it keeps the caller's value until a state was read.
QNSNWSM_API uint32_t WSManGetApplicationPoolState(QNSNWSM_HANDLE handle, const char* poolName,
                                                  uint32_t* isStarted, char* stateText,
                                                  uint32_t stateTextSize, char* error, uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut startedOut(isStarted, NumberOut::kLeaveAsIs);
        TextOut stateOut(stateText, stateTextSize);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMGetApplicationPoolState(poolName, startedOut.Value(), stateOut.Text(),
                                                                errorOut.Text());
        stateOut.CopyOut();
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

// The three numbers are reset by the check itself, not here.
QNSNWSM_API uint32_t WSManGetMsMqLength(QNSNWSM_HANDLE handle, const char* queueName, uint32_t* queueFound,
                                        uint32_t* messageCount, uint32_t* kilobytes, char* error,
                                        uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut foundOut(queueFound, NumberOut::kLeaveAsIs);
        NumberOut countOut(messageCount, NumberOut::kLeaveAsIs);
        NumberOut kilobytesOut(kilobytes, NumberOut::kLeaveAsIs);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMGetMsMqLength(queueName, foundOut.Value(), countOut.Value(),
                                                      kilobytesOut.Value(), errorOut.Text());
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

}  // extern "C"
