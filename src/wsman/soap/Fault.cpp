#include "wsman/soap/Fault.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <utility>

#include "wsman/core/ErrorCodes.h"
#include "wsman/soap/Namespaces.h"
#include "wsman/soap/XmlPtr.h"

namespace wsman::soap {

using xml::FindChild;

namespace {

struct SubcodeCode {
    const char* namespaceUri;
    const char* localName;
    HResult code;
};

// wsmerror.h documents each code with the fault it travels as ("wsen, code=Sender, subcode=...").
constexpr SubcodeCode kSubcodes[] = {
    {ns::kAddressing, "DestinationUnreachable", errors::kResourceNotFound},
    {ns::kAddressing, "ActionNotSupported", errors::kActionNotSupported},
    {ns::kAddressing, "InvalidMessageInformationHeader", errors::kInvalidHeader},
    {ns::kAddressing, "MessageInformationHeaderRequired", errors::kHeaderRequired},
    {ns::kAddressing, "EndpointUnavailable", errors::kEndpointUnavailable},
    {ns::kSoap, "MustUnderstand", errors::kMustUnderstand},
    {ns::kEnumeration, "CannotProcessFilter", errors::kCannotProcessFilter},
    {ns::kEnumeration, "FilterDialectRequestedUnavailable", errors::kFilterDialectUnavailable},
    {ns::kEnumeration, "FilteringNotSupported", errors::kFilteringNotSupported},
    {ns::kEnumeration, "InvalidEnumerationContext", errors::kInvalidEnumerationContext},
    {ns::kEnumeration, "TimedOut", errors::kEnumerateTimedOut},
    {ns::kWsman, "TimedOut", errors::kOperationTimedOut},
    {ns::kWsman, "InvalidSelectors", errors::kInvalidSelectors},
    {ns::kWsman, "InvalidParameter", errors::kInvalidParameter},
    {ns::kWsman, "SchemaValidationError", errors::kSchemaValidation},
    {ns::kWsman, "QuotaLimit", errors::kQuotaLimit},
    {ns::kWsman, "EncodingLimit", errors::kEncodingLimit},
    {ns::kWsman, "InternalError", errors::kInternalError},
    {ns::kWsman, "AccessDenied", errors::kAccessDenied},
    {ns::kWsman, "InvalidBody", errors::kInvalidSoapBody},
};

std::optional<HResult> ParseDecimalCode(const std::string& text) {
    const std::string trimmed = xml::TrimWhitespace(text);
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(trimmed.data(), trimmed.data() + trimmed.size(), value);
    if (trimmed.empty() || error != std::errc() || end != trimmed.data() + trimmed.size() ||
        value > 0xFFFFFFFFu) {
        return std::nullopt;
    }
    const auto code = static_cast<HResult>(static_cast<std::uint32_t>(value));
    return code == 0 ? std::nullopt : std::optional<HResult>(code);
}

// A QName value ("w:TimedOut") resolved against the declarations in scope at `node`.
std::pair<std::string, std::string> ResolveQName(const xmlNode* node, const std::string& qname) {
    const auto colon = qname.find(':');
    const std::string prefix = colon == std::string::npos ? std::string() : qname.substr(0, colon);
    const std::string local = colon == std::string::npos ? qname : qname.substr(colon + 1);
    const xmlNs* ns = xmlSearchNs(node->doc, const_cast<xmlNode*>(node),
                                  prefix.empty() ? nullptr : xml::XmlChars(prefix.c_str()));
    return {ns != nullptr && ns->href != nullptr ? xml::Chars(ns->href) : std::string(), local};
}

HResult HResultForQName(const std::pair<std::string, std::string>& name) {
    if (const HResult code = HResultForSubcode(name.first, name.second); code != 0) return code;
    // A prefix the reply forgot to declare still names the fault well enough.
    if (name.first.empty()) {
        for (const SubcodeCode& entry : kSubcodes) {
            if (name.second == entry.localName) return entry.code;
        }
    }
    return 0;
}

// The innermost message of a WSManFault: ProviderFaults nest further WSManFaults, or carry plain text.
std::string WsmanFaultMessage(const xmlNode* wsmanFault) {
    const xmlNode* message = FindChild(wsmanFault, ns::kWsmanFault, "Message");
    if (message == nullptr) return {};
    if (const xmlNode* provider = FindChild(message, ns::kWsmanFault, "ProviderFault")) {
        if (const xmlNode* inner = FindChild(provider, ns::kWsmanFault, "WSManFault")) {
            const std::string innerText = WsmanFaultMessage(inner);
            if (!innerText.empty()) return innerText;
        }
        std::string text;
        for (const xmlNode* child = provider->children; child != nullptr; child = child->next) {
            if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE)
                text += xml::TextOf(child);
        }
        return xml::TrimWhitespace(text);
    }
    return xml::TrimWhitespace(xml::TextOf(message));
}

// InvalidSelectors is refined by the fault detail URI (…/faultDetail/UnexpectedSelectors, …).
HResult RefineBySelectorDetail(HResult mapped, const xmlNode* detail) {
    if (mapped != errors::kInvalidSelectors) return mapped;
    const std::string faultDetail =
        xml::TrimWhitespace(xml::TextOf(FindChild(detail, ns::kWsman, "FaultDetail")));
    const auto endsWith = [&faultDetail](const std::string& suffix) {
        return faultDetail.size() >= suffix.size() &&
               faultDetail.compare(faultDetail.size() - suffix.size(), suffix.size(), suffix) == 0;
    };
    if (endsWith("/UnexpectedSelectors")) return errors::kUnexpectedSelectors;
    if (endsWith("/InsufficientSelectors")) return errors::kInsufficientSelectors;
    return mapped;
}

}  // namespace

