#include "TestHttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>

namespace qntest {
namespace {

int ListenOnLoopback(std::uint16_t& port, int backlog) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 || listen(fd, backlog) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        close(fd);
        return -1;
    }
    port = ntohs(address.sin_port);
    return fd;
}

// Plain or TLS byte stream over one accepted socket.
class Stream {
  public:
    Stream(int socket, SSL_CTX* tls) : socket_(socket) {
        if (tls != nullptr) {
            ssl_ = SSL_new(tls);
            SSL_set_fd(ssl_, socket);
            if (SSL_accept(ssl_) != 1) {
                ok_ = false;
            }
        }
    }
    ~Stream() {
        if (ssl_ != nullptr) {
            SSL_free(ssl_);
        }
    }
    bool ok() const { return ok_; }
    long Read(char* buffer, int size) {
        return ssl_ ? SSL_read(ssl_, buffer, size) : recv(socket_, buffer, static_cast<size_t>(size), 0);
    }
    bool Write(const std::string& data) {
        std::size_t sent = 0;
        while (sent < data.size()) {
            const long n = ssl_ ? SSL_write(ssl_, data.data() + sent, static_cast<int>(data.size() - sent))
                                : send(socket_, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
            if (n <= 0) {
                return false;
            }
            sent += static_cast<std::size_t>(n);
        }
        return true;
    }

  private:
    int socket_;
    SSL* ssl_ = nullptr;
    bool ok_ = true;
};

bool ReadRequest(Stream& stream, std::string& pending, HttpRequest& request) {
    char buffer[16384];
    std::size_t headerEnd;
    while ((headerEnd = pending.find("\r\n\r\n")) == std::string::npos) {
        if (!pending.empty() && !std::isupper(static_cast<unsigned char>(pending[0]))) {
            return false;
        }
        const long n = stream.Read(buffer, sizeof(buffer));
        if (n <= 0) {
            return false;
        }
        pending.append(buffer, static_cast<std::size_t>(n));
    }
    request = HttpRequest{};
    std::size_t lineStart = pending.find("\r\n") + 2;
    while (lineStart < headerEnd) {
        const std::size_t lineEnd = pending.find("\r\n", lineStart);
        const std::string line = pending.substr(lineStart, lineEnd - lineStart);
        const std::size_t colon = line.find(':');
        if (colon != std::string::npos) {
            std::string name = line.substr(0, colon);
            std::transform(name.begin(), name.end(), name.begin(),
                           [](unsigned char c) { return std::tolower(c); });
            const std::size_t valueStart = line.find_first_not_of(' ', colon + 1);
            request.headers[name] = valueStart == std::string::npos ? std::string() : line.substr(valueStart);
        }
        lineStart = lineEnd + 2;
    }
    const std::string lengthText = request.Header("content-length");
    const std::size_t length = lengthText.empty() ? 0 : std::stoul(lengthText);
    pending.erase(0, headerEnd + 4);
    while (pending.size() < length) {
        const long n = stream.Read(buffer, sizeof(buffer));
        if (n <= 0) {
            return false;
        }
        pending.append(buffer, static_cast<std::size_t>(n));
    }
    request.body = pending.substr(0, length);
    pending.erase(0, length);
    return true;
}

std::string FormatReply(const HttpReply& reply) {
    std::string text =
        "HTTP/1.1 " + std::to_string(reply.status) + " Test\r\nServer: Microsoft-HTTPAPI/2.0\r\n";
    if (reply.close) {
        text += "Connection: close\r\n";
    }
    for (const std::string& header : reply.headers) {
        text += header + "\r\n";
    }
    text += "Content-Length: " + std::to_string(reply.body.size()) + "\r\n\r\n";
    return text + reply.body;
}

}  // namespace

TestHttpServer::TestHttpServer(Handler handler, SslContext tls)
    : handler_(std::move(handler)), tls_(std::move(tls)) {
    listener_ = ListenOnLoopback(port_, 8);
    thread_ = std::thread([this] { Serve(); });
}

TestHttpServer::~TestHttpServer() {
    stopping_ = true;
    shutdown(listener_, SHUT_RDWR);
    if (const int current = current_.load(); current >= 0) {
        shutdown(current, SHUT_RDWR);
    }
    thread_.join();
    close(listener_);
}

void TestHttpServer::Serve() {
    while (!stopping_) {
        const int socket = accept(listener_, nullptr, nullptr);
        if (socket < 0) {
            return;
        }
        ++connections_;
        current_ = socket;
        if (stopping_) {
            shutdown(socket, SHUT_RDWR);
        }
        ServeConnection(socket);
        current_ = -1;
        close(socket);
    }
}

void TestHttpServer::ServeConnection(int socket) {
    Stream stream(socket, tls_.get());
    if (!stream.ok()) {
        return;
    }
    ConnectionState state;
    std::string pending;
    HttpRequest request;
    while (ReadRequest(stream, pending, request)) {
        ++state.requests;
        const HttpReply reply = handler_(request, state);
        if (!stream.Write(reply.raw.empty() ? FormatReply(reply) : reply.raw) || reply.close ||
            !reply.raw.empty()) {
            return;
        }
    }
    if (!pending.empty()) {
        stream.Write(
            FormatReply(HttpReply{400, {}, {}, true}));  // not HTTP (a TLS hello): answer as http.sys
    }
}

std::uint16_t ClosedLoopbackPort() {
    std::uint16_t port = 0;
    const int fd = ListenOnLoopback(port, 1);
    close(fd);
    return port;
}

bool AcceptsConnections(std::uint16_t port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    const bool connected = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
    close(fd);
    return connected;
}

SilentListener::SilentListener() {
    socket_ = ListenOnLoopback(port_, 8);
}

SilentListener::~SilentListener() {
    close(socket_);
}

}  // namespace qntest
