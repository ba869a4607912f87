#include "HttpServer.h"

#include <netdb.h>
#include <sys/socket.h>

#include <cstring>
#include <map>

#include "MetricText.h"

namespace qnexporter {

namespace {

MHD_Result Collect(void* cls, MHD_ValueKind, const char* key, const char* value) {
    auto& parameters = *static_cast<std::map<std::string, std::string>*>(cls);
    if (key != nullptr) parameters.emplace(key, value ? value : "");
    return MHD_YES;
}

MHD_Result Handle(void* cls, MHD_Connection* connection, const char* url, const char* method, const char*,
                  const char*, size_t* uploadSize, void** state) {
    static int started;
    if (*state == nullptr) {  // the first call only announces the request
        *state = &started;
        return MHD_YES;
    }
    if (*uploadSize != 0) {
        *uploadSize = 0;  // a body is never needed: drop it
        return MHD_YES;
    }
    const HttpAnswer answer = static_cast<HttpServer*>(cls)->Answer(method, url, connection);
    MHD_Response* response = MHD_create_response_from_buffer(
        answer.body.size(), const_cast<char*>(answer.body.data()), MHD_RESPMEM_MUST_COPY);
    if (response == nullptr) return MHD_NO;
    MHD_add_response_header(response, "Content-Type", answer.contentType.c_str());
    const MHD_Result queued = MHD_queue_response(connection, answer.status, response);
    MHD_destroy_response(response);
    return queued;
}

std::string EscapeHtml(const std::string& text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '&':
                out += "&amp;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

}  // namespace

bool HttpServer::Start(const std::string& listenAddress, std::size_t maxConnections, std::string& error) {
    const std::size_t colon = listenAddress.rfind(':');
    if (colon == std::string::npos || colon + 1 == listenAddress.size()) {
        error = "--web.listen-address '" + listenAddress + "' is not HOST:PORT, :PORT or [IPv6]:PORT";
        return false;
    }
    std::string host = listenAddress.substr(0, colon);
    const std::string port = listenAddress.substr(colon + 1);
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (const int rc = getaddrinfo(host.empty() ? nullptr : host.c_str(), port.c_str(), &hints, &found);
        rc != 0) {
        error = "--web.listen-address '" + listenAddress + "': " + gai_strerror(rc);
        return false;
    }
    // With no host, listen on IPv6 and IPv4 together where the machine has IPv6.
    addrinfo* chosen = found;
    for (addrinfo* a = found; host.empty() && a != nullptr; a = a->ai_next)
        if (a->ai_family == AF_INET6) chosen = a;
    sockaddr_storage address{};
    std::memcpy(&address, chosen->ai_addr, chosen->ai_addrlen);
    unsigned flags = MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD;
    if (chosen->ai_family == AF_INET6) flags |= host.empty() ? MHD_USE_DUAL_STACK : MHD_USE_IPv6;
    freeaddrinfo(found);
    daemon_ = MHD_start_daemon(flags, 0, nullptr, nullptr, &Handle, this, MHD_OPTION_SOCK_ADDR,
                               reinterpret_cast<sockaddr*>(&address), MHD_OPTION_CONNECTION_LIMIT,
                               static_cast<unsigned>(maxConnections), MHD_OPTION_CONNECTION_TIMEOUT, 120u,
                               MHD_OPTION_END);
    if (daemon_ == nullptr) {
        error = "cannot listen on " + listenAddress + " (address in use, or not this machine's?)";
        return false;
    }
    return true;
}

void HttpServer::Stop() {
    if (daemon_ != nullptr) MHD_stop_daemon(daemon_);
    daemon_ = nullptr;
}

HttpAnswer HttpServer::Answer(const std::string& method, const std::string& url, MHD_Connection* connection) {
    if (method != "GET" && method != "HEAD") return {405, "only GET is served\n"};
    if (url == "/") return {200, IndexPage(), "text/html; charset=utf-8"};
    if (url == "/metrics") return {200, metrics_.Text(prober_.Sessions()), kExpositionContentType};
    if (url != "/probe") return {404, "not found: try /, /metrics or /probe?target=HOST&module=NAME\n"};
    std::map<std::string, std::string> parameters;
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, &Collect, &parameters);
    std::optional<double> scrapeTimeout;
    if (const char* header =
            MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "X-Prometheus-Scrape-Timeout-Seconds")) {
        char* end = nullptr;
        const double seconds = std::strtod(header, &end);
        if (end == header || *end != '\0' || !(seconds > 0))
            return {400, "X-Prometheus-Scrape-Timeout-Seconds is not a positive number of seconds\n"};
        scrapeTimeout = seconds;
    }
    return prober_.Probe(parameters, scrapeTimeout);
}

std::string HttpServer::IndexPage() const {
    std::string page =
        "<!DOCTYPE html>\n<html><head><title>qnsnwsm exporter</title></head><body>\n"
        "<h1>qnsnwsm exporter</h1>\n<p>Agentless Windows metrics over WinRM, one exporter for many "
        "computers.</p>\n"
        "<p><a href=\"/metrics\">The exporter's own metrics</a></p>\n<h2>Modules</h2>\n<ul>\n";
    for (const auto& [name, module] : prober_.Config()->modules) {
        std::string collectors;
        for (const auto& c : module.collectors) collectors += (collectors.empty() ? "" : ", ") + c;
        const std::string link = "/probe?target=localhost&amp;module=" + EscapeHtml(name);
        page += "<li><b>" + EscapeHtml(name) + "</b> (auth " + EscapeHtml(module.auth) + "; " +
                EscapeHtml(collectors) + "): <a href=\"" + link + "\">" + link + "</a></li>\n";
    }
    return page + "</ul>\n</body></html>\n";
}

}  // namespace qnexporter
