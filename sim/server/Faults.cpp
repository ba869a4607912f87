#include "server/Faults.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "server/Envelope.h"
#include "server/Namespaces.h"
#include "server/XmlText.h"

namespace qnsim {
namespace {

constexpr std::string_view kWsmanFaultAction = "http://schemas.dmtf.org/wbem/wsman/1/wsman/fault";
constexpr std::string_view kEnumerationFaultAction =
    "http://schemas.xmlsoap.org/ws/2004/09/enumeration/fault";
constexpr std::string_view kAddressingFaultAction = "http://schemas.xmlsoap.org/ws/2004/08/addressing/fault";
constexpr std::string_view kFaultDetailPrefix = "http://schemas.dmtf.org/wbem/wsman/1/wsman/faultDetail/";

struct FaultSpec {
    FaultKind kind;
    std::string_view name;
    std::string_view code;     // s:Code value
    std::string_view subcode;  // empty: no s:Subcode
    std::string_view action;
    std::string_view detail;  // w:FaultDetail suffix, empty for none
    std::uint32_t hresult;
    // The message as FormatMessage yields it; Windows appends one blank when it renders the fault, so a
    // message that already ends in a blank shows two.
    std::string_view text;
};

constexpr std::array kSpecs = {
    FaultSpec{FaultKind::AccessDenied, "AccessDenied", "s:Sender", "w:AccessDenied", kWsmanFaultAction, "",
              0x80070005, "Access is denied."},
    FaultSpec{FaultKind::ActionNotSupported, "ActionNotSupported", "s:Sender", "a:ActionNotSupported",
              kAddressingFaultAction, "", 0x80338013,
              "The WS-Management service does not support the action specified in the request."},
    FaultSpec{
        FaultKind::CannotProcessFilter, "CannotProcessFilter", "s:Sender", "n:CannotProcessFilter",
        kEnumerationFaultAction, "", 0x8033801A,
        "The data source could not process the filter. The filter might be missing or it might be invalid. "
        "Change the filter and try the request again. "},
    FaultSpec{FaultKind::EncodingLimit, "EncodingLimit", "s:Sender", "w:EncodingLimit", kWsmanFaultAction,
              "MaxEnvelopeSize", 0x80338048,
              "The response that the WS-Management service computed exceeds the maximum envelope size in the "
              "request."},
    FaultSpec{
        FaultKind::MaxEnvelopeSizeTooLarge, "MaxEnvelopeSizeTooLarge", "s:Sender", "w:EncodingLimit",
        kWsmanFaultAction, "MaxEnvelopeSize", 0x80338047,
        "The maximum envelope size in the request is too large. Change the maximum envelope size and try "
        "the request again. "},
    FaultSpec{FaultKind::FilterDialectUnavailable, "FilterDialectRequestedUnavailable", "s:Sender",
              "n:FilterDialectRequestedUnavailable", kEnumerationFaultAction, "", 0x80338019,
              "The filter dialect (the type associated with the filter) was not supported for this resource. "
              "Change the filter dialect or remove it from the request and try the request again."},
    FaultSpec{FaultKind::InternalError, "InternalError", "s:Receiver", "w:InternalError", kWsmanFaultAction,
              "", 0x80338003, "An error was encountered inside the plugin."},
    FaultSpec{
        FaultKind::InvalidEnumerationContext, "InvalidEnumerationContext", "s:Receiver",
        "n:InvalidEnumerationContext", kEnumerationFaultAction, "", 0x8033801B,
        "The WS-Enumeration context in the enumeration is not valid. Enumeration may have been completed "
        "or canceled. You cannot use this enumeration context anymore. Start a new enumeration."},
    FaultSpec{FaultKind::InvalidParameter, "InvalidParameter", "s:Sender", "w:InvalidParameter",
              kWsmanFaultAction, "", 0x8033803A,
              "The WS-Management service cannot process the request because a parameter for the operation is "
              "not valid."},
    FaultSpec{
        FaultKind::InvalidResourceUri, "InvalidResourceURI", "s:Sender", "w:InvalidResourceURI",
        kWsmanFaultAction, "", 0x8033803B,
        "The WS-Management service cannot process the request. The resource URI is missing or it has an "
        "incorrect format. Check the documentation or use the following command for information on how to "
        "construct a resource URI: \"winrm help uris\". "},
    FaultSpec{FaultKind::InvalidSelectors, "InvalidSelectors", "s:Sender", "w:InvalidSelectors",
              kWsmanFaultAction, "UnexpectedSelectors", 0x8033805B,
              "The WS-Management service cannot process the request because the request contained invalid "
              "selectors for the resource."},
    FaultSpec{
        FaultKind::InvalidWqlEnumerationUri, "InvalidWqlEnumerationUri", "s:Sender", "w:InvalidParameter",
        kWsmanFaultAction, "", 0x803380FB,
        "The WinRM client cannot process the request. The resource URI for an enumeration operation with "
        "WQL filter must not contain keys and the class name must be '*' (star). Use the following command "
        "to get more information in how to construct a resource URI: \"winrm help uris\"."},
    FaultSpec{
        FaultKind::MessageHeaderRequired, "MessageInformationHeaderRequired", "s:Sender",
        "a:MessageInformationHeaderRequired", kAddressingFaultAction, "", 0x80338011,
        "The WS-Management service cannot process the request. The request does not have all the expected "
        "SOAP headers."},
    FaultSpec{
        FaultKind::MustUnderstand, "MustUnderstand", "s:MustUnderstand", "", kWsmanFaultAction, "",
        0x80338010,
        "The WS-Management service cannot process a SOAP header in the request that is marked as "
        "mustUnderstand by the client. This could be caused by the use of a version of the protocol which "
        "is not supported, or may be an incompatibility between the client and server implementations. "},
    FaultSpec{
        FaultKind::PullParametersChanged, "PullParametersChanged", "s:Sender", "w:InvalidParameter",
        kWsmanFaultAction, "", 0x803381AD,
        "The WS-Management service cannot process the request because the Pull request parameters are not "
        "the same as the ones of the Enumerate request. Use the same MaxElements, MaxCharacters and "
        "MaxEnvelopeSize in the Enumerate request and in every Pull request."},
    FaultSpec{
        FaultKind::QuotaLimit, "QuotaLimit", "s:Sender", "w:QuotaLimit", kWsmanFaultAction, "", 0x803381A5,
        "The WS-Management service cannot process the request. The maximum number of concurrent shells for "
        "this user has been exceeded. Close existing shells or raise the quota for this user."},
    FaultSpec{FaultKind::ResourceNotFound, "DestinationUnreachable", "s:Sender", "a:DestinationUnreachable",
              kAddressingFaultAction, "InvalidResourceURI", 0x80338000,
              "The WS-Management service cannot process the request. The service cannot find the resource "
              "identified by the resource URI and selectors."},
    FaultSpec{
        FaultKind::SchemaValidationError, "SchemaValidationError", "s:Sender", "w:SchemaValidationError",
        kWsmanFaultAction, "", 0x80338041,
        "The SOAP XML in the message does not match the corresponding XML schema definition. Change the XML "
        "and retry."},
    FaultSpec{FaultKind::TimedOut, "TimedOut", "s:Receiver", "w:TimedOut", kWsmanFaultAction, "", 0x80338029,
              "The WS-Management service cannot complete the operation within the time specified in "
              "OperationTimeout. "},
};

const FaultSpec& SpecFor(FaultKind kind) {
    for (const auto& spec : kSpecs)
        if (spec.kind == kind) return spec;
    return kSpecs[0];
}

std::string Rendered(std::string_view text) {
    return std::string(text) + " ";
}

std::string RenderWsmanFault(std::uint32_t code, std::string_view machine, std::string_view messageContent) {
    std::string xml = "<f:WSManFault xmlns:f=\"";
    xml += ns::kWsmanFault;
    xml += "\" Code=\"" + std::to_string(code) + "\" Machine=\"" + EscapeEnvelopeAttribute(machine) +
           "\"><f:Message>";
    xml += messageContent;
    xml += "</f:Message></f:WSManFault>";
    return xml;
}

std::string RenderExtendedStatus(const ProviderFault::ExtendedStatus& status) {
    std::string xml =
        "<f:ExtendedError><p:__ExtendedStatus xmlns:cim=\"http://schemas.dmtf.org/wbem/wscim/1/common\" "
        "xmlns:p=\"";
    xml += ns::kWmiResourcePrefix;
    xml += EscapeEnvelopeAttribute(status.wmiNamespace) + "/__ExtendedStatus\" ";
    xml += "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:type=\"p:__ExtendedStatus_Type\">";
    xml += "<p:Description xsi:nil=\"true\"/>";
    xml += "<p:Operation>" + EscapeEnvelopeText(status.operation) + "</p:Operation>";
    xml += "<p:ParameterInfo>" + EscapeEnvelopeText(status.parameterInfo) + "</p:ParameterInfo>";
    xml += "<p:ProviderName>" + EscapeEnvelopeText(status.providerName) + "</p:ProviderName>";
    xml += "<p:StatusCode xsi:nil=\"true\"/></p:__ExtendedStatus></f:ExtendedError>";
    return xml;
}

// The CIM error's own wording of the quota fault, which differs from the s:Reason text.
constexpr std::string_view kQuotaDetailMessage =
    "The WS-Management service cannot process the request. This user is allowed a maximum number of 30 "
    "concurrent "
    "shells, which has been exceeded. Close existing shells or raise the quota for this user.";

// Windows reports quota faults with a CIM error object instead of a WSManFault.
std::string RenderWmiErrorDetail(const FaultSpec& spec) {
    const std::string message = EscapeEnvelopeText(Rendered(kQuotaDetailMessage));
    std::string xml =
        "<p:MSFT_WmiError b:IsCIM_Error=\"true\" "
        "xmlns:b=\"http://schemas.dmtf.org/wbem/wsman/1/cimbinding.xsd\" "
        "xmlns:cim=\"http://schemas.dmtf.org/wbem/wscim/1/common\" "
        "xmlns:p=\"http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/MSFT_WmiError\" "
        "xsi:type=\"p:MSFT_WmiError_Type\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">";
    char hex[16];
    std::snprintf(hex, sizeof hex, "%08x", static_cast<unsigned>(spec.hresult));
    xml +=
        "<p:CIMStatusCode xsi:type=\"cim:cimUnsignedInt\">27</p:CIMStatusCode>"
        "<p:CIMStatusCodeDescription xsi:nil=\"true\" xsi:type=\"cim:cimString\"/>"
        "<p:ErrorSource xsi:nil=\"true\" xsi:type=\"cim:cimString\"/>"
        "<p:ErrorSourceFormat xsi:type=\"cim:cimUnsignedShort\">0</p:ErrorSourceFormat>"
        "<p:ErrorType xsi:type=\"cim:cimUnsignedShort\">0</p:ErrorType>";
    xml += "<p:Message xsi:type=\"cim:cimString\">" + message + "</p:Message>";
    xml += "<p:MessageID xsi:type=\"cim:cimString\">HRESULT 0x" + std::string(hex) + "</p:MessageID>";
    xml +=
        "<p:OtherErrorSourceFormat xsi:nil=\"true\" xsi:type=\"cim:cimString\"/>"
        "<p:OtherErrorType xsi:nil=\"true\" xsi:type=\"cim:cimString\"/>"
        "<p:OwningEntity xsi:nil=\"true\" xsi:type=\"cim:cimString\"/>"
        "<p:PerceivedSeverity xsi:type=\"cim:cimUnsignedShort\">0</p:PerceivedSeverity>"
        "<p:ProbableCause xsi:type=\"cim:cimUnsignedShort\">0</p:ProbableCause>"
        "<p:ProbableCauseDescription xsi:nil=\"true\" xsi:type=\"cim:cimString\"/>"
        "<p:error_Category xsi:type=\"cim:cimUnsignedInt\">30</p:error_Category>";
    xml +=
        "<p:error_Code xsi:type=\"cim:cimUnsignedInt\">" + std::to_string(spec.hresult) + "</p:error_Code>";
    xml += "<p:error_Type xsi:type=\"cim:cimString\">HRESULT</p:error_Type>";
    xml += "<p:error_WindowsErrorMessage xsi:type=\"cim:cimString\">" + message +
           "</p:error_WindowsErrorMessage>";
    xml += "</p:MSFT_WmiError>";
    return xml;
}

}  // namespace

std::uint32_t FaultCode(FaultKind kind) {
    return SpecFor(kind).hresult;
}

std::string RenderFault(const FaultReport& report) {
    const FaultSpec& spec = SpecFor(report.kind);
    const std::string reason = EscapeEnvelopeText(Rendered(spec.text));
    std::string body = "<s:Fault><s:Code><s:Value>";
    body += spec.code;
    body += "</s:Value>";
    if (!spec.subcode.empty()) {
        body += "<s:Subcode><s:Value>";
        body += spec.subcode;
        body += "</s:Value></s:Subcode>";
    }
    body += "</s:Code><s:Reason><s:Text xml:lang=\"en-US\">" + reason + "</s:Text></s:Reason><s:Detail>";
    if (report.kind == FaultKind::QuotaLimit) {
        body += RenderWmiErrorDetail(spec);
    } else {
        if (!spec.detail.empty()) {
            body += "<w:FaultDetail>";
            body += kFaultDetailPrefix;
            body += spec.detail;
            body += "</w:FaultDetail>";
        }
        std::string message = reason;
        if (report.provider) {
            const ProviderFault& provider = *report.provider;
            message =
                "<f:ProviderFault provider=\"WMI Provider\" path=\"%systemroot%\\system32\\WsmWmiPl.dll\">";
            message += RenderWsmanFault(provider.code, report.machine,
                                        EscapeEnvelopeText(Rendered(provider.message)));
            if (provider.extended) message += RenderExtendedStatus(*provider.extended);
            message += "</f:ProviderFault>";
        }
        body += RenderWsmanFault(spec.hresult, report.machine, message);
    }
    body += "</s:Detail></s:Fault>";
    return RenderEnvelope(spec.action, report.relatesTo, body, report.locale);
}

std::optional<FaultKind> FaultKindByName(std::string_view name) {
    const auto equal = [](std::string_view a, std::string_view b) {
        return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
                   return std::tolower(static_cast<unsigned char>(x)) ==
                          std::tolower(static_cast<unsigned char>(y));
               });
    };
    for (const auto& spec : kSpecs) {
        const std::string_view subcodeName = spec.subcode.substr(spec.subcode.find(':') + 1);
        if (equal(name, spec.name) || (!spec.subcode.empty() && equal(name, subcodeName))) return spec.kind;
    }
    return std::nullopt;
}

}  // namespace qnsim
