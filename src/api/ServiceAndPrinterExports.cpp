// Exports of the service and printer checks, and of the service restart.
#include "api/ExportSupport.h"

using namespace qn::api;

extern "C" {

QNSNWSM_API uint32_t WSManGetServiceList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                         uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize, &CQnWSMan::WinRMGetServiceList);
}

QNSNWSM_API uint32_t WSManGetServiceState(QNSNWSM_HANDLE handle, const char* serviceName, char* name,
                                          uint32_t nameSize, char* displayName, uint32_t displayNameSize,
                                          uint32_t* installed, char* state, uint32_t stateSize,
                                          char* startMode, uint32_t startModeSize, char* error,
                                          uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [&](CQnWSMan& module, CQncString& nameText, CQncString& displayNameText, uint32_t& isInstalled,
            CQncString& stateText, CQncString& startModeText, CQncString& errorText) {
            return module.WinRMGetServiceState(serviceName, nameText, displayNameText, isInstalled, stateText,
                                               startModeText, errorText);
        },
        CallerText{name, nameSize}, CallerText{displayName, displayNameSize}, CallerNumber{installed},
        CallerText{state, stateSize}, CallerText{startMode, startModeSize}, CallerText{error, errorSize});
}

QNSNWSM_API uint32_t WSManRestartService(QNSNWSM_HANDLE handle, const char* serviceName, char* error,
                                         uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [&](CQnWSMan& module, CQncString& errorText) {
            return module.WinRMRestartService(serviceName, errorText);
        },
        CallerText{error, errorSize});
}

QNSNWSM_API uint32_t WSManGetPrinterList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                         uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize, &CQnWSMan::WinRMGetPrinterList);
}

QNSNWSM_API uint32_t WSManGetPrinterState(QNSNWSM_HANDLE handle, const char* printerName, uint32_t* found,
                                          uint32_t* availability, uint32_t* detectedErrorState,
                                          uint32_t* printerStatus, char* error, uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [&](CQnWSMan& module, uint32_t& isFound, uint32_t& available, uint32_t& errorState, uint32_t& status,
            CQncString& errorText) {
            return module.WinRMGetPrinterState(printerName, isFound, available, errorState, status,
                                               errorText);
        },
        CallerNumber{found}, CallerNumber{availability}, CallerNumber{detectedErrorState},
        CallerNumber{printerStatus}, CallerText{error, errorSize});
}

}  // extern "C"
