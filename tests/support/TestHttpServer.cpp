#include "TestHttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>

namespace qntest {
namespace {

sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

int ListenOnLoopback(std::uint16_t& port, int backlog) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = Loopback(0);
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
    Stream(int socket, SSL_CTX* tls) : socket_(socket), ssl_(tls ? SSL_new(tls) : nullptr) {
        if (ssl_ != nullptr) {
            SSL_set_fd(ssl_, socket);
            ok_ = SSL_accept(ssl_) == 1;
        }
    }
    ~Stream() { SSL_free(ssl_); }
    bool ok() const { return ok_; }
    long Read(char* buffer, int size) {
        return ssl_ ? SSL_read(ssl_, buffer, size) : recv(socket_, buffer, static_cast<size_t>(size), 0);
    }
    bool Write(const std::string& data) {
        for (std::size_t sent = 0; sent < data.size();) {
            const long n = ssl_ ? SSL_write(ssl_, data.data() + sent, static_cast<int>(data.size() - sent))
                                : send(socket_, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
            if (n <= 0) return false;
            sent += static_cast<std::size_t>(n);
        }
        return true;
    }
    // Reads until `pending` holds `size` bytes, or, with kHeaders, a whole header block.
    static constexpr std::size_t kHeaders = std::string::npos;
    bool Fill(std::string& pending, std::size_t size) {
        char buffer[16384];
        while (size != kHeaders ? pending.size() < size : pending.find("\r\n\r\n") == std::string::npos) {
            // Not a request line (a TLS hello to a plain port): give up.
            if (size == kHeaders && !pending.empty() && !std::isupper(static_cast<unsigned char>(pending[0])))
                return false;
            const long n = Read(buffer, sizeof(buffer));
            if (n <= 0) return false;
            pending.append(buffer, static_cast<std::size_t>(n));
        }
        return true;
    }

  private:
    int socket_;
    SSL* ssl_;
    bool ok_ = true;
};

bool ReadRequest(Stream& stream, std::string& pending, HttpRequest& request) {
    if (!stream.Fill(pending, Stream::kHeaders)) return false;
    const std::size_t headerEnd = pending.find("\r\n\r\n");
    request = HttpRequest{};
    for (std::size_t start = pending.find("\r\n") + 2; start < headerEnd;) {
        const std::size_t end = pending.find("\r\n", start);
        const std::string line = pending.substr(start, end - start);
        start = end + 2;
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos) continue;
        std::string name = line.substr(0, colon);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return std::tolower(c); });
        const std::size_t valueStart = line.find_first_not_of(' ', colon + 1);
        request.headers[name] = valueStart == std::string::npos ? std::string() : line.substr(valueStart);
    }
    const std::string lengthText = request.Header("content-length");
    const std::size_t length = lengthText.empty() ? 0 : std::stoul(lengthText);
    pending.erase(0, headerEnd + 4);
    if (!stream.Fill(pending, length)) return false;
    request.body = pending.substr(0, length);
    pending.erase(0, length);
    return true;
}

std::string FormatReply(const HttpReply& reply) {
    std::string text =
        "HTTP/1.1 " + std::to_string(reply.status) + " Test\r\nServer: Microsoft-HTTPAPI/2.0\r\n";
    if (reply.close) text += "Connection: close\r\n";
    for (const std::string& header : reply.headers) text += header + "\r\n";
    return text + "Content-Length: " + std::to_string(reply.body.size()) + "\r\n\r\n" + reply.body;
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
    if (const int current = current_.load(); current >= 0) shutdown(current, SHUT_RDWR);
    thread_.join();
    close(listener_);
}

void TestHttpServer::Serve() {
    while (!stopping_) {
        const int socket = accept(listener_, nullptr, nullptr);
        if (socket < 0) return;
        current_ = socket;
        if (stopping_) shutdown(socket, SHUT_RDWR);
        ServeConnection(socket);
        current_ = -1;
        close(socket);
    }
}

void TestHttpServer::ServeConnection(int socket) {
    Stream stream(socket, tls_.get());
    if (!stream.ok()) return;
    ConnectionState state;
    std::string pending;
    HttpRequest request;
    while (ReadRequest(stream, pending, request)) {
        ++state.requests;
        const HttpReply reply = handler_(request, state);
        if (!reply.raw.empty()) {
            stream.Write(reply.raw);
            return;
        }
        if (!stream.Write(FormatReply(reply)) || reply.close) return;
    }
    // Not HTTP (a TLS hello): answer as http.sys does.
    if (!pending.empty()) stream.Write(FormatReply(HttpReply{400, {}, {}, true}));
}

std::uint16_t ClosedLoopbackPort() {
    std::uint16_t port = 0;
    close(ListenOnLoopback(port, 1));
    return port;
}

bool AcceptsConnections(std::uint16_t port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = Loopback(port);
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
