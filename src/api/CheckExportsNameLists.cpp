// Exports whose check joins its own list into one text: processes, printers, services, application pools,
// message queues, network interfaces and removable drives.
#include "api/ExportSupport.h"

using qn::api::ExportResult;
using qn::api::GuardExport;
using qn::api::kExportFailure;
using qn::api::ModuleFromHandle;
using qn::api::TextOut;

namespace {

using ListCheck = int (CQnWSMan::*)(CQncString& list, CQncString& error);

// The check joins without a limit; the copy cuts the text to the caller's buffer.
uint32_t RunJoinedListExport(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                             uint32_t errorSize, ListCheck check) noexcept {
    return GuardExport([&]() -> uint32_t {
        TextOut listOut(list, listSize);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = (module->*check)(listOut.Text(), errorOut.Text());
        listOut.CopyOut();
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

}  // namespace

extern "C" {

QNSNWSM_API uint32_t WSManGetProcessList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                         uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize, &CQnWSMan::WinRMGetProcessList);
}

QNSNWSM_API uint32_t WSManGetPrinterList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                         uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize, &CQnWSMan::WinRMGetPrinterList);
}

QNSNWSM_API uint32_t WSManGetServiceList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                         uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize, &CQnWSMan::WinRMGetServiceList);
}

QNSNWSM_API uint32_t WSManGetApplicationPoolList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize,
                                                 char* error, uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize,
                               &CQnWSMan::WinRMGetApplicationPoolList);
}

QNSNWSM_API uint32_t WSManGetMsMqList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                      uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize, &CQnWSMan::WinRMGetMsMqList);
}

QNSNWSM_API uint32_t WSManGetNICList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                     uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize, &CQnWSMan::WinRMGetNICList);
}

QNSNWSM_API uint32_t WSManGetRemovableDrives(QNSNWSM_HANDLE handle, char* list, uint32_t listSize,
                                             char* error, uint32_t errorSize) {
    return RunJoinedListExport(handle, list, listSize, error, errorSize, &CQnWSMan::WinRMGetRemovableDrives);
}

}  // extern "C"
