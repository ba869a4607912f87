// Exports of the system checks: domain, disk drives, logical-disk space and memory.
#include "api/ExportSupport.h"

using namespace qn::api;

extern "C" {

QNSNWSM_API uint32_t WSManGetDomain(QNSNWSM_HANDLE handle, char* domain, uint32_t domainSize, char* error,
                                    uint32_t errorSize, uint32_t* domainRole) {
    return RunCheckExport(
        handle,
        [](CQnWSMan& module, CQncString& domainText, CQncString& errorText, uint32_t& role) {
            return module.WinRMGetDomain(domainText, errorText, role);
        },
        CallerText{domain, domainSize}, CallerText{error, errorSize}, CallerNumber{domainRole});
}

// The one size applies to each of the three list buffers.
QNSNWSM_API uint32_t WSManGetDisksState(QNSNWSM_HANDLE handle, uint32_t* allDisksOk, char* diskList,
                                        char* badDisk, char* badDiskStatus, uint32_t size, char* error,
                                        uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [](CQnWSMan& module, uint32_t& allOk, CQncString& listText, CQncString& badDiskText,
           CQncString& statusText, CQncString& errorText) {
            return module.WinRMGetDisksState(allOk, listText, badDiskText, statusText, errorText);
        },
        CallerNumber{allDisksOk}, CallerText{diskList, size}, CallerText{badDisk, size},
        CallerText{badDiskStatus, size}, CallerText{error, errorSize});
}

QNSNWSM_API uint32_t WSManGetLogicalDiskSpace(QNSNWSM_HANDLE handle, const char* diskName,
                                              uint32_t* driveFound, uint32_t* freeMB, uint32_t* usedMB,
                                              uint32_t* sizeMB, char* error, uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [&](CQnWSMan& module, uint32_t& found, uint32_t& freeSpace, uint32_t& used, uint32_t& total,
            CQncString& errorText) {
            return module.WinRMGetLogicalDiskSpace(diskName, found, freeSpace, used, total, errorText);
        },
        CallerNumber{driveFound}, CallerNumber{freeMB}, CallerNumber{usedMB}, CallerNumber{sizeMB},
        CallerText{error, errorSize});
}

QNSNWSM_API uint32_t WSManGetMemory(QNSNWSM_HANDLE handle, uint32_t* availableMB, uint32_t* committedMB,
                                    uint32_t* pagesPerSec, char* error, uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [](CQnWSMan& module, uint32_t& available, uint32_t& committed, uint32_t& pages,
           CQncString& errorText) { return module.WinRMGetMemory(available, committed, pages, errorText); },
        CallerNumber{availableMB}, CallerNumber{committedMB}, CallerNumber{pagesPerSec},
        CallerText{error, errorSize});
}

}  // extern "C"
