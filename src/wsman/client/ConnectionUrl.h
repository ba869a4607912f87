// The connection string of a session as the automation API takes it: "http(s)://host[:port][/path]" or a
// bare "host[:port]" (HTTP). Missing parts take WinRM's defaults: port 5985 (HTTP) / 5986 (HTTPS), path
// "/wsman". IPv6 literals go in brackets.
#pragma once

#include <optional>
#include <string>

namespace wsman::client {

struct ConnectionUrl {
    bool https = false;
    std::string host;
    unsigned port = 0;
    std::string path;

    std::string ToString() const;
};

// Nothing for an unknown scheme, an empty host, or a port that is not 1..65535.
std::optional<ConnectionUrl> ParseConnectionUrl(const std::string& connection);

}  // namespace wsman::client
