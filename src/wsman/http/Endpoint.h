// The parts of the endpoint URL the transport decides on.
#pragma once

#include <optional>
#include <string>

namespace wsman::http {

struct Endpoint {
    bool https = false;
    std::string host;  // without brackets for IPv6 literals
};

// Empty optional when the URL is not an absolute http(s) URL with a host.
std::optional<Endpoint> ParseEndpoint(const std::string& url);

}  // namespace wsman::http
