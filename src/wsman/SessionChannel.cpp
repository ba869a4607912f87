#include "wsman/SessionChannel.h"

#include <algorithm>
#include <cctype>

#include "wsman/core/ErrorCodes.h"
#include "wsman/http/TransportErrorMapping.h"
#include "wsman/security/AccountName.h"
#include "wsman/security/AuthChallenge.h"
#include "wsman/security/Base64.h"
#include "wsman/security/EncryptedBody.h"
#include "wsman/security/NegotiateIdentity.h"
#include "wsman/security/SessionEncryption.h"
#include "wsman/security/TlsChannelBinding.h"

namespace wsman {

using namespace errors;
using security::GssSecurityContext;

namespace {

// http.sys closes idle connections after 120 s and libcurl stops reusing them after 118 s. A sealed
// message must not be the one that discovers a dead connection (it would be lost, not resent), so
// a session idle for longer re-authenticates on a fresh connection first.
constexpr std::chrono::seconds kMaxIdleConnection{100};

// NTLM needs 3 legs, SPNEGO 4, Kerberos 2; anything longer is a confused server.
constexpr int kMaxHandshakeLegs = 8;

std::unique_ptr<security::GssCredentials> CredentialsFor(const ChannelSettings& settings) {
    switch (settings.scheme) {
        case AuthScheme::Kerberos:
            return std::make_unique<security::GssCredentials>(security::GssMechanism::Kerberos,
                                                              settings.userName, settings.password);
        case AuthScheme::Ntlm:
            return std::make_unique<security::GssCredentials>(security::GssMechanism::Ntlm, settings.userName,
                                                              settings.password);
        default: {
            security::NegotiateIdentity identity = security::ChooseNegotiateIdentity(settings.userName);
            return std::make_unique<security::GssCredentials>(
                identity.mechanism, std::move(identity.userName), settings.password);
        }
    }
}

bool LooksLikeXml(const http::HttpResponse& response) {
    std::string type = response.contentType;
    std::transform(type.begin(), type.end(), type.begin(), [](unsigned char c) { return std::tolower(c); });
    if (!type.empty()) {
        return type.find("xml") != std::string::npos;
    }
    const auto first = response.body.find_first_not_of(" \t\r\n");
    return first != std::string::npos && response.body[first] == '<';
}

}  // namespace

SessionChannel::SessionChannel(const ChannelSettings& settings)
    : settings_(settings), endpoint_(http::ParseEndpoint(settings.url)), connection_(settings) {
    if (UsesGss()) {
        credentials_ = CredentialsFor(settings);
    }
}

HResult SessionChannel::Fail(HResult code, std::string detail) {
    lastError_ = std::move(detail);
    return code;
}

HResult SessionChannel::FailTransfer(const http::HttpResponse& response) {
    DropSession();
    if (response.pinMismatch) {
        return Fail(kSecureFailure, "the server certificate does not match the pinned SHA-256 fingerprint");
    }
    if (response.caFileUnusable) {
        return Fail(kCaFileUnusable, "the TrustedCAFile " + settings_.caFile +
                                         " does not exist, cannot be read or holds no certificate");
    }
    return Fail(http::HResultForTransferFailure(response), response.failureText);
}

void SessionChannel::ReleaseBuffers() {
    connection_.ReleaseReplyBuffer();
}

void SessionChannel::DropSession() {
    context_.reset();
    connection_.Drop();
}

HResult SessionChannel::Send(const std::string& envelope, Exchange& out) {
    // The body keeps its capacity: replies of one enumeration come into the same buffer.
    out.httpStatus = 0;
    out.contentType.clear();
    out.body.clear();
    lastError_.clear();
    if (!endpoint_) {
        return Fail(kUnspecifiedFailure, "not an http or https URL: " + settings_.url);
    }
    if (envelope.empty()) {
        return Fail(kUnspecifiedFailure, "empty SOAP envelope");
    }
    if (!security::IsWellFormedAccountName(settings_.userName)) {
        return Fail(kInvalidAccountName, "the user name is not of the form user, DOMAIN\\user or user@REALM");
    }
    if (!UsesGss()) {
        return SendBasic(envelope, out);
    }
    return SealsMessages() ? SendSealed(envelope, out) : SendOverTls(envelope, out);
}

HResult SessionChannel::SendBasic(const std::string& envelope, Exchange& out) {
    if (!endpoint_->https && !settings_.allowUnencrypted) {
        return Fail(kUnencryptedDisabled,
                    "Basic authentication over HTTP sends the password in clear; "
                    "it needs unencrypted traffic to be allowed");
    }
    if (settings_.userName.empty()) {
        return Fail(kCredentialsNeeded, "Basic authentication needs a user name and password");
    }
    const std::string authorization =
        "Authorization: Basic " + security::EncodeBase64(settings_.userName + ":" + settings_.password);
    http::HttpResponse& response = connection_.Post(
        {authorization, std::string("Content-Type: ") + security::kSoapContentType}, envelope);
    if (response.result != CURLE_OK) {
        return FailTransfer(response);
    }
    return ReadReply(response, out);
}

HResult SessionChannel::SendSealed(const std::string& envelope, Exchange& out) {
    if (context_ && !connection_.IsAlive()) {
        context_.reset();  // the server closed the connection, and its context with it
    }
    if (const HResult code = EnsureAuthenticated(); code != 0) {
        return code;
    }
    std::string body;
    std::string error;
    if (!security::SealMessage(*context_, envelope, body, error)) {
        DropSession();
        return Fail(kUnspecifiedFailure, "cannot seal the message: " + error);
    }
    http::HttpResponse& response =
        connection_.Post({std::string("Content-Type: ") + security::kEncryptedContentType}, body);
    if (response.result != CURLE_OK) {
        return FailTransfer(response);
    }
    if (response.newConnection) {
        // libcurl found the kept connection dead and sent the sealed body again on a new one,
        // where no context exists. It is not sent a third time.
        DropSession();
        return Fail(kDestinationUnreachable, "the connection closed under a sealed request (HTTP " +
                                                 std::to_string(response.status) + "); it was not resent");
    }
    return ReadReply(response, out);
}

HResult SessionChannel::SendOverTls(const std::string& envelope, Exchange& out) {
    // TLS protects the body; the connection itself carries the authentication. A 401 on a
    // replaced connection means the server never processed the request, so it may go again once.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (const HResult code = EnsureAuthenticated(); code != 0) {
            return code;
        }
        http::HttpResponse& response =
            connection_.Post({std::string("Content-Type: ") + security::kSoapContentType}, envelope);
        if (response.result != CURLE_OK) {
            return FailTransfer(response);
        }
        if (response.status == 401 && response.newConnection && attempt == 0) {
            DropSession();
            continue;
        }
        return ReadReply(response, out);
    }
    return Fail(kAccessDenied, "the server asked for authentication again on a new connection");
}

