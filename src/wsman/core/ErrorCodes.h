// The one table of HRESULTs the client reports, named as in Windows' wsmerror.h / winerror.h so that a trace
// line reads the same on both platforms, and the one mapping of an HTTP status to its code.
//
// Transport situations (returned by Channel::Send):
//   kNameNotResolved          host name not resolved
//   kDestinationUnreachable   connection refused, reset or closed without a reply; connection lost under a
//                             sealed request (not resent)
//   kNetworkTimedOut          host unreachable, connect or request timed out
//   kSecureFailure            TLS: untrusted, expired, name or pin mismatch
//   kSslConnectionAborted     TLS handshake failed
//   kCaFileUnusable           the TrustedCAFile is missing, unreadable or holds no certificate
//   kEnvelopeTooLarge         reply larger than the envelope size asked for
//   kAccessDenied             HTTP 401/403 after authenticating (wrong password, ...); the KDC refused user
//   or
//                             password; the server offers no scheme we may use
//   kHttpBadRequest           HTTP 400, other unexpected 3xx/4xx statuses
//   kHttpNotFound             HTTP 404
//   kHttpServiceUnavailable   HTTP 503
//   kHttpServerError          HTTP 500 without a SOAP (XML) body, other 5xx
//   kUnencryptedDisabled      Basic / plain body over HTTP not allowed
//   kCredentialsNeeded        Basic without a user name; no own identity (empty user name, no Kerberos
//   ticket) kInvalidAccountName       a user name of no account form ("a\b\c", "CORP\", "@x") kNoCredentials
//   password credential could not be acquired (other) kNoAuthenticatingAuthority  no KDC reachable for the
//   realm; security package failed before the server
//                             answered (unknown SPN)
//   kMutualAuthFailed         server accepted us but did not prove its identity
//   kDecryptFailure           encrypted reply that does not unseal, or a 200 reply in clear on an encrypted
//                             session
//   kUnspecifiedFailure       internal failure (bad URL, no handle)
// The SOAP layer's own codes follow them, and the codes of the bounds on one enumeration
// (client/EnumerationStream.h): kEnumerateTimedOut (its time), kBatchComplete (its item text) and
// kResponseNoResults (empty batches in a row). Windows' client returns none of these three for the module's
// calls, so the module's error texts for them name the setting to raise.
#pragma once

#include "wsman/core/HResult.h"

