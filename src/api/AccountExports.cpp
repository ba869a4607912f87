// Exports of the account checks: user accounts, groups and a group's members.
#include "api/ExportSupport.h"

using namespace qn::api;

extern "C" {

QNSNWSM_API uint32_t WSManGetWinUserAccountList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize,
                                                char* error, uint32_t errorSize) {
    return RunListExport(handle, list, listSize, error, errorSize,
                         [](CQnWSMan& module, CQncListString& names, CQncString& errorText) {
                             return module.WinRMGetWinUserAccountList(names, errorText);
                         });
}

QNSNWSM_API uint32_t WSManGetWinGroupList(QNSNWSM_HANDLE handle, char* list, uint32_t listSize, char* error,
                                          uint32_t errorSize) {
    return RunListExport(handle, list, listSize, error, errorSize,
                         [](CQnWSMan& module, CQncListString& names, CQncString& errorText) {
                             return module.WinRMGetWinGroupList(names, errorText);
                         });
}

// The group and its domain are passed on as given; a "domain\group" text is not split.
QNSNWSM_API uint32_t WSManGetWinGroupMemberList(QNSNWSM_HANDLE handle, const char* groupName,
                                                const char* domain, char* list, uint32_t listSize,
                                                char* error, uint32_t errorSize) {
    return RunListExport(handle, list, listSize, error, errorSize,
                         [&](CQnWSMan& module, CQncListString& names, CQncString& errorText) {
                             return module.WinRMGetWinGroupMemberList(groupName, domain, names, errorText);
                         });
}

}  // extern "C"
