#include "server/GssAcceptor.h"

#include <gssapi/gssapi_ext.h>

#include <cctype>
#include <cstring>
#include <vector>

namespace qnsim {
namespace {

constexpr char kKerberosOid[] = "\x2a\x86\x48\x86\xf7\x12\x01\x02\x02";  // 1.2.840.113554.1.2.2

struct ReleasedBuffer {
    gss_buffer_desc buffer{0, nullptr};
    ~ReleasedBuffer() {
        OM_uint32 minor = 0;
        gss_release_buffer(&minor, &buffer);
    }
    // Some mechanisms leave a null value with a stale length on failure.
    std::string Text() const {
        return buffer.value == nullptr ? std::string{}
                                       : std::string(static_cast<const char*>(buffer.value), buffer.length);
    }
};

struct ReleasedName {
    gss_name_t name = GSS_C_NO_NAME;
    ~ReleasedName() {
        OM_uint32 minor = 0;
        if (name != GSS_C_NO_NAME) gss_release_name(&minor, &name);
    }
};

std::string StatusText(OM_uint32 status, int type) {
    std::string text;
    OM_uint32 context = 0;
    do {
        OM_uint32 minor = 0;
        ReleasedBuffer message;
        if (gss_display_status(&minor, status, type, GSS_C_NO_OID, &context, &message.buffer) !=
            GSS_S_COMPLETE)
            break;
        if (!text.empty()) text += "; ";
        text += message.Text();
    } while (context != 0);
    return text;
}

gss_buffer_desc Input(std::string_view bytes) {
    return gss_buffer_desc{bytes.size(), const_cast<char*>(bytes.data())};
}

}  // namespace

namespace {

// Acquires an acceptor credential named HTTP@<host> over the users file and the keytab.
gss_cred_id_t AcquireNamed(const std::string& host, const std::string& ntlmUsersFile,
                           const std::string& keytab, std::string& error) {
    OM_uint32 minor = 0;
    ReleasedName acceptorName;
    const std::string serviceName = "HTTP@" + host;
    gss_buffer_desc nameBuffer = Input(serviceName);
    // gss-ntlmssp 1.2.0 fails with a user file and no acceptor name, so the name is always given.
    OM_uint32 major = gss_import_name(&minor, &nameBuffer, GSS_C_NT_HOSTBASED_SERVICE, &acceptorName.name);
    if (GSS_ERROR(major)) {
        error = "cannot import the acceptor name: " + StatusText(major, GSS_C_GSS_CODE);
        return GSS_C_NO_CREDENTIAL;
    }
    std::vector<gss_key_value_element_desc> elements;
    if (!ntlmUsersFile.empty()) elements.push_back({"ntlmssp_keyfile", ntlmUsersFile.c_str()});
    if (!keytab.empty()) elements.push_back({"keytab", keytab.c_str()});
    gss_key_value_set_desc store{static_cast<OM_uint32>(elements.size()), elements.data()};
    gss_cred_id_t credential = GSS_C_NO_CREDENTIAL;
    major = gss_acquire_cred_from(&minor, acceptorName.name, GSS_C_INDEFINITE, GSS_C_NO_OID_SET, GSS_C_ACCEPT,
                                  &store, &credential, nullptr, nullptr);
    if (GSS_ERROR(major)) {
        error = "cannot acquire the acceptor credential: " + StatusText(major, GSS_C_GSS_CODE) + " (" +
                StatusText(minor, GSS_C_MECH_CODE) + ")";
        return GSS_C_NO_CREDENTIAL;
    }
    return credential;
}

// "host:port", "[::1]:port" or "host" -> the host name, lower case.
std::string HostOf(std::string_view hostHeader) {
    std::string_view host = hostHeader;
    if (!host.empty() && host.front() == '[') {
        const std::size_t close = host.find(']');
        host = host.substr(1, close == std::string_view::npos ? std::string_view::npos : close - 1);
    } else if (const std::size_t colon = host.rfind(':');
               colon != std::string_view::npos && host.find(':') == colon) {
        host = host.substr(0, colon);
    }
    std::string lower(host);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

}  // namespace

std::unique_ptr<AcceptorCredential> AcceptorCredential::Acquire(const std::string& ntlmUsersFile,
                                                                const std::string& keytab,
                                                                std::string& error) {
    const gss_cred_id_t credential = AcquireNamed("localhost", ntlmUsersFile, keytab, error);
    if (credential == GSS_C_NO_CREDENTIAL) return nullptr;
    return std::unique_ptr<AcceptorCredential>(new AcceptorCredential(credential, ntlmUsersFile, keytab));
}

gss_cred_id_t AcceptorCredential::HandleFor(std::string_view hostHeader) const {
    const std::string host = HostOf(hostHeader);
    if (host.empty() || host == "localhost") return credential_;
    std::lock_guard<std::mutex> lock(perHostMutex_);
    if (auto found = perHost_.find(host); found != perHost_.end()) return found->second;
    std::string ignored;
    gss_cred_id_t credential = AcquireNamed(host, ntlmUsersFile_, keytab_, ignored);
    if (credential == GSS_C_NO_CREDENTIAL) credential = credential_;
    perHost_.emplace(host, credential);
    return credential;
}

AcceptorCredential::~AcceptorCredential() {
    OM_uint32 minor = 0;
    for (auto& [host, credential] : perHost_)
        if (credential != credential_ && credential != GSS_C_NO_CREDENTIAL)
            gss_release_cred(&minor, &credential);
    if (credential_ != GSS_C_NO_CREDENTIAL) gss_release_cred(&minor, &credential_);
}

SecurityContext::~SecurityContext() {
    OM_uint32 minor = 0;
    if (context_ != GSS_C_NO_CONTEXT) gss_delete_sec_context(&minor, &context_, GSS_C_NO_BUFFER);
}

SecurityContext::StepResult SecurityContext::Accept(const AcceptorCredential& credential,
                                                    std::string_view token, std::string_view hostHeader,
                                                    std::string_view channelBinding) {
    StepResult result;
    if (established_ || token.empty()) return result;
    OM_uint32 minor = 0;
    gss_buffer_desc input = Input(token);
    ReleasedBuffer output;
    ReleasedName source;
    gss_OID mech = GSS_C_NO_OID;
    gss_channel_bindings_struct bindings{};
    bindings.application_data = Input(channelBinding);
    const OM_uint32 major =
        gss_accept_sec_context(&minor, &context_, credential.HandleFor(hostHeader), &input,
                               channelBinding.empty() ? GSS_C_NO_CHANNEL_BINDINGS : &bindings, &source.name,
                               &mech, &output.buffer, nullptr, nullptr, nullptr);
    result.outputToken = output.Text();
    if (GSS_ERROR(major)) {
        result.step = Step::Failed;
        return result;
    }
    if (major & GSS_S_CONTINUE_NEEDED) {
        result.step = Step::Continue;
        return result;
    }
    established_ = true;
    result.step = Step::Complete;
    // The negotiated mechanism (SPNEGO reports what it chose inside).
    gss_OID actualMech = GSS_C_NO_OID;
    if (!GSS_ERROR(gss_inquire_context(&minor, context_, nullptr, nullptr, nullptr, &actualMech, nullptr,
                                       nullptr, nullptr)) &&
        actualMech != GSS_C_NO_OID)
        mech = actualMech;
    mechanism_ = mech != GSS_C_NO_OID && mech->length == sizeof kKerberosOid - 1 &&
                         std::memcmp(mech->elements, kKerberosOid, mech->length) == 0
                     ? Mechanism::Kerberos
                     : Mechanism::Ntlm;
    ReleasedBuffer display;
    if (!GSS_ERROR(gss_display_name(&minor, source.name, &display.buffer, nullptr))) {
        peerName_ = display.Text();
        // gss-ntlmssp counts the terminating NUL in the length.
        while (!peerName_.empty() && peerName_.back() == '\0') peerName_.pop_back();
    }
    return result;
}

std::optional<std::string> SecurityContext::Unseal(const EncryptedBody& body) {
    if (!established_) return std::nullopt;
    const std::string token = body.signature + body.sealed;
    OM_uint32 minor = 0;
    gss_buffer_desc input = Input(token);
    ReleasedBuffer output;
    int confidential = 0;
    const OM_uint32 major = gss_unwrap(&minor, context_, &input, &output.buffer, &confidential, nullptr);
    if (GSS_ERROR(major) || !confidential) return std::nullopt;
    std::string plaintext = output.Text();
    // Kerberos may pad; the announced length counts the padding.
    if (plaintext.size() > body.originalLength) return std::nullopt;
    return plaintext;
}

std::optional<EncryptedBody> SecurityContext::Seal(std::string_view plaintext, std::string_view protocol) {
    if (!established_ || plaintext.empty()) return std::nullopt;
    EncryptedBody body;
    body.protocol = protocol;
    OM_uint32 minor = 0;
    if (mechanism_ == Mechanism::Kerberos) {
        // Windows seals Kerberos replies as HEADER | DATA | PADDING, the header going in front of the data.
        std::string data(plaintext);
        gss_iov_buffer_desc iov[3] = {};
        iov[0].type = GSS_IOV_BUFFER_TYPE_HEADER | GSS_IOV_BUFFER_FLAG_ALLOCATE;
        iov[1].type = GSS_IOV_BUFFER_TYPE_DATA;
        iov[1].buffer = Input(data);
        iov[2].type = GSS_IOV_BUFFER_TYPE_PADDING | GSS_IOV_BUFFER_FLAG_ALLOCATE;
        const OM_uint32 major = gss_wrap_iov(&minor, context_, 1, GSS_C_QOP_DEFAULT, nullptr, iov, 3);
        if (GSS_ERROR(major)) {
            gss_release_iov_buffer(&minor, iov, 3);
            return std::nullopt;
        }
        body.signature.assign(static_cast<const char*>(iov[0].buffer.value), iov[0].buffer.length);
        body.sealed = data;
        if (iov[2].buffer.value != nullptr)
            body.sealed.append(static_cast<const char*>(iov[2].buffer.value), iov[2].buffer.length);
        gss_release_iov_buffer(&minor, iov, 3);
        body.originalLength = body.sealed.size();
        return body;
    }
    gss_buffer_desc input = Input(plaintext);
    ReleasedBuffer output;
    int confidential = 0;
    const OM_uint32 major =
        gss_wrap(&minor, context_, 1, GSS_C_QOP_DEFAULT, &input, &confidential, &output.buffer);
    if (GSS_ERROR(major) || !confidential || output.buffer.length < plaintext.size()) return std::nullopt;
    // NTLM: signature(16) || sealed bytes, sealed length equal to the plaintext length.
    const std::string wrapped = output.Text();
    const std::size_t signatureLength = wrapped.size() - plaintext.size();
    body.signature = wrapped.substr(0, signatureLength);
    body.sealed = wrapped.substr(signatureLength);
    body.originalLength = plaintext.size();
    return body;
}

}  // namespace qnsim
