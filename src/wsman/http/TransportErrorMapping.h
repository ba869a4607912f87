// Turns libcurl failures into the HRESULTs the Windows client reports (the table, and the mapping of HTTP
// statuses, are in wsman/core/ErrorCodes.h).
#pragma once

#include "wsman/Channel.h"
#include "wsman/http/HttpConnection.h"

namespace wsman::http {

// For a transfer that produced no HTTP reply (response.result != CURLE_OK).
HResult HResultForTransferFailure(const HttpResponse& response);

}  // namespace wsman::http
