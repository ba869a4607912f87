// Exports of the share, session, network-traffic and WMI-counter checks.
#include "api/ExportSupport.h"

using qn::api::ExportResult;
using qn::api::GuardExport;
using qn::api::kExportFailure;
using qn::api::ModuleFromHandle;
using qn::api::NumberOut;
using qn::api::TextOut;

extern "C" {

// `text` has no content of its own: it is zeroed and stays empty.
QNSNWSM_API uint32_t WSManGetShareState(QNSNWSM_HANDLE handle, const char* shareName, uint32_t* shareFound,
                                        char* text, uint32_t textSize, char* error, uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut foundOut(shareFound);
        TextOut textOut(text, textSize);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMGetShareState(shareName, foundOut.Value(), errorOut.Text());
        textOut.CopyOut();
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

QNSNWSM_API uint32_t WSManGetTerminalServerSessions(QNSNWSM_HANDLE handle, uint32_t* activeSessions,
                                                    uint32_t* inactiveSessions, uint32_t* thirdCount,
                                                    char* error, uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut activeOut(activeSessions);
        NumberOut inactiveOut(inactiveSessions);
        NumberOut thirdOut(thirdCount);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMGetTerminalServerSessions(activeOut.Value(), inactiveOut.Value(),
                                                                  thirdOut.Value(), errorOut.Text());
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

// The four numbers are reset by the check itself, not here.
QNSNWSM_API uint32_t WSManGetNICTrafficValues(QNSNWSM_HANDLE handle, const char* nicName, uint32_t* nicFound,
                                              uint32_t* bandwidthMbit, uint32_t* bytesPerSec,
                                              uint32_t* kilobytesPerSec, char* error, uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut foundOut(nicFound, NumberOut::kLeaveAsIs);
        NumberOut bandwidthOut(bandwidthMbit, NumberOut::kLeaveAsIs);
        NumberOut bytesOut(bytesPerSec, NumberOut::kLeaveAsIs);
        NumberOut kilobytesOut(kilobytesPerSec, NumberOut::kLeaveAsIs);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result =
            module->WinRMGetNICTrafficValues(nicName, foundOut.Value(), bandwidthOut.Value(),
                                             bytesOut.Value(), kilobytesOut.Value(), errorOut.Text());
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

// Hosts pass class, counter, instance; the check finds the instance before it reads the counter and takes
// its arguments in that order: class, instance, counter.
QNSNWSM_API uint32_t WSManGetWmiCounterData(QNSNWSM_HANDLE handle, const char* className,
                                            const char* counterName, const char* instanceName,
                                            uint32_t* isNumeric, char* value, uint32_t valueSize, char* error,
                                            uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut numericOut(isNumeric);
        TextOut valueOut(value, valueSize);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMGetWmiCounterData(
            className, instanceName, counterName, numericOut.Value(), valueOut.Text(), errorOut.Text());
        valueOut.CopyOut();
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

}  // extern "C"
