#include "wsman/http/TransportErrorMapping.h"

#include <cerrno>

#include "wsman/core/ErrorCodes.h"

namespace wsman::http {

using namespace errors;

HResult HResultForTransferFailure(const HttpResponse& response) {
    if (response.pinMismatch) {
        return kSecureFailure;
    }
    if (response.caFileUnusable) {
        return kCaFileUnusable;
    }
    switch (response.result) {
        case CURLE_COULDNT_RESOLVE_HOST:
            return kNameNotResolved;
        case CURLE_COULDNT_CONNECT:
            // Refused: nothing listens (WinRM stopped). Otherwise the host or network did not answer.
            return response.osErrno == ECONNREFUSED ? kDestinationUnreachable : kNetworkTimedOut;
        case CURLE_OPERATION_TIMEDOUT:
            return kNetworkTimedOut;
        case CURLE_PEER_FAILED_VERIFICATION:
            return kSecureFailure;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_ENGINE_INITFAILED:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_CRL_BADFILE:
            return kSslConnectionAborted;
        case CURLE_WRITE_ERROR:
            // Only the body collector stops a transfer: the reply outgrew every envelope we allow.
            return kEnvelopeTooLarge;
        case CURLE_URL_MALFORMAT:
        case CURLE_FAILED_INIT:
        case CURLE_OUT_OF_MEMORY:
            return kUnspecifiedFailure;
        default:
            // Reset, closed without a reply, send/receive errors, an answer that is not HTTP (libcurl calls
            // an HTTP/0.9-looking reply an unsupported protocol; the URL itself was checked before): the
            // destination did not serve us.
            return kDestinationUnreachable;
    }
}

}  // namespace wsman::http
