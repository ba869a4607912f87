#include "wsman/http/Endpoint.h"

#include <strings.h>

#include "wsman/http/CurlHandles.h"

namespace wsman::http {
namespace {

std::optional<std::string> UrlPart(CURLU* url, CURLUPart which) {
    char* value = nullptr;
    if (curl_url_get(url, which, &value, 0) != CURLUE_OK || value == nullptr) {
        return std::nullopt;
    }
    std::string text(value);
    curl_free(value);
    return text;
}

}  // namespace

std::optional<Endpoint> ParseEndpoint(const std::string& url) {
    CurlUrl handle(curl_url());
    if (!handle || curl_url_set(handle.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) {
        return std::nullopt;
    }
    const auto scheme = UrlPart(handle.get(), CURLUPART_SCHEME);
    auto host = UrlPart(handle.get(), CURLUPART_HOST);
    if (!scheme || !host || host->empty()) {
        return std::nullopt;
    }
    Endpoint endpoint;
    if (strcasecmp(scheme->c_str(), "https") == 0) {
        endpoint.https = true;
    } else if (strcasecmp(scheme->c_str(), "http") != 0) {
        return std::nullopt;
    }
    if (host->size() > 2 && host->front() == '[' && host->back() == ']') {
        *host = host->substr(1, host->size() - 2);
    }
    endpoint.host = *host;
    return endpoint;
}

}  // namespace wsman::http
