// Exports of the service and printer checks, and the two actions: service restart and reboot.
#include "api/ExportSupport.h"

using qn::api::ExportResult;
using qn::api::GuardExport;
using qn::api::kExportFailure;
using qn::api::ModuleFromHandle;
using qn::api::NumberOut;
using qn::api::TextOut;

extern "C" {

QNSNWSM_API uint32_t WSManGetServiceState(QNSNWSM_HANDLE handle, const char* serviceName, char* name,
                                          uint32_t nameSize, char* displayName, uint32_t displayNameSize,
                                          uint32_t* installed, char* state, uint32_t stateSize,
                                          char* startMode, uint32_t startModeSize, char* error,
                                          uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        TextOut nameOut(name, nameSize);
        TextOut displayNameOut(displayName, displayNameSize);
        NumberOut installedOut(installed);
        TextOut stateOut(state, stateSize);
        TextOut startModeOut(startMode, startModeSize);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMGetServiceState(serviceName, nameOut.Text(), displayNameOut.Text(),
                                                        installedOut.Value(), stateOut.Text(),
                                                        startModeOut.Text(), errorOut.Text());
        nameOut.CopyOut();
        displayNameOut.CopyOut();
        stateOut.CopyOut();
        startModeOut.CopyOut();
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

QNSNWSM_API uint32_t WSManGetPrinterState(QNSNWSM_HANDLE handle, const char* printerName, uint32_t* found,
                                          uint32_t* availability, uint32_t* detectedErrorState,
                                          uint32_t* printerStatus, char* error, uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut foundOut(found);
        NumberOut availabilityOut(availability);
        NumberOut errorStateOut(detectedErrorState);
        NumberOut statusOut(printerStatus);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result =
            module->WinRMGetPrinterState(printerName, foundOut.Value(), availabilityOut.Value(),
                                         errorStateOut.Value(), statusOut.Value(), errorOut.Text());
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

QNSNWSM_API uint32_t WSManRestartService(QNSNWSM_HANDLE handle, const char* serviceName, char* error,
                                         uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMRestartService(serviceName, errorOut.Text());
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

QNSNWSM_API uint32_t WSManRebootComputer(QNSNWSM_HANDLE handle, char* error, uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMRebootComputer(errorOut.Text());
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

}  // extern "C"
