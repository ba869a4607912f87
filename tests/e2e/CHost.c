/* A host written in C (run by LoadLibraryTest): the public header must compile as C and be usable without any
 * C++. */
#include <stddef.h>
#include <string.h>

#include "qnsnwsm.h"

int QnCHostInitializeAndShutdown(const char* traceFile) {
    QNSNWSM_HANDLE handle = NULL;
    char error[64];
    uint32_t result;

    memset(error, 'x', sizeof error);
    if (WSManInitialize(NULL, traceFile, &handle) != QNSNWSM_OK || handle == NULL) return 1;
    /* A connect on a NULL handle fails and leaves the error buffer alone. */
    result = WSManConnectToComputer(NULL, "pc1", "", "", NULL, QNSNWSM_PORT_HTTP, 0, 0, error, sizeof error);
    WSManShutdown(handle);
    if (result != QNSNWSM_FAILURE) return 2;
    return error[0] == 'x' ? 0 : 3;
}
