#include "server/HttpAuthentication.h"

#include <algorithm>
#include <cctype>

#include "server/Base64.h"

namespace qnsim {
namespace {

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

}  // namespace

HttpReply HttpAuthentication::Challenge() const {
    HttpReply reply;
    reply.status = 401;
    reply.headers.emplace_back("WWW-Authenticate", "Negotiate");
    if (basic_) reply.headers.emplace_back("WWW-Authenticate", "Basic realm=\"WSMAN\"");
    return reply;
}

AuthenticationResult HttpAuthentication::Refused(std::string scheme) const {
    AuthenticationResult result;
    result.refusal = Challenge();
    result.scheme = std::move(scheme);
    return result;
}

AuthenticationResult HttpAuthentication::Authenticate(const HttpRequest& request,
                                                      WinrmSession& session) const {
    const std::string& header = request.authorization;
    const std::size_t blank = header.find(' ');
    const std::string scheme = header.substr(0, blank);
    std::string credentials = blank == std::string::npos ? std::string{} : header.substr(blank + 1);
    credentials.erase(0, credentials.find_first_not_of(' '));

    if (EqualsIgnoreCase(scheme, "Negotiate") || EqualsIgnoreCase(scheme, "Kerberos"))
        return Negotiate(scheme, credentials, request.host, session);
    if (EqualsIgnoreCase(scheme, "Basic")) return Basic(credentials);
    if (!scheme.empty() || !session.Authenticated()) return Refused("-");
    // No header on an authenticated connection: the connection's context stands for the user.
    AuthenticationResult result;
    result.scheme = session.schemeLabel;
    result.account = session.account;
    result.negotiated = true;
    return result;
}

AuthenticationResult HttpAuthentication::Negotiate(const std::string& scheme, const std::string& credentials,
                                                   const std::string& host, WinrmSession& session) const {
    const auto token = DecodeBase64(credentials);
    if (credential_ == nullptr || !token || token->empty()) return Refused("-");
    // A token on an authenticated connection starts a new handshake, as with Windows.
    if (!session.security || session.security->Established()) {
        session.Forget();
        session.security = std::make_unique<SecurityContext>();
    }
    const SecurityContext::StepResult step =
        session.security->Accept(*credential_, *token, host, channelBinding_);
    if (step.step == SecurityContext::Step::Failed) {
        session.Forget();
        return Refused(scheme);
    }
    AuthenticationResult result;
    result.scheme = scheme;
    if (step.step == SecurityContext::Step::Continue) {
        HttpReply leg;
        leg.status = 401;
        leg.headers.emplace_back("WWW-Authenticate", scheme + " " + EncodeBase64(step.outputToken));
        result.refusal = std::move(leg);
        return result;
    }
    session.schemeWord = scheme;
    session.schemeLabel = scheme + (session.security->Mech() == Mechanism::Kerberos ? "/Kerberos" : "/NTLM");
    session.account = users_ != nullptr ? users_->Find(session.security->PeerName()) : nullptr;
    result.scheme = session.schemeLabel;
    result.account = session.account;
    result.finalToken = step.outputToken;
    result.negotiated = true;
    return result;
}

AuthenticationResult HttpAuthentication::Basic(const std::string& credentials) const {
    const auto decoded = DecodeBase64(credentials);
    const std::size_t colon = decoded ? decoded->find(':') : std::string::npos;
    if (!basic_ || users_ == nullptr || colon == std::string::npos) return Refused("Basic");
    const UserAccount* account = users_->CheckBasic(decoded->substr(0, colon), decoded->substr(colon + 1));
    if (account == nullptr) return Refused("Basic");
    AuthenticationResult result;
    result.scheme = "Basic";
    result.account = account;
    return result;
}

}  // namespace qnsim
