// The WS-Management faults this server sends, rendered exactly as Windows' WinRM service renders them
// (always with HTTP status 500).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qnsim {

enum class FaultKind {
    AccessDenied,
    ActionNotSupported,
    CannotProcessFilter,
    EncodingLimit,            // the response would exceed the request's MaxEnvelopeSize
    MaxEnvelopeSizeTooLarge,  // the request asks for more than the service allows
    FilterDialectUnavailable,
    InternalError,
    InvalidEnumerationContext,
    InvalidParameter,
    InvalidResourceUri,  // malformed resource URI (0x8033803B)
    InvalidSelectors,
    InvalidWqlEnumerationUri,  // WQL filter on a resource URI other than <namespace>/* (0x803380FB)
    MessageHeaderRequired,
    MustUnderstand,
    PullParametersChanged,  // 0x803381AD
    QuotaLimit,
    ResourceNotFound,  // a:DestinationUnreachable (0x80338000)
    SchemaValidationError,
    TimedOut,
};

inline constexpr unsigned kFaultHttpStatus = 500;

// The nested fault a WMI provider adds under f:Message.
struct ProviderFault {
    std::uint32_t code = 0;  // the provider's WSManFault Code
    std::string message;     // its English message
    // When set, an f:ExtendedError with the __ExtendedStatus WMI attaches (Operation, ParameterInfo,
    // ProviderName).
    struct ExtendedStatus {
        std::string wmiNamespace;  // e.g. root/cimv2
        std::string operation;     // ExecQuery, GetObject, ExecMethod
        std::string parameterInfo;
        std::string providerName;
    };
    std::optional<ExtendedStatus> extended;
};

struct FaultReport {
    FaultKind kind = FaultKind::InternalError;
    std::string relatesTo;  // the request's MessageID
    std::string machine;    // WSManFault Machine
    std::optional<ProviderFault> provider;
    std::string locale;  // the request's w:Locale, for the envelope's xml:lang
};

std::string RenderFault(const FaultReport& report);
std::uint32_t FaultCode(FaultKind kind);  // the HRESULT in WSManFault Code

// Names as written in fault-injection files: the subcode's local name or the enum name ("AccessDenied",
// "TimedOut", "CannotProcessFilter", ...); case-insensitive.
std::optional<FaultKind> FaultKindByName(std::string_view name);

}  // namespace qnsim
