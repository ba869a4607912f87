// Exports of the WMI counter check and the schema browsing (classes, instances, properties).
#include "api/ExportSupport.h"

using namespace qn::api;

extern "C" {

// Hosts pass class, counter, instance; the check finds the instance before it reads the counter and takes
// its arguments in that order: class, instance, counter.
QNSNWSM_API uint32_t WSManGetWmiCounterData(QNSNWSM_HANDLE handle, const char* className,
                                            const char* counterName, const char* instanceName,
                                            uint32_t* isNumeric, char* value, uint32_t valueSize, char* error,
                                            uint32_t errorSize) {
    return RunCheckExport(
        handle,
        [&](CQnWSMan& module, uint32_t& numeric, CQncString& valueText, CQncString& errorText) {
            return module.WinRMGetWmiCounterData(className, instanceName, counterName, numeric, valueText,
                                                 errorText);
        },
        CallerNumber{isNumeric}, CallerText{value, valueSize}, CallerText{error, errorSize});
}

QNSNWSM_API uint32_t WSManCollectClasses(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                         uint32_t errorSize) {
    return RunListExport(handle, list, listSize, error, errorSize,
                         [](CQnWSMan& module, CQncListString& names, CQncString& errorText) {
                             return module.WinRMCollectClasses(names, errorText);
                         });
}

QNSNWSM_API uint32_t WSManCollectInstances(QNSNWSM_HANDLE handle, const char* className, char* list,
                                           uint32_t listSize, char* error, uint32_t errorSize) {
    return RunListExport(handle, list, listSize, error, errorSize,
                         [&](CQnWSMan& module, CQncListString& names, CQncString& errorText) {
                             return module.WinRMCollectInstances(className, names, errorText);
                         });
}

QNSNWSM_API uint32_t WSManCollectProperties(QNSNWSM_HANDLE handle, const char* className, char* list,
                                            uint32_t listSize, char* error, uint32_t errorSize) {
    return RunListExport(handle, list, listSize, error, errorSize,
                         [&](CQnWSMan& module, CQncListString& names, CQncString& errorText) {
                             return module.WinRMCollectProperties(className, names, errorText);
                         });
}

}  // extern "C"
