// Turns libcurl failures and unexpected HTTP statuses into the HRESULTs the Windows client
// reports (the table is in wsman/TransportErrors.h).
#pragma once

#include "wsman/Channel.h"
#include "wsman/http/HttpConnection.h"

namespace wsman::http {

// For a transfer that produced no HTTP reply (response.result != CURLE_OK).
HResult HResultForTransferFailure(const HttpResponse& response);

// For an HTTP status the channel cannot hand up as a SOAP reply (anything but 200 and a SOAP 500).
HResult HResultForHttpStatus(long status);

}  // namespace wsman::http
