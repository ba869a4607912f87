// Client-side helpers for the endpoint tests: a keep-alive HTTP client (libcurl) and an NTLM initiator
// (GSSAPI) that authenticates, seals and unseals bodies like a WinRM client.
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

#include "server/EncryptedBody.h"

namespace qnsim::test {

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
    HttpResult Send(const std::string& method, const std::string& url,
                    const std::vector<std::string>& headers, const std::string& body) {
        HttpResult result;
        CURL* curl = curl_.get();
        curl_slist* list = curl_slist_append(nullptr, "Expect:");
        for (const auto& header : headers) list = curl_slist_append(list, header.c_str());
        curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
        curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl_easy_setopt(curl, CURLOPT_TIMEOUT, 20L);
        curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);  // the tests' certificates are self-signed
        curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Append);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, &result.body);
        curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &Header);
        curl_easy_setopt(curl, CURLOPT_HEADERDATA, &result.headers);
        result.code = curl_easy_perform(curl);
        curl_slist_free_all(list);
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
            std::string value = line.substr(line.find_first_not_of(' ', colon + 1));
            while (!value.empty() && (value.back() == '\r' || value.back() == '\n')) value.pop_back();
            static_cast<std::multimap<std::string, std::string>*>(target)->emplace(name, value);
        }
        return size * count;
    }
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_{curl_easy_init(), &curl_easy_cleanup};
};

// A WinRM client's side of raw NTLM, sealing with gss_wrap as Windows and pywinrm do. `channelBinding`:
// the application data of a TLS channel binding (HTTPS clients), empty for none.
class NtlmInitiator {
  public:
    NtlmInitiator(const std::string& user, const std::string& password, std::string channelBinding = {})
        : channelBinding_(std::move(channelBinding)) {
        OM_uint32 minor = 0;
        gss_buffer_desc nameBuffer{user.size(), const_cast<char*>(user.data())};
        gss_import_name(&minor, &nameBuffer, GSS_C_NT_USER_NAME, &userName_);
        gss_buffer_desc passwordBuffer{password.size(), const_cast<char*>(password.data())};
        gss_OID_set_desc mechs{1, &ntlmOid_};
        gss_acquire_cred_with_password(&minor, userName_, &passwordBuffer, GSS_C_INDEFINITE, &mechs,
                                       GSS_C_INITIATE, &credential_, nullptr, nullptr);
        const std::string target = "HTTP@127.0.0.1";
        gss_buffer_desc targetBuffer{target.size(), const_cast<char*>(target.data())};
        gss_import_name(&minor, &targetBuffer, GSS_C_NT_HOSTBASED_SERVICE, &targetName_);
    }
    ~NtlmInitiator() {
        OM_uint32 minor = 0;
        if (context_ != GSS_C_NO_CONTEXT) gss_delete_sec_context(&minor, &context_, GSS_C_NO_BUFFER);
        if (credential_ != GSS_C_NO_CREDENTIAL) gss_release_cred(&minor, &credential_);
        gss_release_name(&minor, &userName_);
        gss_release_name(&minor, &targetName_);
    }
    NtlmInitiator(const NtlmInitiator&) = delete;
    NtlmInitiator& operator=(const NtlmInitiator&) = delete;

    // Feeds the server's token (empty at first); returns the next token to send, null on failure.
    std::optional<std::string> Step(const std::string& serverToken) {
        OM_uint32 minor = 0;
        gss_buffer_desc input{serverToken.size(), const_cast<char*>(serverToken.data())};
        gss_channel_bindings_struct bindings{};
        bindings.application_data = {channelBinding_.size(), channelBinding_.data()};
        const OM_uint32 major = gss_init_sec_context(
            &minor, credential_, &context_, targetName_, &ntlmOid_,
            GSS_C_CONF_FLAG | GSS_C_INTEG_FLAG | GSS_C_SEQUENCE_FLAG | GSS_C_REPLAY_FLAG, 0,
            channelBinding_.empty() ? GSS_C_NO_CHANNEL_BINDINGS : &bindings,
            serverToken.empty() ? GSS_C_NO_BUFFER : &input, nullptr, &output_, nullptr, nullptr);
        std::string token = Take();
        if (GSS_ERROR(major)) return std::nullopt;
        complete_ = !(major & GSS_S_CONTINUE_NEEDED);
        return token;
    }
    bool Complete() const { return complete_; }

    // A sealed request body and its Content-Type header.
    std::pair<std::string, std::string> Seal(const std::string& plaintext) {
        OM_uint32 minor = 0;
        gss_buffer_desc input{plaintext.size(), const_cast<char*>(plaintext.data())};
        gss_wrap(&minor, context_, 1, GSS_C_QOP_DEFAULT, &input, nullptr, &output_);
        const std::string wrapped = Take();
        const std::string sealed = wrapped.substr(16);
        const EncryptedBody parts{std::string(kSpnegoEncrypted), sealed.size(), wrapped.substr(0, 16),
                                  sealed};
        return {BuildEncryptedBody(parts), "Content-Type: " + EncryptedContentType(parts.protocol)};
    }

    std::optional<std::string> Unseal(const std::string& contentType, const std::string& body) {
        const auto parts = ParseEncryptedBody(contentType, body);
        if (!parts) return std::nullopt;
        const std::string token = parts->signature + parts->sealed;
        OM_uint32 minor = 0;
        gss_buffer_desc input{token.size(), const_cast<char*>(token.data())};
        const OM_uint32 major = gss_unwrap(&minor, context_, &input, &output_, nullptr, nullptr);
        std::string plaintext = Take();
        if (GSS_ERROR(major)) return std::nullopt;
        return plaintext;
    }

  private:
    std::string Take() {
        OM_uint32 minor = 0;
        std::string bytes = output_.value == nullptr
                                ? std::string{}
                                : std::string(static_cast<const char*>(output_.value), output_.length);
        gss_release_buffer(&minor, &output_);
        return bytes;
    }

    std::string channelBinding_;
    gss_OID_desc ntlmOid_{10, const_cast<char*>("\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a")};
    gss_name_t userName_ = GSS_C_NO_NAME;
    gss_name_t targetName_ = GSS_C_NO_NAME;
    gss_cred_id_t credential_ = GSS_C_NO_CREDENTIAL;
    gss_ctx_id_t context_ = GSS_C_NO_CONTEXT;
    gss_buffer_desc output_{0, nullptr};
    bool complete_ = false;
};

}  // namespace qnsim::test
