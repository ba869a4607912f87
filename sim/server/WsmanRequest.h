// One WS-Management request as the envelope carried it, independent of transport and authentication.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/ComputerModel.h"

namespace qnsim {

namespace action {
inline constexpr std::string_view kEnumerate = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/Enumerate";
inline constexpr std::string_view kPull = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/Pull";
inline constexpr std::string_view kRelease = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/Release";
inline constexpr std::string_view kGet = "http://schemas.xmlsoap.org/ws/2004/09/transfer/Get";
}  // namespace action

inline constexpr std::string_view kWqlDialect = "http://schemas.microsoft.com/wbem/wsman/1/WQL";

struct EnumerateBody {
    bool optimize = false;                     // w:OptimizeEnumeration
    std::optional<std::uint32_t> maxElements;  // w:MaxElements
    bool hasFilter = false;
    std::string filterDialect;  // empty: the Dialect attribute was absent
    std::string filter;         // the filter's text (WQL)
    std::string enumerationMode;
};

struct PullBody {
    std::string context;
    std::optional<std::uint32_t> maxElements;  // n:MaxElements
};

struct WsmanRequest {
    std::string action;
    std::string messageId;
    std::string resourceUri;
    std::optional<std::uint32_t> maxEnvelopeSize;
    std::optional<double> operationTimeoutSeconds;
    std::string locale;  // w:Locale xml:lang
    Selectors selectors;
    std::vector<std::string>
        misunderstoodHeaders;  // mustUnderstand="true" headers this service does not know

    std::optional<EnumerateBody> enumerate;
    std::optional<PullBody> pull;
    std::optional<std::string> releaseContext;
    std::string bodyXml;  // the first element of s:Body, serialised with its namespaces (Invoke input)
};

struct ParsedRequest {
    std::optional<WsmanRequest> request;
    std::string problem;  // why there is no request: not XML, a DTD, not a SOAP 1.2 envelope, ...
};

// Parses without DTD loading, entity expansion or network access; elements are matched by namespace URI.
ParsedRequest ParseWsmanRequest(std::string_view xml);

}  // namespace qnsim
