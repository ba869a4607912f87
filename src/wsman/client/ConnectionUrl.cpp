#include "wsman/client/ConnectionUrl.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace wsman::client {

namespace {

bool EqualsIgnoringCase(const std::string& left, const char* right) {
    const std::string other(right);
    return left.size() == other.size() &&
           std::equal(left.begin(), left.end(), other.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) ==
                      std::tolower(static_cast<unsigned char>(b));
           });
}

std::optional<unsigned> ParsePort(const std::string& text) {
    unsigned port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || port == 0 ||
        port > 65535) {
        return std::nullopt;
    }
    return port;
}

bool HostIsPlausible(const std::string& host) {
    return !host.empty() && std::none_of(host.begin(), host.end(), [](unsigned char c) {
        return std::isspace(c) || std::iscntrl(c) || c == '/' || c == '?' || c == '#' || c == '@';
    });
}

}  // namespace

std::string ConnectionUrl::ToString() const {
    return (https ? "https://" : "http://") + host + ":" + std::to_string(port) + path;
}

std::optional<ConnectionUrl> ParseConnectionUrl(const std::string& connection) {
    ConnectionUrl url;
    std::string rest = connection;
    if (const auto separator = rest.find("://"); separator != std::string::npos) {
        const std::string scheme = rest.substr(0, separator);
        if (EqualsIgnoringCase(scheme, "https")) {
            url.https = true;
        } else if (!EqualsIgnoringCase(scheme, "http")) {
            return std::nullopt;
        }
        rest = rest.substr(separator + 3);
    }

    const auto slash = rest.find('/');
    url.path = slash == std::string::npos ? "/wsman" : rest.substr(slash);
    std::string authority = rest.substr(0, slash);

    std::string portText;
    if (!authority.empty() && authority.front() == '[') {
        const auto close = authority.find(']');
        if (close == std::string::npos) return std::nullopt;
        url.host = authority.substr(0, close + 1);
        const std::string after = authority.substr(close + 1);
        if (!after.empty()) {
            if (after.front() != ':') return std::nullopt;
            portText = after.substr(1);
            if (portText.empty()) return std::nullopt;
        }
    } else {
        const auto colon = authority.find(':');
        url.host = authority.substr(0, colon);
        if (colon != std::string::npos) {
            portText = authority.substr(colon + 1);
            if (portText.empty()) return std::nullopt;
        }
    }
    if (!HostIsPlausible(url.host)) return std::nullopt;
    if (portText.empty()) {
        url.port = url.https ? 5986 : 5985;
    } else if (const auto port = ParsePort(portText)) {
        url.port = *port;
    } else {
        return std::nullopt;
    }
    return url;
}

}  // namespace wsman::client
