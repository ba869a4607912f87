// Settings, a one-call send and the Windows server framing shared by the transport tests.
#pragma once

#include <cstdint>
#include <string>

#include "TestFiles.h"
#include "TestHttpServer.h"
#include "wsman/Channel.h"

namespace wsman::test {

using namespace qntest;

inline constexpr const char* kPassword = "Passw0rd!";
inline constexpr const char* kUsers = "TESTDOM:alice:Passw0rd!\n";

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

inline std::string Url(const char* scheme, unsigned port, const std::string& host = "localhost") {
    return std::string(scheme) + "://" + host + ":" + std::to_string(port) + "/wsman";
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
    return SendOnce(*CreateChannel(settings));
}

// multipart/encrypted as a Windows server frames it, written apart from the client's code so that a
// shared misreading cannot hide.
inline std::string FrameEncrypted(const std::string& header, const std::string& sealed, std::size_t length) {
    const auto size = static_cast<std::uint32_t>(header.size());
    const std::string prefix = {static_cast<char>(size & 0xFF), static_cast<char>((size >> 8) & 0xFF),
                                static_cast<char>((size >> 16) & 0xFF), static_cast<char>(size >> 24)};
    return "--Encrypted Boundary\r\n\tContent-Type: application/HTTP-SPNEGO-session-encrypted\r\n"
           "\tOriginalContent: type=application/soap+xml;charset=UTF-8;Length=" +
           std::to_string(length) +
           "\r\n--Encrypted Boundary\r\n\tContent-Type: application/octet-stream\r\n" + prefix + header +
           sealed + "--Encrypted Boundary--\r\n";
}

}  // namespace wsman::test
