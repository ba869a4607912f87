#include "server/WsmanService.h"

#include <algorithm>
#include <cctype>

#include "server/Envelope.h"
#include "server/Uuid.h"

namespace qnsim {
namespace {

constexpr std::string_view kEnumerateResponse =
    "http://schemas.xmlsoap.org/ws/2004/09/enumeration/EnumerateResponse";
constexpr std::string_view kPullResponse = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/PullResponse";
constexpr std::string_view kReleaseResponse =
    "http://schemas.xmlsoap.org/ws/2004/09/enumeration/ReleaseResponse";
constexpr std::string_view kGetResponse = "http://schemas.xmlsoap.org/ws/2004/09/transfer/GetResponse";
constexpr std::string_view kEndOfSequence = "<n:EndOfSequence/>";
constexpr std::string_view kClassNotFoundMessage =
    "The specified class does not exist in the given namespace.";
constexpr std::string_view kResourceNotFoundMessage =
    "The WS-Management service cannot process the request. The service cannot find the resource identified "
    "by the "
    "resource URI and selectors.";

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

// WMI's own object path text, as __ExtendedStatus.ParameterInfo shows it: Class.Key="value",Key2="value".
std::string ObjectPath(const std::string& className, const Selectors& selectors) {
    std::string path = className;
    char separator = '.';
    for (const auto& [key, value] : selectors) {
        path += separator + key + "=\"" + value + "\"";
        separator = ',';
    }
    return path;
}

struct Batch {
    std::string itemsXml;
    std::size_t count = 0;
};

// Takes up to `limit` items from `next` on whose envelope stays within `maxEnvelope` bytes.
Batch TakeBatch(const std::vector<RenderedItem>& items, std::size_t next, std::size_t limit,
                std::size_t overhead, std::size_t maxEnvelope) {
    Batch batch;
    std::size_t size = overhead;
    while (batch.count < limit && next + batch.count < items.size()) {
        const std::string& xml = items[next + batch.count].xml;
        if (size + xml.size() > maxEnvelope) break;
        size += xml.size();
        batch.itemsXml += xml;
        ++batch.count;
    }
    return batch;
}

}  // namespace

WsmanService::WsmanService(std::shared_ptr<ComputerModel> model, ServiceSettings settings)
    : model_(std::move(model)), settings_(settings), enumerations_(settings.enumerationTimeout) {}

ServiceReply WsmanService::FaultWith(FaultKind kind, const std::string& relatesTo,
                                     std::optional<ProviderFault> provider, const std::string& locale) const {
    FaultReport report;
    report.locale = locale;
    report.kind = kind;
    report.relatesTo = relatesTo;
    report.machine = model_->HostName();
    report.provider = std::move(provider);
    return {kFaultHttpStatus, RenderFault(report)};
}

ServiceReply WsmanService::Fault(FaultKind kind, const std::string& relatesTo,
                                 const std::string& locale) const {
    return FaultWith(kind, relatesTo, std::nullopt, locale);
}

ServiceReply WsmanService::Handle(const WsmanRequest& request, std::chrono::steady_clock::time_point now) {
    const std::string& id = request.messageId;
    if (!request.misunderstoodHeaders.empty()) return Fault(FaultKind::MustUnderstand, id, request.locale);
    if (request.action.empty() || request.messageId.empty())
        return Fault(FaultKind::MessageHeaderRequired, id, request.locale);
    if (request.maxEnvelopeSize && *request.maxEnvelopeSize > settings_.maxEnvelopeSize)
        return Fault(FaultKind::MaxEnvelopeSizeTooLarge, id, request.locale);

    // Pull and Release name their enumeration by context; the resource URI only repeats the Enumerate's.
    if (request.action == action::kPull) return Pull(request, now);
    if (request.action == action::kRelease) return Release(request, now);

    WsmanRequest addressed = request;  // with the DMTF form's __cimnamespace selector taken out
    const ResourceUriResult uri = ParseResourceUri(request.resourceUri, addressed.selectors);
    if (!uri.resource) {
        return Fault(uri.problem == ResourceUriProblem::Malformed ? FaultKind::InvalidResourceUri
                                                                  : FaultKind::ResourceNotFound,
                     id, request.locale);
    }
    const WmiResource& resource = *uri.resource;
    if (!model_->HasNamespace(resource.wmiNamespace)) {
        ProviderFault provider;
        provider.code = 0x8004100E;  // WBEM_E_INVALID_NAMESPACE
        provider.message = "Invalid namespace";
        return FaultWith(FaultKind::ResourceNotFound, id, provider, request.locale);
    }
    if (request.action == action::kEnumerate) return Enumerate(addressed, resource, now);
    if (request.action == action::kGet) return Get(addressed, resource, now);
    const std::string invokePrefix = request.resourceUri + "/";
    if (!resource.AllClasses() && request.action.size() > invokePrefix.size() &&
        EqualsIgnoreCase(std::string_view(request.action).substr(0, invokePrefix.size()), invokePrefix))
        return Invoke(addressed, resource, request.action.substr(invokePrefix.size()), now);
    return Fault(FaultKind::ActionNotSupported, id, request.locale);
}

ServiceReply WsmanService::WmiFault(const WmiError& error, const WsmanRequest& request,
                                    const WmiResource& resource, const std::string& operation,
                                    const std::string& parameterInfo) const {
    const std::string& id = request.messageId;
    ProviderFault provider;
    const auto extended = [&](std::string providerName) {
        return ProviderFault::ExtendedStatus{resource.wmiNamespace, operation, parameterInfo,
                                             std::move(providerName)};
    };
    switch (error.kind) {
        case WmiError::Kind::InvalidClass:
        case WmiError::Kind::InvalidQuery: {
            const bool query = operation == "ExecQuery";
            const FaultKind kind = query ? FaultKind::CannotProcessFilter : FaultKind::ResourceNotFound;
            provider.code = FaultCode(kind);
            provider.message = error.kind == WmiError::Kind::InvalidClass || error.message.empty()
                                   ? std::string(query ? kClassNotFoundMessage : kResourceNotFoundMessage)
                                   : error.message;
            provider.extended = extended("WinMgmt");
            return FaultWith(kind, id, provider, request.locale);
        }
        case WmiError::Kind::InvalidNamespace:
            provider.code = error.wbemCode != 0 ? error.wbemCode : 0x8004100E;
            provider.message = error.message.empty() ? "Invalid namespace" : error.message;
            return FaultWith(FaultKind::ResourceNotFound, id, provider, request.locale);
        case WmiError::Kind::NotFound:
            provider.code = FaultCode(FaultKind::ResourceNotFound);
            provider.message = kResourceNotFoundMessage;
            provider.extended = extended(resource.className.starts_with("Win32_") ? "CIMWin32" : "WinMgmt");
            return FaultWith(FaultKind::ResourceNotFound, id, provider, request.locale);
        case WmiError::Kind::InvalidMethod:
            return Fault(FaultKind::ActionNotSupported, id, request.locale);
        case WmiError::Kind::InvalidSelectors:
            provider.code = FaultCode(FaultKind::InvalidSelectors);
            provider.message =
                "The WS-Management service cannot process the request because the request contained invalid "
                "selectors for the resource.";
            return FaultWith(FaultKind::InvalidSelectors, id, provider, request.locale);
        case WmiError::Kind::InvalidParameter:
            provider.code = error.wbemCode != 0 ? error.wbemCode : FaultCode(FaultKind::InvalidParameter);
            provider.message = error.message.empty() ? "Invalid parameter" : error.message;
            return FaultWith(FaultKind::InvalidParameter, id, provider, request.locale);
    }
    return Fault(FaultKind::InternalError, id, request.locale);
}

ServiceReply WsmanService::Enumerate(const WsmanRequest& request, const WmiResource& resource,
                                     std::chrono::steady_clock::time_point now) {
    const std::string& id = request.messageId;
    if (!request.enumerate) return Fault(FaultKind::SchemaValidationError, id, request.locale);
    const EnumerateBody& body = *request.enumerate;
    std::string wql;
    if (body.hasFilter) {
        if (!body.filterDialect.empty() && !EqualsIgnoreCase(body.filterDialect, kWqlDialect))
            return Fault(FaultKind::FilterDialectUnavailable, id, request.locale);
        if (!resource.AllClasses() || !request.selectors.empty())
            return Fault(FaultKind::InvalidWqlEnumerationUri, id, request.locale);
        wql = body.filter;
    } else {
        if (resource.AllClasses()) return Fault(FaultKind::CannotProcessFilter, id, request.locale);
        wql = "select * from " + resource.className;
    }
    Result<std::vector<RenderedItem>> result = model_->ExecQuery(resource.wmiNamespace, wql, now);
    if (!result.ok) return WmiFault(result.error, request, resource, "ExecQuery", wql);

    Enumeration enumeration;
    enumeration.items = std::move(result.value);
    enumeration.maxElements = body.maxElements;
    enumeration.maxEnvelopeSize = request.maxEnvelopeSize;

    if (!body.optimize) {
        const std::string context = enumerations_.Add(std::move(enumeration), now);
        return {200, RenderEnvelope(kEnumerateResponse, id,
                                    "<n:EnumerateResponse><n:EnumerationContext>" + context +
                                        "</n:EnumerationContext></n:EnumerateResponse>",
                                    request.locale)};
    }
    const std::size_t maxEnvelope = request.maxEnvelopeSize.value_or(settings_.maxEnvelopeSize);
    const std::size_t overhead =
        RenderEnvelope(kEnumerateResponse, id,
                       "<n:EnumerateResponse><n:EnumerationContext>uuid:00000000-0000-0000-0000-000000000000"
                       "</n:EnumerationContext><w:Items></w:Items><n:EndOfSequence/></n:EnumerateResponse>",
                       request.locale)
            .size();
    const std::size_t limit =
        std::min<std::size_t>(body.maxElements.value_or(1), settings_.maxItemsInEnumerateResponse);
    Batch batch = TakeBatch(enumeration.items, 0, std::max<std::size_t>(limit, 1), overhead, maxEnvelope);
    if (batch.count == 0 && !enumeration.items.empty())
        return Fault(FaultKind::EncodingLimit, id, request.locale);
    enumeration.next = batch.count;
    const bool finished = enumeration.next == enumeration.items.size();
    // Windows names a context even in a response that already ends the sequence.
    const std::string context = finished ? NewUuidText() : enumerations_.Add(std::move(enumeration), now);
    std::string responseBody = "<n:EnumerateResponse><n:EnumerationContext>" + context +
                               "</n:EnumerationContext><w:Items>" + batch.itemsXml + "</w:Items>";
    if (finished) responseBody += kEndOfSequence;
    responseBody += "</n:EnumerateResponse>";
    return {200, RenderEnvelope(kEnumerateResponse, id, responseBody, request.locale)};
}

ServiceReply WsmanService::Pull(const WsmanRequest& request, std::chrono::steady_clock::time_point now) {
    const std::string& id = request.messageId;
    if (!request.pull) return Fault(FaultKind::SchemaValidationError, id, request.locale);
    const PullBody& body = *request.pull;
    std::optional<Enumeration> enumeration = enumerations_.Take(body.context, now);
    if (!enumeration) return Fault(FaultKind::InvalidEnumerationContext, id, request.locale);
    const bool elementsChanged =
        enumeration->maxElements && body.maxElements && *enumeration->maxElements != *body.maxElements;
    // An absent MaxEnvelopeSize means the service's own limit, on either side.
    const auto envelopeOf = [this](std::optional<std::uint32_t> size) {
        return size.value_or(settings_.maxEnvelopeSize);
    };
    if (elementsChanged || envelopeOf(enumeration->maxEnvelopeSize) != envelopeOf(request.maxEnvelopeSize)) {
        enumerations_.Return(body.context, std::move(*enumeration), now);
        return Fault(FaultKind::PullParametersChanged, id, request.locale);
    }
    const std::size_t maxEnvelope = request.maxEnvelopeSize.value_or(settings_.maxEnvelopeSize);
    const std::size_t overhead =
        RenderEnvelope(kPullResponse, id,
                       "<n:PullResponse><n:EnumerationContext>" + body.context +
                           "</n:EnumerationContext><n:Items></n:Items><n:EndOfSequence/></n:PullResponse>",
                       request.locale)
            .size();
    Batch batch = TakeBatch(enumeration->items, enumeration->next,
                            std::max<std::uint32_t>(body.maxElements.value_or(1), 1), overhead, maxEnvelope);
    if (batch.count == 0 && enumeration->next < enumeration->items.size())
        return Fault(FaultKind::EncodingLimit, id, request.locale);
    enumeration->next += batch.count;
    const bool finished = enumeration->next == enumeration->items.size();
    std::string responseBody = "<n:PullResponse><n:EnumerationContext>" + body.context +
                               "</n:EnumerationContext><n:Items>" + batch.itemsXml + "</n:Items>";
    if (finished)
        responseBody += kEndOfSequence;
    else
        enumerations_.Return(body.context, std::move(*enumeration), now);
    responseBody += "</n:PullResponse>";
    return {200, RenderEnvelope(kPullResponse, id, responseBody, request.locale)};
}

ServiceReply WsmanService::Release(const WsmanRequest& request, std::chrono::steady_clock::time_point now) {
    if (!request.releaseContext || !enumerations_.Release(*request.releaseContext, now))
        return Fault(FaultKind::InvalidEnumerationContext, request.messageId, request.locale);
    return {200, RenderEnvelope(kReleaseResponse, request.messageId, "", request.locale)};
}

ServiceReply WsmanService::Get(const WsmanRequest& request, const WmiResource& resource,
                               std::chrono::steady_clock::time_point now) {
    if (resource.AllClasses()) return Fault(FaultKind::InvalidResourceUri, request.messageId, request.locale);
    Result<RenderedItem> result =
        model_->Get(resource.wmiNamespace, resource.className, request.selectors, now);
    if (!result.ok)
        return WmiFault(result.error, request, resource, "GetObject",
                        ObjectPath(resource.className, request.selectors));
    return {200, RenderEnvelope(kGetResponse, request.messageId, result.value.xml, request.locale)};
}

ServiceReply WsmanService::Invoke(const WsmanRequest& request, const WmiResource& resource,
                                  const std::string& method, std::chrono::steady_clock::time_point now) {
    Result<RenderedItem> result = model_->Invoke(resource.wmiNamespace, resource.className, request.selectors,
                                                 method, request.bodyXml, now);
    if (!result.ok)
        return WmiFault(result.error, request, resource, "ExecMethod",
                        ObjectPath(resource.className, request.selectors));
    return {200,
            RenderEnvelope(request.action + "Response", request.messageId, result.value.xml, request.locale)};
}

}  // namespace qnsim
