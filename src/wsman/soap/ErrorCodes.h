// HRESULTs the SOAP layer reports itself, named as in Windows' wsmerror.h / winerror.h so that a trace
// line reads the same on both platforms.
#pragma once

#include "wsman/Channel.h"

namespace wsman::errors {

constexpr HResult Code(std::uint32_t value) {
    return static_cast<HResult>(value);
}

inline constexpr HResult kAccessDenied = Code(0x80070005);         // E_ACCESSDENIED
inline constexpr HResult kInternalError = Code(0x8007054F);        // HRESULT_FROM_WIN32(ERROR_INTERNAL_ERROR)
inline constexpr HResult kUnspecifiedFailure = Code(0x80004005);   // E_FAIL
inline constexpr HResult kResourceNotFound = Code(0x80338000);     // ERROR_WSMAN_RESOURCE_NOT_FOUND
inline constexpr HResult kBatchComplete = Code(0x80338004);        // ERROR_WSMAN_BATCH_COMPLETE
inline constexpr HResult kEnumerationClosed = Code(0x80338007);    // ERROR_WSMAN_ENUMERATION_CLOSED
inline constexpr HResult kInvalidHeader = Code(0x8033800F);        // ..._INVALID_MESSAGE_INFORMATION_HEADER
inline constexpr HResult kMustUnderstand = Code(0x80338010);       // ERROR_WSMAN_SOAP_FAULT_MUST_UNDERSTAND
inline constexpr HResult kHeaderRequired = Code(0x80338011);       // ..._MESSAGE_INFORMATION_HEADER_REQUIRED
inline constexpr HResult kActionNotSupported = Code(0x80338013);   // ERROR_WSMAN_ACTION_NOT_SUPPORTED
inline constexpr HResult kEndpointUnavailable = Code(0x80338014);  // ERROR_WSMAN_ENDPOINT_UNAVAILABLE
inline constexpr HResult kFilteringNotSupported = Code(0x80338018);
inline constexpr HResult kFilterDialectUnavailable = Code(0x80338019);
inline constexpr HResult kCannotProcessFilter =
    Code(0x8033801A);  // ERROR_WSMAN_ENUMERATE_CANNOT_PROCESS_FILTER
inline constexpr HResult kInvalidEnumerationContext = Code(0x8033801B);
inline constexpr HResult kEnumerateTimedOut = Code(0x8033801C);      // ERROR_WSMAN_ENUMERATE_TIMED_OUT
inline constexpr HResult kInvalidSoapBody = Code(0x80338027);        // ERROR_WSMAN_INVALID_SOAP_BODY
inline constexpr HResult kOperationTimedOut = Code(0x80338029);      // ERROR_WSMAN_OPERATION_TIMEDOUT
inline constexpr HResult kEncodingLimit = Code(0x80338035);          // ERROR_WSMAN_ENCODING_LIMIT
inline constexpr HResult kInvalidParameter = Code(0x8033803A);       // ERROR_WSMAN_INVALID_PARAMETER
inline constexpr HResult kInvalidResourceUri = Code(0x8033803B);     // ERROR_WSMAN_INVALID_RESOURCE_URI
inline constexpr HResult kInvalidSelectors = Code(0x8033803D);       // ERROR_WSMAN_INVALID_SELECTORS
inline constexpr HResult kInsufficientSelectors = Code(0x8033805A);  // ERROR_WSMAN_INSUFFICIENT_SELECTORS
inline constexpr HResult kUnexpectedSelectors = Code(0x8033805B);    // ERROR_WSMAN_UNEXPECTED_SELECTORS
inline constexpr HResult kQuotaLimit = Code(0x8033803F);             // ERROR_WSMAN_QUOTA_LIMIT
inline constexpr HResult kSchemaValidation = Code(0x80338041);       // ERROR_WSMAN_SCHEMA_VALIDATION_ERROR
inline constexpr HResult kInvalidXml = Code(0x80338043);             // ERROR_WSMAN_INVALID_XML
inline constexpr HResult kCredentialsNeeded = Code(0x803380B2);      // ERROR_WSMAN_CLIENT_CREDENTIALS_NEEDED
inline constexpr HResult kCredentialsFlagNeeded = Code(0x803380B3);  // ..._CLIENT_CREDENTIALS_FLAG_NEEDED
inline constexpr HResult kBlankUri = Code(0x803380BF);               // ERROR_WSMAN_CLIENT_BLANK_URI
inline constexpr HResult kBlankInputXml = Code(0x803380C1);          // ERROR_WSMAN_CLIENT_BLANK_INPUT_XML
inline constexpr HResult kBlankActionUri = Code(0x803380C4);         // ERROR_WSMAN_CLIENT_BLANK_ACTION_URI
inline constexpr HResult kResponseNoResults = Code(0x803380EF);      // ERROR_WSMAN_RESPONSE_NO_RESULTS
inline constexpr HResult kConnectionStringInvalid = Code(0x803380D9);  // ERROR_WSMAN_CONNECTIONSTR_INVALID
inline constexpr HResult kHttpServiceUnavailable = Code(0x80338112);   // ..._HTTP_SERVICE_UNAVAILABLE_STATUS
inline constexpr HResult kHttpNotFound = Code(0x80338113);             // ERROR_WSMAN_HTTP_NOT_FOUND_STATUS
inline constexpr HResult kHttpServerError = Code(0x80338170);          // ..._HTTP_STATUS_SERVER_ERROR
inline constexpr HResult kHttpBadRequest = Code(0x80338171);           // ..._HTTP_STATUS_BAD_REQUEST

}  // namespace wsman::errors
