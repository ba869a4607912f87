// Settings and a one-call helper shared by the Channel tests.
#pragma once

#include <string>

#include "TestFiles.h"
#include "TestHttpServer.h"
#include "wsman/Channel.h"

namespace wsman::test {

using namespace qntest;

inline constexpr const char* kPassword = "Passw0rd!";

inline ChannelSettings LoopbackSettings(const std::string& url, AuthScheme scheme = AuthScheme::Ntlm) {
    ChannelSettings settings;
    settings.url = url;
    settings.userName = "TESTDOM\\alice";
    settings.password = kPassword;
    settings.scheme = scheme;
    settings.connectTimeoutMs = 5000;
    settings.operationTimeoutMs = 5000;
    settings.requestTimeoutMarginMs = 0;
    return settings;
}

inline std::string HttpUrl(unsigned port, const std::string& host = "127.0.0.1") {
    return "http://" + host + ":" + std::to_string(port) + "/wsman";
}

inline std::string HttpsUrl(unsigned port, const std::string& host = "localhost") {
    return "https://" + host + ":" + std::to_string(port) + "/wsman";
}

struct SendResult {
    HResult code = 0;
    Exchange exchange;
    std::string detail;
};

inline SendResult SendOnce(Channel& channel, const std::string& envelope = "<s:Envelope>probe</s:Envelope>") {
    SendResult result;
    result.code = channel.Send(envelope, result.exchange);
    result.detail = channel.LastErrorDetail();
    return result;
}

inline SendResult SendOnce(const ChannelSettings& settings) {
    const auto channel = CreateChannel(settings);
    return SendOnce(*channel);
}

}  // namespace wsman::test
