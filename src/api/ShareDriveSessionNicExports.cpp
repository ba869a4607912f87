// Exports of the share, removable-drive, terminal-session and network-interface checks.
#include "api/ExportSupport.h"

using namespace qn::api;

extern "C" {

// `text` has no content of its own: it is zeroed and stays empty.
QNSNWSM_API uint32_t WSManGetShareState(QNSNWSM_HANDLE handle, const char* shareName, uint32_t* shareFound,
                                        char* text, uint32_t textSize, char* error, uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [&](CQnWSMan& module, uint32_t& found, CQncString&, CQncString& errorText) {
            return module.WinRMGetShareState(shareName, found, errorText);
        },
        CallerNumber{shareFound}, CallerText{text, textSize}, CallerText{error, errorSize});
}

QNSNWSM_API uint32_t WSManGetRemovableDrives(QNSNWSM_HANDLE handle, char* list, uint32_t listSize,
                                             char* error, uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize, &CQnWSMan::WinRMGetRemovableDrives);
}

QNSNWSM_API uint32_t WSManGetTerminalServerSessions(QNSNWSM_HANDLE handle, uint32_t* activeSessions,
                                                    uint32_t* inactiveSessions, uint32_t* thirdCount,
                                                    char* error, uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [](CQnWSMan& module, uint32_t& active, uint32_t& inactive, uint32_t& third, CQncString& errorText) {
            return module.WinRMGetTerminalServerSessions(active, inactive, third, errorText);
        },
        CallerNumber{activeSessions}, CallerNumber{inactiveSessions}, CallerNumber{thirdCount},
        CallerText{error, errorSize});
}

QNSNWSM_API uint32_t WSManGetNICList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                     uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize, &CQnWSMan::WinRMGetNICList);
}

// The four numbers are reset by the check itself, not here.
QNSNWSM_API uint32_t WSManGetNICTrafficValues(QNSNWSM_HANDLE handle, const char* nicName, uint32_t* nicFound,
                                              uint32_t* bandwidthMbit, uint32_t* bytesPerSec,
                                              uint32_t* kilobytesPerSec, char* error, uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [&](CQnWSMan& module, uint32_t& found, uint32_t& bandwidth, uint32_t& bytes, uint32_t& kilobytes,
            CQncString& errorText) {
            return module.WinRMGetNICTrafficValues(nicName, found, bandwidth, bytes, kilobytes, errorText);
        },
        CallerNumber{nicFound, NumberOut::kLeaveAsIs}, CallerNumber{bandwidthMbit, NumberOut::kLeaveAsIs},
        CallerNumber{bytesPerSec, NumberOut::kLeaveAsIs},
        CallerNumber{kilobytesPerSec, NumberOut::kLeaveAsIs}, CallerText{error, errorSize});
}

}  // extern "C"
