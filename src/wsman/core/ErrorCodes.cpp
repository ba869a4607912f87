#include "wsman/core/ErrorCodes.h"

namespace wsman::errors {

HResult HResultForHttpStatus(long status) {
    switch (status) {
        case 401:
        case 403:
            return kAccessDenied;
        case 404:
            return kHttpNotFound;
        case 503:
            return kHttpServiceUnavailable;
        default:
            return status >= 500 ? kHttpServerError : kHttpBadRequest;
    }
}

}  // namespace wsman::errors
