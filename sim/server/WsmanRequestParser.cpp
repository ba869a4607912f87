#include <charconv>
#include <initializer_list>
#include <utility>

#include "server/Namespaces.h"
#include "server/WsmanRequest.h"
#include "server/XmlDocument.h"

namespace qnsim {
namespace {

std::optional<std::uint32_t> ParseUnsigned(const std::string& text) {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// xs:duration as WinRM clients send it: PT60S, PT60.000S, PT1M30S, P0DT0H1M.
std::optional<double> ParseDuration(const std::string& text) {
    if (text.size() < 3 || text[0] != 'P') return std::nullopt;
    double seconds = 0;
    bool inTime = false;
    std::string number;
    for (std::size_t i = 1; i < text.size(); ++i) {
        const char c = text[i];
        if (c == 'T') {
            inTime = true;
            continue;
        }
        if ((c >= '0' && c <= '9') || c == '.') {
            number += c;
            continue;
        }
        if (number.empty()) return std::nullopt;
        double value = 0;
        const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
        if (error != std::errc{} || end != number.data() + number.size()) return std::nullopt;
        number.clear();
        if (c == 'D' && !inTime)
            seconds += value * 86400;
        else if (c == 'H' && inTime)
            seconds += value * 3600;
        else if (c == 'M' && inTime)
            seconds += value * 60;
        else if (c == 'S' && inTime)
            seconds += value;
        else
            return std::nullopt;
    }
    if (!number.empty()) return std::nullopt;
    return seconds;
}

bool MustUnderstand(const xmlNode* header) {
    std::string value = AttributeValue(header, "mustUnderstand", ns::kSoap.data());
    // Several clients write the attribute without the SOAP prefix; Windows accepts that.
    if (value.empty()) value = AttributeValue(header, "mustUnderstand");
    return value == "true" || value == "1";
}

bool IsKnownHeader(const xmlNode* header) {
    static const std::initializer_list<std::pair<std::string_view, std::string_view>> known = {
        {ns::kAddressing, "To"},         {ns::kAddressing, "ReplyTo"},     {ns::kAddressing, "Action"},
        {ns::kAddressing, "MessageID"},  {ns::kAddressing, "FaultTo"},     {ns::kWsman, "ResourceURI"},
        {ns::kWsman, "MaxEnvelopeSize"}, {ns::kWsman, "Locale"},           {ns::kWsman, "SelectorSet"},
        {ns::kWsman, "OptionSet"},       {ns::kWsman, "OperationTimeout"}, {ns::kMsWsman, "DataLocale"},
        {ns::kMsWsman, "SessionId"},     {ns::kMsWsman, "OperationID"},    {ns::kMsWsman, "SequenceId"},
        {ns::kMsWsman, "ActivityId"},
    };
    for (const auto& [uri, name] : known)
        if (IsElement(header, uri, name)) return true;
    return false;
}

void ReadHeader(const xmlNode* header, WsmanRequest& request) {
    for (const xmlNode* item = header->children; item != nullptr; item = item->next) {
        if (item->type != XML_ELEMENT_NODE) continue;
        if (IsElement(item, ns::kAddressing, "Action"))
            request.action = ElementText(item);
        else if (IsElement(item, ns::kAddressing, "MessageID"))
            request.messageId = ElementText(item);
        else if (IsElement(item, ns::kWsman, "ResourceURI"))
            request.resourceUri = ElementText(item);
        else if (IsElement(item, ns::kWsman, "MaxEnvelopeSize"))
            request.maxEnvelopeSize = ParseUnsigned(ElementText(item)).value_or(0);
        else if (IsElement(item, ns::kWsman, "OperationTimeout"))
            request.operationTimeoutSeconds = ParseDuration(ElementText(item));
        else if (IsElement(item, ns::kWsman, "Locale"))
            request.locale = AttributeValue(item, "lang", ns::kXmlNamespace.data());
        else if (IsElement(item, ns::kWsman, "SelectorSet")) {
            for (const xmlNode* selector = item->children; selector != nullptr; selector = selector->next)
                if (IsElement(selector, ns::kWsman, "Selector"))
                    request.selectors[AttributeValue(selector, "Name")] = ElementText(selector);
        }
        if (MustUnderstand(item) && !IsKnownHeader(item))
            request.misunderstoodHeaders.emplace_back(reinterpret_cast<const char*>(item->name));
    }
}

EnumerateBody ReadEnumerate(const xmlNode* element) {
    EnumerateBody body;
    for (const xmlNode* item = element->children; item != nullptr; item = item->next) {
        if (IsElement(item, ns::kWsman, "OptimizeEnumeration")) {
            body.optimize = true;
        } else if (IsElement(item, ns::kWsman, "MaxElements")) {
            body.maxElements = ParseUnsigned(ElementText(item)).value_or(0);
        } else if (IsElement(item, ns::kWsman, "Filter") || IsElement(item, ns::kEnumeration, "Filter")) {
            body.hasFilter = true;
            body.filterDialect = AttributeValue(item, "Dialect");
            body.filter = ElementText(item);
        } else if (IsElement(item, ns::kWsman, "EnumerationMode")) {
            body.enumerationMode = ElementText(item);
        }
    }
    return body;
}

PullBody ReadPull(const xmlNode* element) {
    PullBody body;
    body.context = ElementText(FindChild(element, ns::kEnumeration, "EnumerationContext"));
    if (const xmlNode* max = FindChild(element, ns::kEnumeration, "MaxElements"))
        body.maxElements = ParseUnsigned(ElementText(max)).value_or(0);
    return body;
}

}  // namespace

ParsedRequest ParseWsmanRequest(std::string_view xml) {
    ParsedRequest parsed;
    XmlDocPtr doc = ParseXmlSafely(xml);
    if (!doc) {
        parsed.problem = "the body is not well-formed XML or carries a document type declaration";
        return parsed;
    }
    const xmlNode* envelope = xmlDocGetRootElement(doc.get());
    if (!IsElement(envelope, ns::kSoap, "Envelope")) {
        parsed.problem = "the root element is not a SOAP 1.2 Envelope";
        return parsed;
    }
    const xmlNode* header = FindChild(envelope, ns::kSoap, "Header");
    const xmlNode* body = FindChild(envelope, ns::kSoap, "Body");
    if (header == nullptr || body == nullptr) {
        parsed.problem = "the envelope lacks its Header or Body";
        return parsed;
    }
    WsmanRequest request;
    ReadHeader(header, request);
    if (const xmlNode* first = FirstChildElement(body)) {
        if (IsElement(first, ns::kEnumeration, "Enumerate"))
            request.enumerate = ReadEnumerate(first);
        else if (IsElement(first, ns::kEnumeration, "Pull"))
            request.pull = ReadPull(first);
        else if (IsElement(first, ns::kEnumeration, "Release"))
            request.releaseContext = ElementText(FindChild(first, ns::kEnumeration, "EnumerationContext"));
        request.bodyXml = SerializeElement(first);
    }
    parsed.request = std::move(request);
    return parsed;
}

}  // namespace qnsim
