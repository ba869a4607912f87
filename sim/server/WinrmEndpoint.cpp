#include "server/WinrmEndpoint.h"

#include <algorithm>
#include <cctype>
#include <thread>

#include "server/Base64.h"
#include "server/EncryptedBody.h"

namespace qnsim {
namespace {

constexpr const char* kSoapContentType = "application/soap+xml;charset=UTF-8";

struct WinrmSession : ConnectionSession {
    std::unique_ptr<SecurityContext> security;
    std::string schemeWord;   // "Negotiate" or "Kerberos", as the client named it
    std::string schemeLabel;  // for the log: "Negotiate/NTLM", "Kerberos/Kerberos", ...
    const UserAccount* account = nullptr;
};

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

struct Authorization {
    std::string scheme;
    std::string credentials;
};

Authorization SplitAuthorization(const std::string& header) {
    const std::size_t blank = header.find(' ');
    if (blank == std::string::npos) return {header, ""};
    std::string credentials = header.substr(blank + 1);
    credentials.erase(0, credentials.find_first_not_of(' '));
    return {header.substr(0, blank), credentials};
}

std::string ShortAction(const std::string& action) {
    return action.substr(action.rfind('/') + 1);
}

// The class a request is about, for fault-injection rules: the WQL's FROM class or the resource URI's class.
std::string RequestClass(const WsmanRequest& request) {
    if (request.enumerate && request.enumerate->hasFilter) {
        std::string lower = request.enumerate->filter;
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        std::size_t from = lower.find(" from ");
        if (from != std::string::npos) {
            std::size_t start = request.enumerate->filter.find_first_not_of(' ', from + 6);
            if (start != std::string::npos) {
                std::size_t end = start;
                while (end < lower.size() &&
                       (std::isalnum(static_cast<unsigned char>(lower[end])) || lower[end] == '_'))
                    ++end;
                return request.enumerate->filter.substr(start, end - start);
            }
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

HttpReply WinrmEndpoint::Challenge() const {
    HttpReply reply = EmptyReply(401);
    reply.headers.emplace_back("WWW-Authenticate", "Negotiate");
    if (settings_.basic) reply.headers.emplace_back("WWW-Authenticate", "Basic realm=\"WSMAN\"");
    return reply;
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
        reply.body =
            "<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML "
            "4.01//EN\"\"http://www.w3.org/TR/html4/strict.dtd\">\r\n"
            "<HTML><HEAD><TITLE>Not Found</TITLE>\r\n"
            "<META HTTP-EQUIV=\"Content-Type\" Content=\"text/html; charset=us-ascii\"></HEAD>\r\n"
            "<BODY><h2>Not Found</h2>\r\n<hr><p>HTTP Error 404. The requested resource is not found.</p>\r\n"
            "</BODY></HTML>\r\n";
        Log(request, "-", nullptr, reply.status);
        return reply;
    }
    if (request.method != "POST") {
        HttpReply reply = EmptyReply(405);
        reply.headers.emplace_back("Allow", "POST");
        Log(request, "-", nullptr, reply.status);
        return reply;
    }

    // Authentication. Negotiate binds to the connection; Basic proves itself on every request.
    const Authorization authorization = SplitAuthorization(request.authorization);
    std::string finalToken;
    const UserAccount* basicAccount = nullptr;
    std::string scheme = session.schemeLabel;
    const bool negotiate = EqualsIgnoreCase(authorization.scheme, "Negotiate") ||
                           EqualsIgnoreCase(authorization.scheme, "Kerberos");
    if (negotiate) {
        const auto token = DecodeBase64(authorization.credentials);
        if (credential_ == nullptr || !token || token->empty()) {
            Log(request, "-", nullptr, 401);
            return Challenge();
        }
        if (!session.security || session.security->Established()) {
            session.security = std::make_unique<SecurityContext>();
            session.account = nullptr;
            session.schemeLabel.clear();
        }
        const SecurityContext::StepResult step = session.security->Accept(*credential_, *token);
        if (step.step == SecurityContext::Step::Failed) {
            session.security.reset();
            Log(request, authorization.scheme, nullptr, 401);
            return Challenge();
        }
        if (step.step == SecurityContext::Step::Continue) {
            HttpReply reply = EmptyReply(401);
            reply.headers.emplace_back("WWW-Authenticate",
                                       authorization.scheme + " " + EncodeBase64(step.outputToken));
            Log(request, authorization.scheme, nullptr, 401);
            return reply;
        }
        session.schemeWord = authorization.scheme;
        session.schemeLabel =
            authorization.scheme + (session.security->Mech() == Mechanism::Kerberos ? "/Kerberos" : "/NTLM");
        session.account = users_ != nullptr ? users_->Find(session.security->PeerName()) : nullptr;
        scheme = session.schemeLabel;
        finalToken = step.outputToken;
    } else if (EqualsIgnoreCase(authorization.scheme, "Basic")) {
        const auto decoded = DecodeBase64(authorization.credentials);
        const std::size_t colon = decoded ? decoded->find(':') : std::string::npos;
        if (!settings_.basic || users_ == nullptr || colon == std::string::npos ||
            (basicAccount = users_->CheckBasic(decoded->substr(0, colon), decoded->substr(colon + 1))) ==
                nullptr) {
            Log(request, "Basic", nullptr, 401);
            return Challenge();
        }
        scheme = "Basic";
    } else if (!authorization.scheme.empty() || !session.security || !session.security->Established()) {
        Log(request, "-", nullptr, 401);
        return Challenge();
    }
    const auto withFinalToken = [&](HttpReply reply) {
        if (!finalToken.empty())
            reply.headers.emplace_back("WWW-Authenticate",
                                       session.schemeWord + " " + EncodeBase64(finalToken));
        return reply;
    };

    // An authenticated empty POST finishes a client's handshake (pywinrm does this before its first message).
    if (request.body.empty()) {
        Log(request, scheme, nullptr, 200);
        return withFinalToken(EmptyReply(200));
    }

    const bool sealed = IsEncryptedContentType(request.contentType);
    std::string plaintext;
    std::string protocol;
    if (sealed) {
        const auto parts = ParseEncryptedBody(request.contentType, request.body);
        std::optional<std::string> unsealed;
        if (parts && basicAccount == nullptr && session.security) unsealed = session.security->Unseal(*parts);
        if (!unsealed) {
            // The stream cipher is out of step for good: forget the context and the connection, like Windows.
            session.security.reset();
            session.schemeLabel.clear();
            HttpReply reply = EmptyReply(400);
            reply.closeConnection = true;
            Log(request, scheme, nullptr, 400);
            return reply;
        }
        plaintext = std::move(*unsealed);
        protocol = parts->protocol;
    } else if (!settings_.https && !settings_.allowUnencrypted) {
        // AllowUnencrypted=false: Windows refuses a clear SOAP body over HTTP with a bare 500.
        Log(request, scheme, nullptr, 500);
        return withFinalToken(EmptyReply(500));
    } else {
        plaintext = request.body;
    }

    const ParsedRequest parsed = ParseWsmanRequest(plaintext);
    const WsmanRequest* wsman = parsed.request ? &*parsed.request : nullptr;
    const UserAccount* account = basicAccount != nullptr ? basicAccount : session.account;
    std::optional<FaultEffect> effect;
    ServiceReply answer;
    if (wsman == nullptr) {
        answer = service_.Fault(FaultKind::SchemaValidationError, "");
    } else if (account != nullptr && !account->hasRights) {
        answer = service_.Fault(FaultKind::AccessDenied, wsman->messageId);
    } else {
        const std::uint64_t number = ++soapRequests_;
        if (rules_ != nullptr)
            effect = rules_->Match(number, ShortAction(wsman->action), RequestClass(*wsman));
        bool timedOut = false;
        if (effect && effect->delay.count() > 0) {
            auto delay = effect->delay;
            if (wsman->operationTimeoutSeconds) {
                const auto limit =
                    std::chrono::milliseconds(static_cast<long long>(*wsman->operationTimeoutSeconds * 1000));
                if (delay > limit) {
                    delay = limit;
                    timedOut = true;
                }
            }
            std::this_thread::sleep_for(delay);
        }
        if (timedOut)
            answer = service_.Fault(FaultKind::TimedOut, wsman->messageId);
        else if (effect && effect->httpStatus)
            answer = ServiceReply{*effect->httpStatus, ""};
        else if (effect && effect->fault)
            answer = service_.Fault(*effect->fault, wsman->messageId);
        else
            answer = service_.Handle(*wsman, std::chrono::steady_clock::now());
    }

    HttpReply reply = EmptyReply(answer.status);
    std::string body = std::move(answer.envelope);
    std::string contentType = kSoapContentType;
    if (effect && effect->malformedBody && !body.empty())
        body = body.substr(0, body.size() / 2) + "<<not xml";
    if (effect && effect->oversizeBy) body.append(*effect->oversizeBy, ' ');
    if (sealed && !body.empty()) {
        std::optional<EncryptedBody> sealedReply = session.security->Seal(body, protocol);
        if (!sealedReply) {
            reply = EmptyReply(500);
            reply.closeConnection = true;
            Log(request, scheme, wsman, 500);
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
    Log(request, scheme, wsman, reply.dropConnection ? 0 : reply.status);
    return withFinalToken(std::move(reply));
}

}  // namespace qnsim
