// A WS-Management session to one endpoint: WQL (or other dialect) enumerations and method invocations.
#pragma once

#include <memory>
#include <string>

#include "wsman/client/Conversation.h"
#include "wsman/client/EnumerationStream.h"

namespace wsman::client {

class ClientSession {
  public:
    ClientSession(ChannelSettings settings, ConversationLimits limits, ChannelFactory factory);

    // Sends the Enumerate; on success `stream` holds the first batch (kBlankUri for an empty URI).
    HResult Enumerate(const std::string& resourceUri, const std::string& filter, const std::string& dialect,
                      std::unique_ptr<EnumerationStream>& stream);

    // `action` is a method name (appended to the class URI) or a full action URI; resourceUri may carry
    // "?Key=value" selectors; input is the method's input element. output := the method's output element.
    HResult Invoke(const std::string& action, const std::string& resourceUri, const std::string& input,
                   std::string& output);

    const std::string& LastErrorDetail() const { return conversation_->LastErrorDetail(); }

  private:
    std::shared_ptr<Conversation> conversation_;
};

}  // namespace wsman::client
