// A loopback HTTP/1.1 server: keep-alive, one connection at a time, optional TLS, replies from a handler
// that may keep state per connection; and loopback ports that refuse or never answer.
#pragma once

#include <openssl/ssl.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace qntest {

struct HttpRequest {
    std::map<std::string, std::string> headers;  // names in lower case
    std::string body = {};
    std::string Header(const std::string& lowerName) const {
        const auto it = headers.find(lowerName);
        return it == headers.end() ? std::string() : it->second;
    }
};

struct HttpReply {
    int status = 200;
    std::vector<std::string> headers = {};  // "Name: value"
    std::string body = {};
    bool close = false;    // close the connection after this reply
    std::string raw = {};  // when set: these bytes instead of a formatted reply, then the connection closes
};

struct ConnectionState {
    int requests = 0;  // so far on this connection, this one included
};

using Handler = std::function<HttpReply(const HttpRequest&, ConnectionState&)>;

struct SslCtxFree {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using SslContext = std::unique_ptr<SSL_CTX, SslCtxFree>;

class TestHttpServer {
  public:
    // `tls` null: plain HTTP.
    TestHttpServer(Handler handler, SslContext tls = nullptr);
    ~TestHttpServer();
    TestHttpServer(const TestHttpServer&) = delete;
    TestHttpServer& operator=(const TestHttpServer&) = delete;

    std::uint16_t Port() const { return port_; }

  private:
    void Serve();
    void ServeConnection(int socket);

    Handler handler_;
    SslContext tls_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<bool> stopping_{false};
    std::atomic<int> current_{-1};
    std::thread thread_;
};

// Binds a loopback port and releases it: nothing listens there afterwards.
std::uint16_t ClosedLoopbackPort();
bool AcceptsConnections(std::uint16_t port);

// A socket that listens but never accepts or answers; closed with the object.
class SilentListener {
  public:
    SilentListener();
    ~SilentListener();
    SilentListener(const SilentListener&) = delete;
    SilentListener& operator=(const SilentListener&) = delete;
    std::uint16_t Port() const { return port_; }

  private:
    int socket_ = -1;
    std::uint16_t port_ = 0;
};

}  // namespace qntest
