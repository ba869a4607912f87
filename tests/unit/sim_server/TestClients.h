// Client-side helpers for the endpoint tests: a keep-alive HTTP client (libcurl) and a GSSAPI initiator
// that authenticates, seals and unseals bodies like a WinRM client.
#pragma once

#include <curl/curl.h>
#include <gssapi/gssapi.h>
#include <gssapi/gssapi_ext.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "server/Base64.h"
#include "server/EncryptedBody.h"

namespace qnsim::test {

// A GSS buffer's bytes; empty when the mechanism left no value (as on some failures).
inline std::string BufferText(const gss_buffer_desc& buffer) {
    return buffer.value == nullptr ? std::string{}
                                   : std::string(static_cast<const char*>(buffer.value), buffer.length);
}

struct HttpResult {
    CURLcode code = CURLE_OK;
    long status = 0;
    std::multimap<std::string, std::string> headers;  // names in lower case
    std::string body;
    long newConnections = 0;
    std::string Header(const std::string& name) const {
        auto found = headers.find(name);
        return found == headers.end() ? "" : found->second;
    }
};

class HttpClient {
  public:
    HttpClient() : curl_(curl_easy_init(), &curl_easy_cleanup) {}

    HttpResult Send(const std::string& method, const std::string& url,
                    const std::vector<std::string>& headers, const std::string& body) {
        HttpResult result;
        CURL* curl = curl_.get();
        std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> list(nullptr, &curl_slist_free_all);
        curl_slist* raw = curl_slist_append(nullptr, "Expect:");
        for (const auto& header : headers) raw = curl_slist_append(raw, header.c_str());
        list.reset(raw);
        curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
        curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list.get());
        if (method == "POST") {
            curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
            curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        } else {
            curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
        }
        curl_easy_setopt(curl, CURLOPT_TIMEOUT, 20L);
        // The tests' certificates are self-signed throw-aways.
        curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Append);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, &result.body);
        curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &Header);
        curl_easy_setopt(curl, CURLOPT_HEADERDATA, &result.headers);
        result.code = curl_easy_perform(curl);
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &result.status);
        curl_easy_getinfo(curl, CURLINFO_NUM_CONNECTS, &result.newConnections);
        return result;
    }
    HttpResult Post(const std::string& url, const std::vector<std::string>& headers,
                    const std::string& body) {
        return Send("POST", url, headers, body);
    }

  private:
    static std::size_t Append(char* data, std::size_t size, std::size_t count, void* target) {
        static_cast<std::string*>(target)->append(data, size * count);
        return size * count;
    }
    static std::size_t Header(char* data, std::size_t size, std::size_t count, void* target) {
        std::string line(data, size * count);
        const std::size_t colon = line.find(':');
        if (colon != std::string::npos) {
            std::string name = line.substr(0, colon);
            std::transform(name.begin(), name.end(), name.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
            std::string value = line.substr(colon + 1);
            value.erase(0, value.find_first_not_of(' '));
            while (!value.empty() && (value.back() == '\r' || value.back() == '\n')) value.pop_back();
            static_cast<std::multimap<std::string, std::string>*>(target)->emplace(name, value);
        }
        return size * count;
    }
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_;
};

// A WinRM client's side of Negotiate: NTLM or Kerberos, raw or inside SPNEGO, with the client's sealing
// (gss_wrap for NTLM, gss_wrap_iov HEADER|DATA|PADDING for Kerberos, as Windows and pywinrm do).
class GssInitiator {
  public:
    enum class Kind { Ntlm, SpnegoNtlm, Kerberos, SpnegoKerberos };

    // `channelBinding`: the application data of a TLS channel binding (HTTPS clients), empty for none.
    GssInitiator(const std::string& user, const std::string& password, Kind kind,
                 std::string channelBinding = {})
        : kind_(kind), channelBinding_(std::move(channelBinding)) {
        OM_uint32 minor = 0;
        gss_buffer_desc nameBuffer{user.size(), const_cast<char*>(user.data())};
        gss_import_name(&minor, &nameBuffer, GSS_C_NT_USER_NAME, &userName_);
        gss_buffer_desc passwordBuffer{password.size(), const_cast<char*>(password.data())};
        gss_OID_set_desc mechs{1, Spnego() ? &spnegoOid_ : Inner()};
        gss_acquire_cred_with_password(&minor, userName_, &passwordBuffer, GSS_C_INDEFINITE, &mechs,
                                       GSS_C_INITIATE, &credential_, nullptr, nullptr);
        if (Spnego()) {
            gss_OID_set_desc only{1, Inner()};
            gss_set_neg_mechs(&minor, credential_, &only);
        }
        // Name the service by the host the request goes to, as every client does: the NTLM tests talk to
        // 127.0.0.1, the Kerberos tests to localhost (the keytab's principal).
        const std::string target = Kerberos() ? "HTTP@localhost" : "HTTP@127.0.0.1";
        gss_buffer_desc targetBuffer{target.size(), const_cast<char*>(target.data())};
        gss_import_name(&minor, &targetBuffer, GSS_C_NT_HOSTBASED_SERVICE, &targetName_);
    }
    ~GssInitiator() {
        OM_uint32 minor = 0;
        if (context_ != GSS_C_NO_CONTEXT) gss_delete_sec_context(&minor, &context_, GSS_C_NO_BUFFER);
        if (credential_ != GSS_C_NO_CREDENTIAL) gss_release_cred(&minor, &credential_);
        if (userName_ != GSS_C_NO_NAME) gss_release_name(&minor, &userName_);
        if (targetName_ != GSS_C_NO_NAME) gss_release_name(&minor, &targetName_);
    }
    GssInitiator(const GssInitiator&) = delete;
    GssInitiator& operator=(const GssInitiator&) = delete;

