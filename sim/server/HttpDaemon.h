// The HTTP(S) listener on 127.0.0.1, on libmicrohttpd: one thread per TCP connection, keep-alive, and a
// per-connection session object, because Negotiate authentication belongs to the connection.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct MHD_Daemon;
struct MHD_Connection;

namespace qnsim {

struct HttpRequest {
    std::uint64_t connectionId = 0;
    bool https = false;
    std::string method;
    std::string url;
    std::string authorization;
    std::string host;  // the Host header: the name the client addressed us by
    std::string contentType;
    std::string body;
};

struct HttpReply {
    unsigned status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    bool closeConnection = false;           // "Connection: close" after this reply
    bool dropConnection = false;            // no reply at all: the TCP connection is simply closed
    std::optional<std::size_t> truncateAt;  // send only this many body bytes, then close
};

// What a connection remembers between its requests; the HTTP layer only owns it.
class ConnectionSession {
  public:
    virtual ~ConnectionSession() = default;
};

class HttpHandler {
  public:
    virtual ~HttpHandler() = default;
    virtual std::unique_ptr<ConnectionSession> NewSession() = 0;
    virtual HttpReply Handle(ConnectionSession& session, const HttpRequest& request) = 0;
};

struct HttpSettings {
    std::uint16_t port = 0;
    bool https = false;
    std::string certificatePem, keyPem;
    unsigned idleTimeoutSeconds = 120;  // http.sys' default idle connection timeout
    std::size_t maxBodyBytes = 64u << 20;
};

class HttpDaemon {
  public:
    static std::unique_ptr<HttpDaemon> Start(const HttpSettings& settings, HttpHandler& handler,
                                             std::string& error);
    ~HttpDaemon();
    HttpDaemon(const HttpDaemon&) = delete;
    HttpDaemon& operator=(const HttpDaemon&) = delete;

    std::uint16_t Port() const { return port_; }
    void Stop();

    // libmicrohttpd callbacks (C linkage shims call these).
    struct Connection {
        std::uint64_t id = 0;
        std::unique_ptr<ConnectionSession> session;
        std::string body;
        bool bodyTooLarge = false;
    };
    void OnConnectionStarted(MHD_Connection* connection, void** socketContext);
    void OnConnectionClosed(MHD_Connection* connection);
    int OnRequest(MHD_Connection* connection, const char* url, const char* method, const char* uploadData,
                  std::size_t* uploadDataSize, void** requestContext);

  private:
    HttpDaemon(HttpHandler& handler, HttpSettings settings)
        : handler_(handler), settings_(std::move(settings)) {}

    HttpHandler& handler_;
    HttpSettings settings_;
    MHD_Daemon* daemon_ = nullptr;  // stopped in Stop()
    std::uint16_t port_ = 0;
    std::mutex mutex_;
    std::uint64_t nextConnectionId_ = 1;
    std::map<MHD_Connection*, std::unique_ptr<Connection>> connections_;
};

}  // namespace qnsim
