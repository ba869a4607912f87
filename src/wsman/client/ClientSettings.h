// The WinRM client settings this client reads from the machine-wide configuration store, beside the
// module's validation class (key and value names in wsman/core/ConfigurationKeys.h). Every value is
// optional; a missing or unreadable value keeps the default. Meanings are listed in src/wsman/README.md.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "wsman/Channel.h"
#include "wsman/client/Conversation.h"

namespace wsman::client {

struct ClientSettings {
    AuthScheme scheme = AuthScheme::Negotiate;
    std::string trustedCaFile;
    std::string pinnedSha256;
    bool skipCaCheck = false;
    bool skipNameCheck = false;
    bool allowUnencrypted = false;
    long connectTimeoutMs = 30000;
    long operationTimeoutMs = 60000;
    // Time a request may take beyond operationTimeoutMs, for the network around the server's own timeout;
    // without a setting, ProportionateMargin(operationTimeoutMs).
    std::optional<long> requestMarginMs;
    long maxElements =
        32000;  // items asked for per Enumerate/Pull; Windows stops earlier at the envelope size
    long maxEnvelopeSize = 512000;  // bytes; bounds the memory one response can take
    EnumerationBounds enumeration;
};

// What the client's conversations may cost under these settings.
ConversationLimits MakeConversationLimits(const ClientSettings& settings);

// Reads one string value by name under config::kWinRMKey; nothing when it is absent.
using SettingLookup = std::function<std::optional<std::string>(const std::string& valueName)>;

ClientSettings LoadClientSettings(const SettingLookup& lookup);

// A quarter of the operation timeout, within 1 s and 30 s: a short operation timeout is not stretched by a
// fixed margin, a long one keeps room for a slow network.
long ProportionateMargin(long operationTimeoutMs);

// The channel's settings for one endpoint URL and credentials under these client settings.
ChannelSettings MakeChannelSettings(const ClientSettings& settings, const std::string& url,
                                    const std::string& userName, const std::string& password);

}  // namespace wsman::client