HResult HResultForSubcode(const std::string& namespaceUri, const std::string& localName) {
    for (const SubcodeCode& entry : kSubcodes) {
        if (namespaceUri == entry.namespaceUri && localName == entry.localName) return entry.code;
    }
    return 0;
}

std::optional<SoapFault> ReadFault(const xmlNode* body) {
    const xmlNode* fault = FindChild(body, ns::kSoap, "Fault");
    if (fault == nullptr) return std::nullopt;

    SoapFault result;
    const xmlNode* code = FindChild(fault, ns::kSoap, "Code");
    const xmlNode* codeValue = FindChild(code, ns::kSoap, "Value");
    const xmlNode* subcodeValue = FindChild(FindChild(code, ns::kSoap, "Subcode"), ns::kSoap, "Value");
    const xmlNode* named = subcodeValue != nullptr ? subcodeValue : codeValue;
    HResult mapped = 0;
    if (named != nullptr) {
        const auto name = ResolveQName(named, xml::TrimWhitespace(xml::TextOf(named)));
        result.subcode = "{" + name.first + "}" + name.second;
        mapped = HResultForQName(name);
    }

    const xmlNode* detail = FindChild(fault, ns::kSoap, "Detail");
    const xmlNode* wsmanFault = FindChild(detail, ns::kWsmanFault, "WSManFault");
    const xmlNode* wmiError = FindChild(detail, ns::kWmiErrorClass, "MSFT_WmiError");
    mapped = RefineBySelectorDetail(mapped, detail);
    std::optional<HResult> detailCode;
    if (wsmanFault != nullptr) detailCode = ParseDecimalCode(xml::AttributeOf(wsmanFault, "Code"));
    if (!detailCode && wmiError != nullptr) {
        detailCode = ParseDecimalCode(xml::TextOf(FindChild(wmiError, ns::kWmiErrorClass, "error_Code")));
    }
    result.code = detailCode ? *detailCode : (mapped != 0 ? mapped : errors::kUnspecifiedFailure);

    if (wsmanFault != nullptr) result.message = WsmanFaultMessage(wsmanFault);
    if (result.message.empty() && wmiError != nullptr) {
        result.message = xml::TrimWhitespace(xml::TextOf(FindChild(wmiError, ns::kWmiErrorClass, "Message")));
    }
    if (result.message.empty()) {
        result.message = xml::TrimWhitespace(
            xml::TextOf(FindChild(FindChild(fault, ns::kSoap, "Reason"), ns::kSoap, "Text")));
    }
    return result;
}

}  // namespace wsman::soap