    // Feeds the server's token (empty at first); returns the next token to send, null on failure.
    std::optional<std::string> Step(const std::string& serverToken) {
        OM_uint32 minor = 0;
        gss_buffer_desc input{serverToken.size(), const_cast<char*>(serverToken.data())};
        gss_buffer_desc output{0, nullptr};
        const OM_uint32 flags = GSS_C_CONF_FLAG | GSS_C_INTEG_FLAG | GSS_C_SEQUENCE_FLAG | GSS_C_REPLAY_FLAG |
                                (Kerberos() ? GSS_C_MUTUAL_FLAG : 0);
        gss_channel_bindings_struct bindings{};
        bindings.application_data = {channelBinding_.size(), channelBinding_.data()};
        const OM_uint32 major = gss_init_sec_context(
            &minor, credential_, &context_, targetName_, Spnego() ? &spnegoOid_ : Inner(), flags, 0,
            channelBinding_.empty() ? GSS_C_NO_CHANNEL_BINDINGS : &bindings,
            serverToken.empty() ? GSS_C_NO_BUFFER : &input, nullptr, &output, nullptr, nullptr);
        std::string token = BufferText(output);
        gss_release_buffer(&minor, &output);
        if (GSS_ERROR(major)) return std::nullopt;
        complete_ = !(major & GSS_S_CONTINUE_NEEDED);
        return token;
    }
    bool Complete() const { return complete_; }

    // A sealed request body and its Content-Type header.
    std::pair<std::string, std::string> Seal(const std::string& plaintext) {
        OM_uint32 minor = 0;
        EncryptedBody parts;
        parts.protocol = Kerberos() && !Spnego() ? kKerberosEncrypted : kSpnegoEncrypted;
        if (Kerberos()) {
            std::string data = plaintext;
            gss_iov_buffer_desc iov[3] = {};
            iov[0].type = GSS_IOV_BUFFER_TYPE_HEADER | GSS_IOV_BUFFER_FLAG_ALLOCATE;
            iov[1].type = GSS_IOV_BUFFER_TYPE_DATA;
            iov[1].buffer = {data.size(), data.data()};
            iov[2].type = GSS_IOV_BUFFER_TYPE_PADDING | GSS_IOV_BUFFER_FLAG_ALLOCATE;
            gss_wrap_iov(&minor, context_, 1, GSS_C_QOP_DEFAULT, nullptr, iov, 3);
            parts.signature = BufferText(iov[0].buffer);
            parts.sealed = data + BufferText(iov[2].buffer);
            gss_release_iov_buffer(&minor, iov, 3);
        } else {
            gss_buffer_desc input{plaintext.size(), const_cast<char*>(plaintext.data())};
            gss_buffer_desc output{0, nullptr};
            gss_wrap(&minor, context_, 1, GSS_C_QOP_DEFAULT, &input, nullptr, &output);
            const std::string wrapped = BufferText(output);
            gss_release_buffer(&minor, &output);
            parts.signature = wrapped.substr(0, 16);
            parts.sealed = wrapped.substr(16);
        }
        parts.originalLength = parts.sealed.size();
        return {BuildEncryptedBody(parts), "Content-Type: " + EncryptedContentType(parts.protocol)};
    }

    // MIT unwraps a Kerberos HEADER|DATA token in one piece, as it does NTLM's signature||data.
    std::optional<std::string> Unseal(const std::string& contentType, const std::string& body) {
        const auto parts = ParseEncryptedBody(contentType, body);
        if (!parts) return std::nullopt;
        const std::string token = parts->signature + parts->sealed;
        OM_uint32 minor = 0;
        gss_buffer_desc input{token.size(), const_cast<char*>(token.data())};
        gss_buffer_desc output{0, nullptr};
        const OM_uint32 major = gss_unwrap(&minor, context_, &input, &output, nullptr, nullptr);
        std::string plaintext = BufferText(output);
        gss_release_buffer(&minor, &output);
        if (GSS_ERROR(major)) return std::nullopt;
        return plaintext;
    }

  private:
    bool Spnego() const { return kind_ == Kind::SpnegoNtlm || kind_ == Kind::SpnegoKerberos; }
    bool Kerberos() const { return kind_ == Kind::Kerberos || kind_ == Kind::SpnegoKerberos; }
    gss_OID Inner() { return Kerberos() ? &krb5Oid_ : &ntlmOid_; }

    Kind kind_;
    std::string channelBinding_;
    gss_OID_desc ntlmOid_{10, const_cast<char*>("\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a")};
    gss_OID_desc krb5Oid_{9, const_cast<char*>("\x2a\x86\x48\x86\xf7\x12\x01\x02\x02")};
    gss_OID_desc spnegoOid_{6, const_cast<char*>("\x2b\x06\x01\x05\x05\x02")};
    gss_name_t userName_ = GSS_C_NO_NAME;
    gss_name_t targetName_ = GSS_C_NO_NAME;
    gss_cred_id_t credential_ = GSS_C_NO_CREDENTIAL;
    gss_ctx_id_t context_ = GSS_C_NO_CONTEXT;
    bool complete_ = false;
};

// "Negotiate <token>" of a WWW-Authenticate value, decoded; empty when it carries none.
inline std::string ServerToken(const std::string& header) {
    const std::size_t blank = header.find(' ');
    if (blank == std::string::npos) return {};
    return DecodeBase64(header.substr(blank + 1)).value_or("");
}

}  // namespace qnsim::test
