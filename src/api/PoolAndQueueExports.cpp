// Exports of the application-pool and message-queue checks.
#include "api/ExportSupport.h"

using namespace qn::api;

extern "C" {

QNSNWSM_API uint32_t WSManGetApplicationPoolList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize,
                                                 char* error, uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize,
                               &CQnWSMan::WinRMGetApplicationPoolList);
}

// isStarted is the check's to set: it keeps the caller's value until a state was read.
QNSNWSM_API uint32_t WSManGetApplicationPoolState(QNSNWSM_HANDLE handle, const char* poolName,
                                                  uint32_t* isStarted, char* stateText,
                                                  uint32_t stateTextSize, char* error, uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [&](CQnWSMan& module, uint32_t& started, CQncString& state, CQncString& errorText) {
            return module.WinRMGetApplicationPoolState(poolName, started, state, errorText);
        },
        CallerNumber{isStarted, NumberOut::kLeaveAsIs}, CallerText{stateText, stateTextSize},
        CallerText{error, errorSize});
}

QNSNWSM_API uint32_t WSManGetMsMqList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                      uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize, &CQnWSMan::WinRMGetMsMqList);
}

// The three numbers are reset by the check itself, not here.
QNSNWSM_API uint32_t WSManGetMsMqLength(QNSNWSM_HANDLE handle, const char* queueName, uint32_t* queueFound,
                                        uint32_t* messageCount, uint32_t* kilobytes, char* error,
                                        uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [&](CQnWSMan& module, uint32_t& found, uint32_t& count, uint32_t& kilobyteCount,
            CQncString& errorText) {
            return module.WinRMGetMsMqLength(queueName, found, count, kilobyteCount, errorText);
        },
        CallerNumber{queueFound, NumberOut::kLeaveAsIs}, CallerNumber{messageCount, NumberOut::kLeaveAsIs},
        CallerNumber{kilobytes, NumberOut::kLeaveAsIs}, CallerText{error, errorSize});
}

}  // extern "C"
