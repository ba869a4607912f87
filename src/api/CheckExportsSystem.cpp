// Exports of the system checks: domain, CPU usage, disk drives, logical-disk space and memory.
#include "api/ExportSupport.h"

using qn::api::ExportResult;
using qn::api::GuardExport;
using qn::api::kExportFailure;
using qn::api::ModuleFromHandle;
using qn::api::NumberOut;
using qn::api::TextOut;

extern "C" {

QNSNWSM_API uint32_t WSManGetDomain(QNSNWSM_HANDLE handle, char* domain, uint32_t domainSize, char* error,
                                    uint32_t errorSize, uint32_t* domainRole) {
    return GuardExport([&]() -> uint32_t {
        TextOut domainOut(domain, domainSize);
        TextOut errorOut(error, errorSize);
        NumberOut roleOut(domainRole);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMGetDomain(domainOut.Text(), errorOut.Text(), roleOut.Value());
        domainOut.CopyOut();
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

QNSNWSM_API uint32_t WSManGetCpuUsage(QNSNWSM_HANDLE handle, const char* cpuName, uint32_t sleepMs,
                                      uint32_t durationMs, uint32_t* usage, char* error, uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut usageOut(usage);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result =
            module->WinRMGetCpuUsage(cpuName, sleepMs, durationMs, usageOut.Value(), errorOut.Text());
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

// The one size applies to each of the three list buffers.
QNSNWSM_API uint32_t WSManGetDisksState(QNSNWSM_HANDLE handle, uint32_t* allDisksOk, char* diskList,
                                        char* badDisk, char* badDiskStatus, uint32_t size, char* error,
                                        uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut okOut(allDisksOk);
        TextOut listOut(diskList, size);
        TextOut badDiskOut(badDisk, size);
        TextOut statusOut(badDiskStatus, size);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMGetDisksState(okOut.Value(), listOut.Text(), badDiskOut.Text(),
                                                      statusOut.Text(), errorOut.Text());
        listOut.CopyOut();
        badDiskOut.CopyOut();
        statusOut.CopyOut();
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

QNSNWSM_API uint32_t WSManGetLogicalDiskSpace(QNSNWSM_HANDLE handle, const char* diskName,
                                              uint32_t* driveFound, uint32_t* freeMB, uint32_t* usedMB,
                                              uint32_t* sizeMB, char* error, uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut foundOut(driveFound);
        NumberOut freeOut(freeMB);
        NumberOut usedOut(usedMB);
        NumberOut sizeOut(sizeMB);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMGetLogicalDiskSpace(
            diskName, foundOut.Value(), freeOut.Value(), usedOut.Value(), sizeOut.Value(), errorOut.Text());
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

QNSNWSM_API uint32_t WSManGetMemory(QNSNWSM_HANDLE handle, uint32_t* availableMB, uint32_t* committedMB,
                                    uint32_t* pagesPerSec, char* error, uint32_t errorSize) {
    return GuardExport([&]() -> uint32_t {
        NumberOut availableOut(availableMB);
        NumberOut committedOut(committedMB);
        NumberOut pagesOut(pagesPerSec);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        const int result = module->WinRMGetMemory(availableOut.Value(), committedOut.Value(),
                                                  pagesOut.Value(), errorOut.Text());
        errorOut.CopyOut();
        return ExportResult(result);
    });
}

}  // extern "C"