namespace wsman::errors {

// Transport
inline constexpr HResult kNameNotResolved = ToHResult(0x803381B9);         // ERROR_WSMAN_NAME_NOT_RESOLVED
inline constexpr HResult kDestinationUnreachable = ToHResult(0x80338012);  // ..._DESTINATION_UNREACHABLE
inline constexpr HResult kNetworkTimedOut = ToHResult(0x80338126);         // ERROR_WSMAN_NETWORK_TIMEDOUT
inline constexpr HResult kSecureFailure = ToHResult(0x80072F8F);           // ERROR_WINHTTP_SECURE_FAILURE
inline constexpr HResult kSslConnectionAborted = ToHResult(0x803381BA);    // ..._SSL_CONNECTION_ABORTED
inline constexpr HResult kCaFileUnusable = ToHResult(0x80338192);          // ERROR_WSMAN_FILE_NOT_PRESENT
inline constexpr HResult kEnvelopeTooLarge = ToHResult(0x80338048);        // ERROR_WSMAN_ENVELOPE_TOO_LARGE
inline constexpr HResult kAccessDenied = ToHResult(0x80070005);            // E_ACCESSDENIED
inline constexpr HResult kHttpBadRequest = ToHResult(0x80338171);          // ..._HTTP_STATUS_BAD_REQUEST
inline constexpr HResult kHttpNotFound = ToHResult(0x80338113);  // ERROR_WSMAN_HTTP_NOT_FOUND_STATUS
inline constexpr HResult kHttpServiceUnavailable =
    ToHResult(0x80338112);                                              // ..._HTTP_SERVICE_UNAVAILABLE_STATUS
inline constexpr HResult kHttpServerError = ToHResult(0x80338170);      // ..._HTTP_STATUS_SERVER_ERROR
inline constexpr HResult kUnencryptedDisabled = ToHResult(0x803380DE);  // ..._CLIENT_UNENCRYPTED_DISABLED
inline constexpr HResult kCredentialsNeeded = ToHResult(0x803380B2);    // ..._CLIENT_CREDENTIALS_NEEDED
inline constexpr HResult kInvalidAccountName = ToHResult(0x80070523);   // ERROR_INVALID_ACCOUNT_NAME
inline constexpr HResult kNoCredentials = ToHResult(0x8009030E);        // SEC_E_NO_CREDENTIALS
inline constexpr HResult kNoAuthenticatingAuthority =
    ToHResult(0x80090311);                                             // SEC_E_NO_AUTHENTICATING_AUTHORITY
inline constexpr HResult kMutualAuthFailed = ToHResult(0x803381F0);    // ERROR_WSMAN_MUTUAL_AUTH_FAILED
inline constexpr HResult kDecryptFailure = ToHResult(0x80090330);      // SEC_E_DECRYPT_FAILURE
inline constexpr HResult kUnspecifiedFailure = ToHResult(0x80004005);  // E_FAIL

// SOAP replies, faults and the client's argument checks
inline constexpr HResult kInternalError = ToHResult(0x8007054F);  // HRESULT_FROM_WIN32(ERROR_INTERNAL_ERROR)
inline constexpr HResult kResourceNotFound = ToHResult(0x80338000);   // ERROR_WSMAN_RESOURCE_NOT_FOUND
inline constexpr HResult kBatchComplete = ToHResult(0x80338004);      // ERROR_WSMAN_BATCH_COMPLETE
inline constexpr HResult kEnumerationClosed = ToHResult(0x80338007);  // ERROR_WSMAN_ENUMERATION_CLOSED
inline constexpr HResult kInvalidHeader = ToHResult(0x8033800F);   // ..._INVALID_MESSAGE_INFORMATION_HEADER
inline constexpr HResult kMustUnderstand = ToHResult(0x80338010);  // ERROR_WSMAN_SOAP_FAULT_MUST_UNDERSTAND
inline constexpr HResult kHeaderRequired = ToHResult(0x80338011);  // ..._MESSAGE_INFORMATION_HEADER_REQUIRED
inline constexpr HResult kActionNotSupported = ToHResult(0x80338013);     // ERROR_WSMAN_ACTION_NOT_SUPPORTED
inline constexpr HResult kEndpointUnavailable = ToHResult(0x80338014);    // ERROR_WSMAN_ENDPOINT_UNAVAILABLE
inline constexpr HResult kFilteringNotSupported = ToHResult(0x80338018);  // ..._FILTERING_NOT_SUPPORTED
inline constexpr HResult kFilterDialectUnavailable = ToHResult(0x80338019);  // ..._FILTER_DIALECT_UNAVAILABLE
inline constexpr HResult kCannotProcessFilter = ToHResult(0x8033801A);  // ..._ENUMERATE_CANNOT_PROCESS_FILTER
inline constexpr HResult kInvalidEnumerationContext =
    ToHResult(0x8033801B);                                             // ..._INVALID_ENUMERATION_CONTEXT
inline constexpr HResult kEnumerateTimedOut = ToHResult(0x8033801C);   // ERROR_WSMAN_ENUMERATE_TIMED_OUT
inline constexpr HResult kInvalidSoapBody = ToHResult(0x80338027);     // ERROR_WSMAN_INVALID_SOAP_BODY
inline constexpr HResult kOperationTimedOut = ToHResult(0x80338029);   // ERROR_WSMAN_OPERATION_TIMEDOUT
inline constexpr HResult kEncodingLimit = ToHResult(0x80338035);       // ERROR_WSMAN_ENCODING_LIMIT
inline constexpr HResult kInvalidParameter = ToHResult(0x8033803A);    // ERROR_WSMAN_INVALID_PARAMETER
inline constexpr HResult kInvalidResourceUri = ToHResult(0x8033803B);  // ERROR_WSMAN_INVALID_RESOURCE_URI
inline constexpr HResult kInvalidSelectors = ToHResult(0x8033803D);    // ERROR_WSMAN_INVALID_SELECTORS
inline constexpr HResult kInsufficientSelectors =
    ToHResult(0x8033805A);                                              // ERROR_WSMAN_INSUFFICIENT_SELECTORS
inline constexpr HResult kUnexpectedSelectors = ToHResult(0x8033805B);  // ERROR_WSMAN_UNEXPECTED_SELECTORS
inline constexpr HResult kQuotaLimit = ToHResult(0x8033803F);           // ERROR_WSMAN_QUOTA_LIMIT
inline constexpr HResult kSchemaValidation = ToHResult(0x80338041);     // ERROR_WSMAN_SCHEMA_VALIDATION_ERROR
inline constexpr HResult kInvalidXml = ToHResult(0x80338043);           // ERROR_WSMAN_INVALID_XML
inline constexpr HResult kCredentialsFlagNeeded =
    ToHResult(0x803380B3);                                            // ..._CLIENT_CREDENTIALS_FLAG_NEEDED
inline constexpr HResult kBlankUri = ToHResult(0x803380BF);           // ERROR_WSMAN_CLIENT_BLANK_URI
inline constexpr HResult kBlankInputXml = ToHResult(0x803380C1);      // ERROR_WSMAN_CLIENT_BLANK_INPUT_XML
inline constexpr HResult kBlankActionUri = ToHResult(0x803380C4);     // ERROR_WSMAN_CLIENT_BLANK_ACTION_URI
inline constexpr HResult kResponseNoResults = ToHResult(0x803380EF);  // ERROR_WSMAN_RESPONSE_NO_RESULTS
inline constexpr HResult kConnectionStringInvalid =
    ToHResult(0x803380D9);  // ERROR_WSMAN_CONNECTIONSTR_INVALID

// For an HTTP status that carries no SOAP reply: 401/403 access denied, 404 not found, 503 unavailable,
// another 5xx a server error, anything else a bad request.
HResult HResultForHttpStatus(long status);

}  // namespace wsman::errors