HResult SessionChannel::EnsureAuthenticated() {
    const auto now = std::chrono::steady_clock::now();
    if (context_ && context_->IsComplete() && now - lastExchange_ < kMaxIdleConnection) {
        lastExchange_ = now;
        return 0;
    }
    const HResult code = Authenticate();
    lastExchange_ = std::chrono::steady_clock::now();
    return code;
}

HResult SessionChannel::Authenticate() {
    // A password credential holds a Kerberos ticket that expires (10 hours by default) while the
    // session may live on. The mechanism glue hides which minor code says so, so any failure of the
    // first local step acquires the credential once more from the password and tries again.
    const HResult code = AuthenticateOnce();
    if (code == 0 || !failedBeforeServer_ || credentials_->UsesCallerIdentity()) {
        return code;
    }
    credentials_->Forget();
    return AuthenticateOnce();
}

HResult SessionChannel::AuthenticateOnce() {
    DropSession();
    failedBeforeServer_ = false;
    std::string error;
    security::CredentialProblem problem = security::CredentialProblem::Other;
    if (!credentials_->Acquire(error, problem)) {
        switch (problem) {
            case security::CredentialProblem::Rejected:
                return Fail(kAccessDenied, error);
            case security::CredentialProblem::NoAuthority:
                return Fail(kNoAuthenticatingAuthority, error);
            default:
                return Fail(kNoCredentials, error);
        }
    }
    std::string channelBinding;
    if (endpoint_->https) {
        // An anonymous probe opens the TLS connection, so the certificate is known (and checked)
        // before any token leaves, and shows what the server offers.
        const http::HttpResponse& probe = connection_.Post({}, {});
        if (probe.result != CURLE_OK) {
            return FailTransfer(probe);
        }
        if (probe.status != 401) {
            DropSession();
            return Fail(errors::HResultForHttpStatus(probe.status),
                        "unexpected HTTP " + std::to_string(probe.status) + " to an unauthenticated request");
        }
        const auto offers = security::ParseAuthChallenges(probe.wwwAuthenticate);
        if (!security::OffersScheme(offers, "Negotiate") && !security::OffersScheme(offers, "Kerberos")) {
            DropSession();
            return Fail(kAccessDenied, "the server offers neither Negotiate nor Kerberos authentication");
        }
        channelBinding = security::TlsServerEndPointBinding(connection_.ServerCertificateDer());
    }
    const HResult code = RunHandshake(channelBinding);
    if (code != 0) {
        DropSession();
    }
    return code;
}

