// The HRESULTs Channel::Send returns for transport situations, chosen as the Windows WinRM client
// reports them (wsmerror.h / winerror.h values):
//
//   0x803381B9 ERROR_WSMAN_NAME_NOT_RESOLVED         host name not resolved
//   0x80338012 ERROR_WSMAN_DESTINATION_UNREACHABLE   connection refused, reset or closed without a reply;
//                                                    connection lost under a sealed request (not resent)
//   0x80338126 ERROR_WSMAN_NETWORK_TIMEDOUT          host unreachable, connect or request timed out
//   0x80072F8F ERROR_WINHTTP_SECURE_FAILURE          TLS: untrusted, expired, name or pin mismatch
//   0x803381BA ERROR_WSMAN_SSL_CONNECTION_ABORTED    TLS handshake failed
//   0x80338192 ERROR_WSMAN_FILE_NOT_PRESENT          the TrustedCAFile is missing, unreadable or holds no
//                                                    certificate
//   0x80338048 ERROR_WSMAN_ENVELOPE_TOO_LARGE        reply larger than the envelope size asked for
//   0x80070005 E_ACCESSDENIED                        HTTP 401 after authenticating (wrong password, ...);
//                                                    the KDC refused user or password; the server
//                                                    offers no scheme we may use
//   0x80338171 ERROR_WSMAN_HTTP_STATUS_BAD_REQUEST   HTTP 400, other unexpected 3xx/4xx statuses
//   0x80338113 ERROR_WSMAN_HTTP_NOT_FOUND_STATUS     HTTP 404
//   0x80338112 ERROR_WSMAN_HTTP_SERVICE_UNAVAILABLE_STATUS  HTTP 503
//   0x80338170 ERROR_WSMAN_HTTP_STATUS_SERVER_ERROR  HTTP 500 without a SOAP (XML) body, other 5xx
//   0x803380DE ERROR_WSMAN_CLIENT_UNENCRYPTED_DISABLED  Basic / plain body over HTTP not allowed
//   0x803380B2 ERROR_WSMAN_CLIENT_CREDENTIALS_NEEDED  Basic without a user name; no own identity
//                                                    (empty user name and no Kerberos ticket)
//   0x80070523 ERROR_INVALID_ACCOUNT_NAME             a user name of no account form ("a\b\c", "CORP\", "@x")
//   0x8009030E SEC_E_NO_CREDENTIALS                  password credential could not be acquired (other)
//   0x80090311 SEC_E_NO_AUTHENTICATING_AUTHORITY     no KDC reachable for the realm; security package
//                                                    failed before the server answered (unknown SPN)
//   0x803381F0 ERROR_WSMAN_MUTUAL_AUTH_FAILED        server accepted us but did not prove its identity
//   0x80090330 SEC_E_DECRYPT_FAILURE                 encrypted reply that does not unseal, or a 200
//                                                    reply in clear on an encrypted session
//   0x80004005 E_FAIL                                internal failure (bad URL, no handle)
#pragma once

#include "wsman/Channel.h"

namespace wsman::transport_error {

inline constexpr HResult kNameNotResolved = static_cast<HResult>(0x803381B9);
inline constexpr HResult kDestinationUnreachable = static_cast<HResult>(0x80338012);
inline constexpr HResult kNetworkTimedOut = static_cast<HResult>(0x80338126);
inline constexpr HResult kSecureFailure = static_cast<HResult>(0x80072F8F);
inline constexpr HResult kSslConnectionAborted = static_cast<HResult>(0x803381BA);
inline constexpr HResult kCaFileUnusable = static_cast<HResult>(0x80338192);
inline constexpr HResult kEnvelopeTooLarge = static_cast<HResult>(0x80338048);
inline constexpr HResult kAccessDenied = static_cast<HResult>(0x80070005);
inline constexpr HResult kHttpBadRequest = static_cast<HResult>(0x80338171);
inline constexpr HResult kHttpNotFound = static_cast<HResult>(0x80338113);
inline constexpr HResult kHttpServiceUnavailable = static_cast<HResult>(0x80338112);
inline constexpr HResult kHttpServerError = static_cast<HResult>(0x80338170);
inline constexpr HResult kUnencryptedDisabled = static_cast<HResult>(0x803380DE);
inline constexpr HResult kCredentialsNeeded = static_cast<HResult>(0x803380B2);
inline constexpr HResult kInvalidAccountName = static_cast<HResult>(0x80070523);
inline constexpr HResult kNoCredentials = static_cast<HResult>(0x8009030E);
inline constexpr HResult kNoAuthenticatingAuthority = static_cast<HResult>(0x80090311);
inline constexpr HResult kMutualAuthFailed = static_cast<HResult>(0x803381F0);
inline constexpr HResult kDecryptFailure = static_cast<HResult>(0x80090330);
inline constexpr HResult kFail = static_cast<HResult>(0x80004005);

}  // namespace wsman::transport_error
