// Replies the simulator would never send, from a plain loopback HTTP server that answers every request with
// the same canned bytes: entity bombs, absurd nesting, endless bodies, replies to someone else's request,
// garbage instead of HTTP. The connect's access check meets them; each fails with its code, and the same
// handle then connects to a proper service.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>

#include "ReliabilitySupport.h"

namespace qn::reliability {
namespace {

class CannedHttpServer {
  public:
    explicit CannedHttpServer(std::string reply) : reply_(std::move(reply)) {
        listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
            listen(listener_, 8) != 0)
            throw std::runtime_error("cannot listen on loopback");
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { Serve(); });
    }
    ~CannedHttpServer() {
        stop_ = true;
        thread_.join();
        close(listener_);
    }
    CannedHttpServer(const CannedHttpServer&) = delete;
    CannedHttpServer& operator=(const CannedHttpServer&) = delete;

    std::uint16_t Port() const { return port_; }

  private:
    void Serve() {
        while (!stop_) {
            pollfd ready{listener_, POLLIN, 0};
            if (poll(&ready, 1, 50) <= 0) continue;
            const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (connection < 0) continue;
            if (ReadRequest(connection)) {
                std::size_t sent = 0;
                while (sent < reply_.size() && !stop_) {
                    const ssize_t n =
                        send(connection, reply_.data() + sent, reply_.size() - sent, MSG_NOSIGNAL);
                    if (n <= 0) break;
                    sent += static_cast<std::size_t>(n);
                }
            }
            close(connection);
        }
    }

    // Reads the headers and as much body as Content-Length announces.
    bool ReadRequest(int connection) {
        std::string request;
        char buffer[4096];
        std::size_t headerEnd = std::string::npos;
        std::size_t wanted = 0;
        while (!stop_) {
            pollfd ready{connection, POLLIN, 0};
            if (poll(&ready, 1, 2000) <= 0) return false;
            const ssize_t n = recv(connection, buffer, sizeof buffer, 0);
            if (n <= 0) return false;
            request.append(buffer, static_cast<std::size_t>(n));
            if (headerEnd == std::string::npos &&
                (headerEnd = request.find("\r\n\r\n")) != std::string::npos) {
                const std::size_t length = request.find("Content-Length: ");
                wanted = headerEnd + 4 +
                         (length != std::string::npos && length < headerEnd
                              ? std::stoul(request.substr(length + 16))
                              : 0);
            }
            if (headerEnd != std::string::npos && request.size() >= wanted) return true;
        }
        return false;
    }

    std::string reply_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

std::string HttpReply(const std::string& body, const char* status = "200 OK") {
    return std::string("HTTP/1.1 ") + status +
           "\r\nContent-Type: application/soap+xml;charset=UTF-8\r\nConnection: close\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string Envelope(const std::string& relatesTo, const std::string& body) {
    return "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" "
           "xmlns:a=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\"><s:Header><a:RelatesTo>" +
           relatesTo + "</a:RelatesTo></s:Header><s:Body>" + body + "</s:Body></s:Envelope>";
}

std::string EntityBomb() {
    std::string dtd = "<?xml version=\"1.0\"?><!DOCTYPE s:Envelope [<!ENTITY e0 \"lol\">";
    for (int i = 1; i < 10; ++i) {
        dtd += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j) dtd += "&e" + std::to_string(i - 1) + ";";
        dtd += "\">";
    }
    return dtd + "]>" + Envelope("uuid:x", "&e9;");
}

std::string DeepNesting() {
    std::string open, close;
    for (int i = 0; i < 100000; ++i) {
        open += "<x>";
        close += "</x>";
    }
    return Envelope("uuid:x", open + close);
}

std::string EndlessChunkedBody() {
    std::string reply =
        "HTTP/1.1 200 OK\r\nContent-Type: application/soap+xml;charset=UTF-8\r\nTransfer-Encoding: "
        "chunked\r\n\r\n";
    const std::string chunk(64 * 1024, ' ');
    char size[16];
    std::snprintf(size, sizeof size, "%zx\r\n", chunk.size());
    for (int i = 0; i < 40; ++i) reply += size + chunk + "\r\n";  // 2.5 MiB and no end
    return reply;
}

struct HostileReply {
    const char* name;
    std::string reply;
    std::uint32_t code;
};

TEST(HostileServerTest, RepliesNoServiceSendsFailTheConnectAndTheHandleConnectsLater) {
    const HostileReply replies[] = {
        {"entity bomb", HttpReply(EntityBomb()), 0x80338043},
        {"deep nesting", HttpReply(DeepNesting()), 0x80338043},
        {"endless chunked body", EndlessChunkedBody(), 0x80338048},
        {"reply to another request", HttpReply(Envelope("uuid:00000000-0000-0000-0000-000000000000", "")),
         0x8033800F},
        {"XML that is not SOAP", HttpReply("<html><body>It works!</body></html>"), 0x80338027},
        {"not HTTP", "SSH-2.0-OpenSSH_9.2\r\n\r\n", 0x80338012},
        {"HTTP 302 to elsewhere",
         "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/wsman\r\nContent-Length: 0\r\nConnection: "
         "close\r\n\r\n",
         0x80338171},
    };
    Bench bench;
    std::string error;
    ASSERT_TRUE(bench.StartSim({}, error)) << error;
    for (const HostileReply& hostile : replies) {
        SCOPED_TRACE(hostile.name);
        CannedHttpServer server(hostile.reply);
        EXPECT_EQ(bench.Connect("127.0.0.1", server.Port()), QNSNWSM_FAILURE);
        EXPECT_EQ(bench.ErrorText(), WinrmErrorText(hostile.code));
        ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();
        std::string list;
        EXPECT_EQ(bench.ServiceList(list), QNSNWSM_OK) << bench.ErrorText();
    }
}

}  // namespace
}  // namespace qn::reliability
