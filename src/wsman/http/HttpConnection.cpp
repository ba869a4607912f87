#include "wsman/http/HttpConnection.h"

#include <poll.h>
#include <strings.h>

#include <algorithm>

namespace wsman::http {
namespace {

struct Collector {
    HttpResponse* response;
    CURL* curl;
};

// The client asks for envelopes of at most 512000 bytes; sealing adds a few hundred. A server that sends
// more is broken or hostile, and its reply is not kept in memory.
constexpr std::size_t kMaxReplyBytes = 2 * 512000;

// libcurl reads 16 KiB per call and polls before each: two system calls per 16 KiB, which a large reply
// pays hundreds of times. After a large reply the next ones are read in larger steps, until the replies
// of the check are done and the buffer is given back.
constexpr std::size_t kLargeReplyBytes = 128 * 1024;
constexpr long kLargeReadBytes = 120 * 1024;

size_t CollectBody(char* data, size_t size, size_t count, void* user) {
    const Collector& collector = *static_cast<Collector*>(user);
    std::string& body = collector.response->body;
    if (size * count > kMaxReplyBytes - body.size()) {
        return 0;  // libcurl ends the transfer with CURLE_WRITE_ERROR
    }
    curl_off_t announced = -1;
    if (body.empty() &&
        curl_easy_getinfo(collector.curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced) == CURLE_OK &&
        announced > 0) {
        // One allocation at most, or none with a buffer an earlier enumeration gave back.
        ReserveReplyBuffer(body, std::min(static_cast<std::size_t>(announced), kMaxReplyBytes));
    }
    body.append(data, size * count);
    return size * count;
}

std::string HeaderValue(const std::string& line, std::size_t nameLength) {
    std::size_t begin = nameLength + 1;
    std::size_t end = line.size();
    while (begin < end && (line[begin] == ' ' || line[begin] == '\t')) {
        ++begin;
    }
    while (end > begin && (line[end - 1] == '\r' || line[end - 1] == '\n' || line[end - 1] == ' ')) {
        --end;
    }
    return line.substr(begin, end - begin);
}

size_t CollectHeader(char* data, size_t size, size_t count, void* user) {
    HttpResponse& response = *static_cast<Collector*>(user)->response;
    const std::string line(data, size * count);
    if (line.rfind("HTTP/", 0) == 0) {
        // A new status line (after an interim 1xx): forget the earlier headers.
        response.contentType.clear();
        response.wwwAuthenticate.clear();
    } else if (strncasecmp(line.c_str(), "WWW-Authenticate:", 17) == 0) {
        response.wwwAuthenticate.push_back(HeaderValue(line, 16));
    } else if (strncasecmp(line.c_str(), "Content-Type:", 13) == 0) {
        response.contentType = HeaderValue(line, 12);
    }
    return size * count;
}

}  // namespace

HttpConnection::HttpConnection(const ChannelSettings& settings)
    : settings_(settings), tls_(std::make_unique<TlsPeerCheck>()) {
    settings_.password.clear();  // authentication is the caller's; no second copy of the secret
    tls_->extraCaFile = settings.caFile;
    tls_->pinnedSha256 = settings.pinnedSha256;
    tls_->skipCaCheck = settings.skipCaCheck;
    Configure();
}

void HttpConnection::Configure() {
    curl_ = MakeCurlEasy();
    connected_ = false;
    largeReads_ = false;
    localPort_ = 0;
    if (!curl_) {
        return;
    }
    CURL* curl = curl_.get();
    curl_easy_setopt(curl, CURLOPT_URL, settings_.url.c_str());
    curl_easy_setopt(curl, CURLOPT_POST, 1L);
    curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_PROXY, "");  // WinRM goes direct unless configured otherwise
    curl_easy_setopt(curl, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, settings_.connectTimeoutMs);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS,
                     settings_.operationTimeoutMs + settings_.requestTimeoutMarginMs);
    // A pinned certificate is trusted on its own, as WinRM's self-signed listeners need: the peer check
    // accepts exactly that certificate, whatever its issuer or names.
    const bool pinned = !settings_.pinnedSha256.empty();
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, settings_.skipCaCheck || pinned ? 0L : 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, settings_.skipNameCheck || pinned ? 0L : 2L);
    InstallTlsPeerCheck(curl, *tls_);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, CollectBody);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, CollectHeader);
}

