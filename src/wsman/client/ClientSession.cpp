#include "wsman/client/ClientSession.h"

#include <utility>

#include "wsman/core/ErrorCodes.h"
#include "wsman/core/ItemArena.h"
#include "wsman/soap/InvokeReply.h"
#include "wsman/soap/Namespaces.h"
#include "wsman/soap/Requests.h"
#include "wsman/soap/ResourceLocator.h"

namespace wsman::client {

ClientSession::ClientSession(ChannelSettings settings, ConversationLimits limits, ChannelFactory factory)
    : conversation_(std::make_shared<Conversation>(std::move(settings), limits, std::move(factory))) {}

HResult ClientSession::Enumerate(const std::string& resourceUri, const std::string& filter,
                                 const std::string& dialect, std::unique_ptr<EnumerationStream>& stream) {
    stream.reset();
    if (resourceUri.empty()) return errors::kBlankUri;
    auto locator = soap::ParseResourceLocator(resourceUri);
    const auto header =
        conversation_->NewHeader(locator.resourceUri, ns::kActionEnumerate, std::move(locator.selectors));
    const auto started = EnumerationStream::Clock::now();
    soap::CheckedReply reply;
    // The items of all the enumeration's replies share one arena: a reply of one small item does not
    // cost a block and a dictionary of its own.
    auto itemArena = std::make_shared<xml::ItemArena>();
    HResult result = conversation_->Call(
        header, soap::BuildEnumerateRequest(header, filter, dialect, conversation_->MaxElements()), reply,
        itemArena);
    if (result != 0) return result;
    stream = std::make_unique<EnumerationStream>(conversation_, locator.resourceUri, std::move(reply.batch),
                                                 started, std::move(itemArena));
    return 0;
}

HResult ClientSession::Invoke(const std::string& action, const std::string& resourceUri,
                              const std::string& input, std::string& output) {
    output.clear();
    if (resourceUri.empty()) return errors::kBlankUri;
    if (action.empty()) return errors::kBlankActionUri;
    auto locator = soap::ParseResourceLocator(resourceUri);
    const std::string actionUri =
        action.find("://") != std::string::npos ? action : locator.resourceUri + "/" + action;
    const auto header =
        conversation_->NewHeader(locator.resourceUri, actionUri, std::move(locator.selectors));

    std::string envelope;
    if (const HResult built = soap::BuildInvokeRequest(header, input, envelope); built != 0) return built;
    soap::CheckedReply reply;
    if (const HResult result = conversation_->Call(header, envelope, reply); result != 0) return result;
    return soap::ReadInvokeOutput(reply.body, output);
}

}  // namespace wsman::client
