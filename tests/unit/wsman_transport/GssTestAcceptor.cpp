#include "GssTestAcceptor.h"

#include <gssapi/gssapi_ext.h>

namespace wsman::test {

security::GssCredential AcquireAcceptorCredential(const std::string& usersFile) {
    OM_uint32 minor = 0;
    security::GssName name;
    const std::string service = "HTTP@localhost";
    gss_buffer_desc serviceBuffer = security::BorrowBuffer(service);
    gss_import_name(&minor, &serviceBuffer, GSS_C_NT_HOSTBASED_SERVICE, name.Out());
    gss_key_value_element_desc element{"ntlmssp_keyfile", usersFile.c_str()};
    gss_key_value_set_desc store{1, &element};
    security::GssCredential credential;
    gss_acquire_cred_from(&minor, name.Get(), GSS_C_INDEFINITE, GSS_C_NO_OID_SET, GSS_C_ACCEPT, &store,
                          credential.Out(), nullptr, nullptr);
    return credential;
}

OM_uint32 GssTestAcceptor::Step(const std::string& input, std::string& output) {
    OM_uint32 minor = 0;
    gss_buffer_desc in = security::BorrowBuffer(input);
    security::GssBuffer out;
    const OM_uint32 major =
        gss_accept_sec_context(&minor, context_.InOut(), credential_, &in, GSS_C_NO_CHANNEL_BINDINGS, nullptr,
                               nullptr, out.Out(), nullptr, nullptr, nullptr);
    output = out.ToString();
    complete_ = major == GSS_S_COMPLETE;
    return major;
}

bool GssTestAcceptor::Wrap(const std::string& plaintext, std::string& header, std::string& sealed) {
    OM_uint32 minor = 0;
    gss_buffer_desc in = security::BorrowBuffer(plaintext);
    security::GssBuffer out;
    int encrypted = 0;
    if (GSS_ERROR(gss_wrap(&minor, context_.Get(), 1, GSS_C_QOP_DEFAULT, &in, &encrypted, out.Out()))) {
        return false;
    }
    const std::string token = out.ToString();
    const std::size_t headerLength = token.size() - plaintext.size();
    header = token.substr(0, headerLength);
    sealed = token.substr(headerLength);
    return true;
}

bool GssTestAcceptor::Unwrap(const std::string& token, std::string& plaintext) {
    OM_uint32 minor = 0;
    gss_buffer_desc in = security::BorrowBuffer(token);
    security::GssBuffer out;
    int encrypted = 0;
    if (GSS_ERROR(gss_unwrap(&minor, context_.Get(), &in, out.Out(), &encrypted, nullptr)) || !encrypted) {
        return false;
    }
    plaintext = out.ToString();
    return true;
}

}  // namespace wsman::test
