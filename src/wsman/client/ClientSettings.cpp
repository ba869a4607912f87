#include "wsman/client/ClientSettings.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "wsman/core/ConfigurationKeys.h"

namespace wsman::client {

namespace {

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string Trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

std::optional<AuthScheme> ParseScheme(const std::string& text) {
    const std::string name = Lower(Trim(text));
    if (name == "negotiate") return AuthScheme::Negotiate;
    if (name == "kerberos") return AuthScheme::Kerberos;
    if (name == "ntlm") return AuthScheme::Ntlm;
    if (name == "basic") return AuthScheme::Basic;
    return std::nullopt;
}

std::optional<bool> ParseFlag(const std::string& text) {
    const std::string value = Lower(Trim(text));
    if (value == "1" || value == "true" || value == "yes") return true;
    if (value == "0" || value == "false" || value == "no") return false;
    return std::nullopt;
}

std::optional<long> ParsePositive(const std::string& text) {
    const std::string value = Trim(text);
    long number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (value.empty() || error != std::errc() || end != value.data() + value.size() || number <= 0) {
        return std::nullopt;
    }
    return number;
}

template <typename T, typename Parse>
void Apply(const SettingLookup& lookup, const char* name, Parse parse, T& target) {
    if (const auto text = lookup(name)) {
        if (const auto value = parse(*text)) target = *value;
    }
}

}  // namespace

ClientSettings LoadClientSettings(const SettingLookup& lookup) {
    ClientSettings settings;
    if (!lookup) return settings;
    const auto text = [](const std::string& value) { return std::optional<std::string>(Trim(value)); };
    Apply(lookup, config::kAuthScheme, ParseScheme, settings.scheme);
    Apply(lookup, config::kTrustedCAFile, text, settings.trustedCaFile);
    Apply(lookup, config::kCertificateThumbprintSHA256, text, settings.pinnedSha256);
    Apply(lookup, config::kSkipCACheck, ParseFlag, settings.skipCaCheck);
    Apply(lookup, config::kSkipCNCheck, ParseFlag, settings.skipNameCheck);
    Apply(lookup, config::kAllowUnencrypted, ParseFlag, settings.allowUnencrypted);
    Apply(lookup, config::kConnectTimeoutMs, ParsePositive, settings.connectTimeoutMs);
    Apply(lookup, config::kOperationTimeoutMs, ParsePositive, settings.operationTimeoutMs);
    Apply(lookup, config::kRequestMarginMs, ParsePositive, settings.requestMarginMs);
    Apply(lookup, config::kBatchItems, ParsePositive, settings.maxElements);
    Apply(lookup, config::kEnumerationTimeoutMs, ParsePositive, settings.enumeration.timeoutMs);
    Apply(lookup, config::kEnumerationMaxBytes, ParsePositive, settings.enumeration.maxItemBytes);
    Apply(lookup, config::kEnumerationMaxEmptyBatches, ParsePositive, settings.enumeration.maxEmptyBatches);
    return settings;
}

ConversationLimits MakeConversationLimits(const ClientSettings& settings) {
    ConversationLimits limits;
    limits.maxEnvelopeSize = settings.maxEnvelopeSize;
    limits.maxElements = settings.maxElements;
    limits.enumeration = settings.enumeration;
    return limits;
}

long ProportionateMargin(long operationTimeoutMs) {
    return std::clamp(operationTimeoutMs / 4, 1000L, 30000L);
}

ChannelSettings MakeChannelSettings(const ClientSettings& settings, const std::string& url,
                                    const std::string& userName, const std::string& password) {
    ChannelSettings channel;
    channel.url = url;
    channel.userName = userName;
    channel.password = password;
    channel.scheme = settings.scheme;
    channel.allowUnencrypted = settings.allowUnencrypted;
    channel.caFile = settings.trustedCaFile;
    channel.pinnedSha256 = settings.pinnedSha256;
    channel.skipCaCheck = settings.skipCaCheck;
    channel.skipNameCheck = settings.skipNameCheck;
    channel.connectTimeoutMs = settings.connectTimeoutMs;
    channel.operationTimeoutMs = settings.operationTimeoutMs;
    channel.requestTimeoutMarginMs =
        settings.requestMarginMs.value_or(ProportionateMargin(settings.operationTimeoutMs));
    return channel;
}

}  // namespace wsman::client