void HttpConnection::Drop() {
    Configure();
}

bool HttpConnection::IsAlive() const {
    curl_socket_t socket = CURL_SOCKET_BAD;
    if (!curl_ || !connected_ || curl_easy_getinfo(curl_.get(), CURLINFO_ACTIVESOCKET, &socket) != CURLE_OK ||
        socket == CURL_SOCKET_BAD) {
        return false;
    }
    pollfd idle{socket, POLLIN, 0};
    return poll(&idle, 1, 0) == 0;  // readable means closed, reset or out of step
}

void HttpConnection::ReleaseReplyBuffer() {
    ReleaseLargeBuffer(response_.body);
    if (largeReads_ && curl_) curl_easy_setopt(curl_.get(), CURLOPT_BUFFERSIZE, long{CURL_MAX_WRITE_SIZE});
    largeReads_ = false;
}

HttpResponse& HttpConnection::Post(const std::vector<std::string>& extraHeaders, const std::string& body) {
    std::string buffer = std::move(response_.body);
    buffer.clear();
    response_ = HttpResponse();
    response_.body = std::move(buffer);
    HttpResponse& response = response_;
    if (!curl_) {
        response.result = CURLE_FAILED_INIT;
        response.failureText = "cannot create a libcurl handle";
        return response;
    }
    CURL* curl = curl_.get();
    // libcurl sends a request again on a new connection when a reused one closes before any byte of the
    // reply. The server may have acted on the first copy (an enumeration moved on, a service stopped), so
    // such a resent request is reported as lost instead of answered. A connection that is seen closed
    // before sending is simply replaced.
    const bool reusing = connected_ && IsAlive();
    std::vector<std::string> lines = {"Expect:", "Connection: Keep-Alive",
                                      "User-Agent: Microsoft WinRM Client"};
    lines.insert(lines.end(), extraHeaders.begin(), extraHeaders.end());
    if (body.empty()) {
        lines.emplace_back("Content-Type:");  // nothing to describe; libcurl would add a form type
    }
    const CurlHeaderList headers = MakeHeaderList(lines);
    Collector collector{&response, curl};
    char errorText[CURL_ERROR_SIZE] = "";
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &collector);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &collector);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorText);

    response.result = curl_easy_perform(curl);

    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, nullptr);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, nullptr);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, nullptr);
    long connects = 0;
    long localPort = 0;
    curl_easy_getinfo(curl, CURLINFO_NUM_CONNECTS, &connects);
    curl_easy_getinfo(curl, CURLINFO_LOCAL_PORT, &localPort);
    curl_easy_getinfo(curl, CURLINFO_OS_ERRNO, &response.osErrno);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &response.status);
    response.newConnection = !connected_ || connects > 0 || (localPort != 0 && localPort != localPort_);
    response.pinMismatch = tls_->pinMismatch;
    response.caFileUnusable = tls_->caFileUnusable;
    if (response.result == CURLE_OK && reusing && response.newConnection) {
        response.result = CURLE_GOT_NOTHING;
        response.failureText = "the connection closed under the request, which libcurl sent again";
    }
    if (response.result == CURLE_WRITE_ERROR) {
        response.failureText = "the reply exceeds " + std::to_string(kMaxReplyBytes) + " bytes";
    }
    if (response.result != CURLE_OK) {
        if (response.failureText.empty()) {
            response.failureText = errorText[0] ? errorText : curl_easy_strerror(response.result);
        }
        // The connection's state is unknown now; never reuse it.
        Configure();
        return response;
    }
    connected_ = true;
    localPort_ = localPort;
    if (!largeReads_ && response.body.size() >= kLargeReplyBytes) {
        largeReads_ = curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, kLargeReadBytes) == CURLE_OK;
    }
    return response;
}

}  // namespace wsman::http