HResult SessionChannel::RunHandshake(const std::string& channelBinding) {
    context_ = std::make_unique<GssSecurityContext>(*credentials_, endpoint_->host, channelBinding);
    std::string input;
    bool serverAccepted = false;
    for (int leg = 0; leg < kMaxHandshakeLegs; ++leg) {
        const GssSecurityContext::StepResult step = context_->Step(input);
        if (step.status == GssSecurityContext::Status::Failed) {
            if (serverAccepted) {
                return Fail(kMutualAuthFailed, step.error);
            }
            if (leg > 0) {
                return Fail(kAccessDenied, step.error);
            }
            failedBeforeServer_ = true;
            if (GSS_ROUTINE_ERROR(step.major) == GSS_S_NO_CRED && credentials_->UsesCallerIdentity()) {
                return Fail(kCredentialsNeeded, step.error);
            }
            return Fail(kNoAuthenticatingAuthority, step.error);
        }
        if (serverAccepted) {
            if (!context_->IsComplete() || !step.outputToken.empty()) {
                return Fail(kMutualAuthFailed,
                            "the server accepted the login but did not prove its identity");
            }
            break;
        }
        if (step.outputToken.empty()) {
            return Fail(kUnspecifiedFailure, "the security package produced no token for the server");
        }
        http::HttpResponse& response =
            connection_.Post({"Authorization: Negotiate " + security::EncodeBase64(step.outputToken)}, {});
        if (response.result != CURLE_OK) {
            return FailTransfer(response);
        }
        if (leg > 0 && response.newConnection) {
            return Fail(kDestinationUnreachable, "the connection closed during authentication");
        }
        const auto token = security::FindGssToken(security::ParseAuthChallenges(response.wwwAuthenticate));
        if (response.status == 200) {
            if (context_->IsComplete()) {
                break;  // a last token from the server is not needed (NTLM)
            }
            if (!token) {
                return Fail(kMutualAuthFailed, "the server accepted the login without its final token");
            }
            serverAccepted = true;
            input = *token;
            continue;
        }
        if (response.status == 401) {
            if (!token || context_->IsComplete()) {
                return Fail(kAccessDenied, "the server rejected the credentials (HTTP 401)");
            }
            input = *token;
            continue;
        }
        return Fail(errors::HResultForHttpStatus(response.status),
                    "HTTP " + std::to_string(response.status) + " during authentication");
    }
    if (!context_->IsComplete()) {
        return Fail(kAccessDenied, "authentication did not finish");
    }
    if (SealsMessages() && !context_->CanSeal()) {
        return Fail(kAccessDenied, "the negotiated security context cannot encrypt messages");
    }
    return 0;
}

HResult SessionChannel::ReadReply(http::HttpResponse& response, Exchange& out) {
    const long status = response.status;
    if (status != 200 && status != 500) {
        DropSession();  // whether the server consumed the sealed message is unknown
        return Fail(errors::HResultForHttpStatus(status), "HTTP " + std::to_string(status));
    }
    if (response.body.empty()) {
        if (status == 500) {
            DropSession();
            return Fail(kHttpServerError, "HTTP 500 without a SOAP fault");
        }
        out.httpStatus = status;
        return 0;
    }
    if (SealsMessages()) {
        if (!security::IsEncryptedContentType(response.contentType)) {
            DropSession();
            if (status == 500) {
                return Fail(kHttpServerError, "HTTP 500 with an unencrypted body on an encrypted session");
            }
            return Fail(kDecryptFailure, "the reply was not encrypted (" + response.contentType + ")");
        }
        std::string error;
        if (!security::UnsealMessage(*context_, response.body, out.body, out.contentType, error)) {
            DropSession();
            return Fail(kDecryptFailure, "cannot decrypt the reply: " + error);
        }
    } else {
        if (status == 500 && !LooksLikeXml(response)) {
            return Fail(kHttpServerError, "HTTP 500 without a SOAP fault");
        }
        // The two buffers change places rather than the reply being copied; both are kept for the next.
        out.body.swap(response.body);
        out.contentType = response.contentType;
    }
    out.httpStatus = status;
    return 0;
}

}  // namespace wsman
