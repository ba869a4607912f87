#include "server/WinrmEndpoint.h"

#include <algorithm>
#include <cctype>
#include <thread>

#include "server/Base64.h"
#include "server/EncryptedBody.h"

namespace qnsim {
namespace {

constexpr const char* kSoapContentType = "application/soap+xml;charset=UTF-8";

// http.sys' own page for a URL no listener serves.
constexpr const char* kNotFoundPage =
    "<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.01//EN\"\"http://www.w3.org/TR/html4/strict.dtd\">\r\n"
    "<HTML><HEAD><TITLE>Not Found</TITLE>\r\n"
    "<META HTTP-EQUIV=\"Content-Type\" Content=\"text/html; charset=us-ascii\"></HEAD>\r\n"
    "<BODY><h2>Not Found</h2>\r\n<hr><p>HTTP Error 404. The requested resource is not found.</p>\r\n"
    "</BODY></HTML>\r\n";

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

std::string ShortAction(const std::string& action) {
    return action.substr(action.rfind('/') + 1);
}

// The class a request is about, for fault-injection rules: the WQL's FROM class or the resource URI's class.
std::string RequestClass(const WsmanRequest& request) {
    if (request.enumerate && request.enumerate->hasFilter) {
        const std::string& wql = request.enumerate->filter;
        std::string lower = wql;
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        const std::size_t from = lower.find(" from ");
        const std::size_t start = from == std::string::npos ? from : wql.find_first_not_of(' ', from + 6);
        if (start != std::string::npos) {
            std::size_t end = start;
            while (end < wql.size() &&
                   (std::isalnum(static_cast<unsigned char>(wql[end])) || wql[end] == '_'))
                ++end;
            return wql.substr(start, end - start);
        }
    }
    return request.resourceUri.substr(request.resourceUri.rfind('/') + 1);
}

HttpReply EmptyReply(unsigned status) {
    HttpReply reply;
    reply.status = status;
    return reply;
}

}  // namespace

std::unique_ptr<ConnectionSession> WinrmEndpoint::NewSession() {
    return std::make_unique<WinrmSession>();
}

void WinrmEndpoint::Log(const HttpRequest& request, const std::string& scheme, const WsmanRequest* wsman,
                        unsigned status) {
    if (log_ == nullptr) return;
    RequestLogEntry entry;
    entry.connection = request.connectionId;
    entry.scheme = scheme;
    entry.status = status;
    if (wsman != nullptr) {
        entry.action = wsman->action;
        entry.resourceUri = wsman->resourceUri;
        if (wsman->enumerate) entry.filter = wsman->enumerate->filter;
    }
    log_->Write(entry);
}

HttpReply WinrmEndpoint::Handle(ConnectionSession& base, const HttpRequest& request) {
    auto& session = static_cast<WinrmSession&>(base);
    if (!EqualsIgnoreCase(request.url, "/wsman")) {
        HttpReply reply = EmptyReply(404);
        reply.headers.emplace_back("Content-Type", "text/html; charset=us-ascii");
        reply.body = kNotFoundPage;
        Log(request, "-", nullptr, reply.status);
        return reply;
    }
    if (request.method != "POST") {
        HttpReply reply = EmptyReply(405);
        reply.headers.emplace_back("Allow", "POST");
        Log(request, "-", nullptr, reply.status);
        return reply;
    }

    AuthenticationResult auth = authentication_.Authenticate(request, session);
    if (auth.refusal) {
        Log(request, auth.scheme, nullptr, auth.refusal->status);
        return std::move(*auth.refusal);
    }
    const auto withFinalToken = [&](HttpReply reply) {
        if (!auth.finalToken.empty())
            reply.headers.emplace_back("WWW-Authenticate",
                                       session.schemeWord + " " + EncodeBase64(auth.finalToken));
        return reply;
    };

    // An authenticated empty POST finishes a client's handshake (pywinrm does this before its first message).
    if (request.body.empty()) {
        Log(request, auth.scheme, nullptr, 200);
        return withFinalToken(EmptyReply(200));
    }

    const bool sealed = IsEncryptedContentType(request.contentType);
    std::string plaintext;
    std::string protocol;
    if (sealed) {
        const auto parts = ParseEncryptedBody(request.contentType, request.body);
        std::optional<std::string> unsealed;
        if (parts && auth.negotiated) unsealed = session.security->Unseal(*parts);
        if (!unsealed) {
            // The stream cipher is out of step for good: forget the context and the connection, like Windows.
            session.Forget();
            HttpReply reply = EmptyReply(400);
            reply.closeConnection = true;
            Log(request, auth.scheme, nullptr, 400);
            return reply;
        }
        plaintext = std::move(*unsealed);
        protocol = parts->protocol;
    } else if (!settings_.https && !settings_.allowUnencrypted) {
        // AllowUnencrypted=false: Windows refuses a clear SOAP body over HTTP with a bare 500.
        Log(request, auth.scheme, nullptr, 500);
        return withFinalToken(EmptyReply(500));
    } else {
        plaintext = request.body;
    }

    const ParsedRequest parsed = ParseWsmanRequest(plaintext);
    const WsmanRequest* wsman = parsed.request ? &*parsed.request : nullptr;
    Answer answer = AnswerSoap(auth.account, wsman);
    const std::optional<FaultEffect>& effect = answer.effect;

    HttpReply reply = EmptyReply(answer.reply.status);
    std::string body = std::move(answer.reply.envelope);
    std::string contentType = kSoapContentType;
    if (effect && effect->malformedBody && !body.empty())
        body = body.substr(0, body.size() / 2) + "<<not xml";
    if (effect && effect->oversizeBy) body.append(*effect->oversizeBy, ' ');
    if (sealed && !body.empty()) {
        std::optional<EncryptedBody> sealedReply = session.security->Seal(body, protocol);
        if (!sealedReply) {
            session.Forget();
            reply = EmptyReply(500);
            reply.closeConnection = true;
            Log(request, auth.scheme, wsman, 500);
            return reply;
        }
        if (effect && effect->badSignature && !sealedReply->signature.empty())
            sealedReply->signature.back() = static_cast<char>(sealedReply->signature.back() ^ 0x5A);
        body = BuildEncryptedBody(*sealedReply);
        contentType = EncryptedContentType(protocol);
    }
    if (effect && effect->contentType) contentType = *effect->contentType;
    if (!body.empty()) reply.headers.emplace_back("Content-Type", contentType);
    reply.body = std::move(body);
    if (effect) {
        reply.dropConnection = effect->dropConnection;
        reply.truncateAt = effect->truncateAt;
    }
    Log(request, auth.scheme, wsman, reply.dropConnection ? 0 : reply.status);
    return withFinalToken(std::move(reply));
}

WinrmEndpoint::Answer WinrmEndpoint::AnswerSoap(const UserAccount* account, const WsmanRequest* request) {
    Answer answer;
    if (request == nullptr) {
        answer.reply = service_.Fault(FaultKind::SchemaValidationError, "");
        return answer;
    }
    if (account != nullptr && !account->hasRights) {
        answer.reply = service_.Fault(FaultKind::AccessDenied, request->messageId);
        return answer;
    }
    const std::uint64_t number = ++soapRequests_;
    if (rules_ != nullptr)
        answer.effect = rules_->Match(number, ShortAction(request->action), RequestClass(*request));
    const std::optional<FaultEffect>& effect = answer.effect;
    if (effect && effect->delay.count() > 0) {
        // Work that outlasts the request's OperationTimeout ends in w:TimedOut when the timeout expires.
        auto delay = effect->delay;
        bool timedOut = false;
        if (request->operationTimeoutSeconds) {
            const auto limit =
                std::chrono::milliseconds(static_cast<long long>(*request->operationTimeoutSeconds * 1000));
            timedOut = delay > limit;
            delay = std::min(delay, limit);
        }
        std::this_thread::sleep_for(delay);
        if (timedOut) {
            answer.reply = service_.Fault(FaultKind::TimedOut, request->messageId);
            return answer;
        }
    }
    if (effect && effect->httpStatus)
        answer.reply = ServiceReply{*effect->httpStatus, ""};
    else if (effect && effect->fault)
        answer.reply = service_.Fault(*effect->fault, request->messageId);
    else
        answer.reply = service_.Handle(*request, std::chrono::steady_clock::now());
    return answer;
}

}  // namespace qnsim
