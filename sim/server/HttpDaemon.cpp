#include "server/HttpDaemon.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>

#include <cstring>

namespace qnsim {
namespace {

constexpr const char* kServerHeader = "Microsoft-HTTPAPI/2.0";

void NotifyConnection(void* cls, MHD_Connection* connection, void** socketContext,
                      MHD_ConnectionNotificationCode code) {
    auto* daemon = static_cast<HttpDaemon*>(cls);
    if (code == MHD_CONNECTION_NOTIFY_STARTED)
        daemon->OnConnectionStarted(connection, socketContext);
    else if (code == MHD_CONNECTION_NOTIFY_CLOSED)
        daemon->OnConnectionClosed(connection);
}

MHD_Result AccessHandler(void* cls, MHD_Connection* connection, const char* url, const char* method,
                         const char* /*version*/, const char* uploadData, std::size_t* uploadDataSize,
                         void** requestContext) {
    return static_cast<HttpDaemon*>(cls)->OnRequest(connection, url, method, uploadData, uploadDataSize,
                                                    requestContext) != 0
               ? MHD_YES
               : MHD_NO;
}

// A body that stops short: libmicrohttpd sends `limit` bytes and then closes the connection.
struct TruncatedBody {
    std::string bytes;
    std::size_t limit = 0;
};

ssize_t ReadTruncated(void* cls, std::uint64_t position, char* buffer, std::size_t max) {
    const auto* body = static_cast<const TruncatedBody*>(cls);
    if (position >= body->limit) return MHD_CONTENT_READER_END_WITH_ERROR;
    const std::size_t count = std::min<std::size_t>(max, body->limit - static_cast<std::size_t>(position));
    std::memcpy(buffer, body->bytes.data() + position, count);
    return static_cast<ssize_t>(count);
}

void FreeTruncated(void* cls) {
    std::unique_ptr<TruncatedBody> owner(static_cast<TruncatedBody*>(cls));
}

struct ResponseFree {
    void operator()(MHD_Response* response) const { MHD_destroy_response(response); }
};

std::string HeaderValue(MHD_Connection* connection, const char* name) {
    const char* value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value != nullptr ? value : "";
}

}  // namespace

std::unique_ptr<HttpDaemon> HttpDaemon::Start(const HttpSettings& settings, HttpHandler& handler,
                                              std::string& error) {
    std::unique_ptr<HttpDaemon> daemon(new HttpDaemon(handler, settings));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(settings.port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // poll() rather than select(), so that descriptors above FD_SETSIZE (many clients) still work.
    unsigned flags = MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_AUTO;
    if (settings.https) flags |= MHD_USE_TLS;
    const auto notify = &NotifyConnection;
    if (settings.https) {
        daemon->daemon_ = MHD_start_daemon(
            flags, settings.port, nullptr, nullptr, &AccessHandler, daemon.get(), MHD_OPTION_SOCK_ADDR,
            reinterpret_cast<sockaddr*>(&address), MHD_OPTION_CONNECTION_TIMEOUT, settings.idleTimeoutSeconds,
            MHD_OPTION_NOTIFY_CONNECTION, notify, daemon.get(), MHD_OPTION_HTTPS_MEM_KEY,
            daemon->settings_.keyPem.c_str(), MHD_OPTION_HTTPS_MEM_CERT,
            daemon->settings_.certificatePem.c_str(), MHD_OPTION_END);
    } else {
        daemon->daemon_ = MHD_start_daemon(
            flags, settings.port, nullptr, nullptr, &AccessHandler, daemon.get(), MHD_OPTION_SOCK_ADDR,
            reinterpret_cast<sockaddr*>(&address), MHD_OPTION_CONNECTION_TIMEOUT, settings.idleTimeoutSeconds,
            MHD_OPTION_NOTIFY_CONNECTION, notify, daemon.get(), MHD_OPTION_END);
    }
    if (daemon->daemon_ == nullptr) {
        error = "cannot listen on 127.0.0.1:" + std::to_string(settings.port) +
                (settings.https ? " with TLS (check the certificate and key)" : " (port in use?)");
        return nullptr;
    }
    const MHD_DaemonInfo* info = MHD_get_daemon_info(daemon->daemon_, MHD_DAEMON_INFO_BIND_PORT);
    daemon->port_ = info != nullptr ? info->port : settings.port;
    return daemon;
}

HttpDaemon::~HttpDaemon() {
    Stop();
}

void HttpDaemon::Stop() {
    if (daemon_ != nullptr) {
        MHD_stop_daemon(daemon_);
        daemon_ = nullptr;
    }
}

void HttpDaemon::OnConnectionStarted(MHD_Connection* connection, void** socketContext) {
    auto state = std::make_unique<Connection>();
    state->session = handler_.NewSession();
    std::lock_guard lock(mutex_);
    state->id = nextConnectionId_++;
    *socketContext = state.get();
    connections_[connection] = std::move(state);
}

void HttpDaemon::OnConnectionClosed(MHD_Connection* connection) {
    std::unique_ptr<Connection> closing;
    std::lock_guard lock(mutex_);
    auto found = connections_.find(connection);
    if (found != connections_.end()) {
        closing = std::move(found->second);
        connections_.erase(found);
    }
}

int HttpDaemon::OnRequest(MHD_Connection* connection, const char* url, const char* method,
                          const char* uploadData, std::size_t* uploadDataSize, void** requestContext) {
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    if (info == nullptr || info->socket_context == nullptr) return 0;
    auto& state = *static_cast<Connection*>(info->socket_context);
    if (*requestContext == nullptr) {  // headers of a new request have arrived
        *requestContext = &state;
        state.body.clear();
        state.bodyTooLarge = false;
        return 1;
    }
    if (*uploadDataSize != 0) {
        if (state.body.size() + *uploadDataSize > settings_.maxBodyBytes)
            state.bodyTooLarge = true;
        else
            state.body.append(uploadData, *uploadDataSize);
        *uploadDataSize = 0;
        return 1;
    }
    if (state.bodyTooLarge) return 0;

    HttpRequest request;
    request.connectionId = state.id;
    request.https = settings_.https;
    request.method = method;
    request.url = url;
    request.authorization = HeaderValue(connection, MHD_HTTP_HEADER_AUTHORIZATION);
    request.host = HeaderValue(connection, MHD_HTTP_HEADER_HOST);
    request.contentType = HeaderValue(connection, MHD_HTTP_HEADER_CONTENT_TYPE);
    request.body = std::move(state.body);
    state.body.clear();

    HttpReply reply = handler_.Handle(*state.session, request);
    if (reply.dropConnection) return 0;

    std::unique_ptr<MHD_Response, ResponseFree> response;
    if (reply.truncateAt && *reply.truncateAt < reply.body.size()) {
        auto truncated = std::make_unique<TruncatedBody>();
        truncated->limit = *reply.truncateAt;
        const std::uint64_t announced = reply.body.size();
        truncated->bytes = std::move(reply.body);
        response.reset(MHD_create_response_from_callback(announced, 16 * 1024, &ReadTruncated,
                                                         truncated.get(), &FreeTruncated));
        if (response) truncated.release();  // now freed by FreeTruncated
    } else {
        response.reset(
            MHD_create_response_from_buffer(reply.body.size(), reply.body.data(), MHD_RESPMEM_MUST_COPY));
    }
    if (!response) return 0;
    MHD_add_response_header(response.get(), MHD_HTTP_HEADER_SERVER, kServerHeader);
    for (const auto& [name, value] : reply.headers)
        MHD_add_response_header(response.get(), name.c_str(), value.c_str());
    if (reply.closeConnection) MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONNECTION, "close");
    return MHD_queue_response(connection, reply.status, response.get()) == MHD_YES ? 1 : 0;
}

}  // namespace qnsim
