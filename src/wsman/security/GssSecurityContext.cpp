#include "wsman/security/GssSecurityContext.h"

#include <gssapi/gssapi_ext.h>

#include "wsman/security/GssStatus.h"

namespace wsman::security {

GssSecurityContext::GssSecurityContext(const GssCredentials& credentials, const std::string& targetHost,
                                       std::string channelBinding)
    : credentials_(credentials), targetHost_(targetHost), channelBinding_(std::move(channelBinding)) {}

GssSecurityContext::StepResult GssSecurityContext::Step(const std::string& inputToken) {
    StepResult result;
    OM_uint32 minor = 0;
    if (!target_) {
        const std::string service = "HTTP@" + targetHost_;
        gss_buffer_desc serviceBuffer = BorrowBuffer(service);
        result.major = gss_import_name(&minor, &serviceBuffer, GSS_C_NT_HOSTBASED_SERVICE, target_.Out());
        if (GSS_ERROR(result.major)) {
            result.error = DescribeGssStatus("gss_import_name(" + service + ")", result.major, minor);
            return result;
        }
    }
    gss_channel_bindings_struct bindings{};
    bindings.initiator_addrtype = GSS_C_AF_UNSPEC;
    bindings.acceptor_addrtype = GSS_C_AF_UNSPEC;
    bindings.application_data = BorrowBuffer(channelBinding_);

    OM_uint32 requested = GSS_C_CONF_FLAG | GSS_C_INTEG_FLAG | GSS_C_SEQUENCE_FLAG | GSS_C_REPLAY_FLAG;
    if (credentials_.Mechanism() != GssMechanism::Ntlm) {
        requested |= GSS_C_MUTUAL_FLAG;  // Kerberos proves the server's identity with its AP-REP
    }
    gss_buffer_desc input = BorrowBuffer(inputToken);
    GssBuffer output;
    gss_OID mechanism = MechanismOid(credentials_.Mechanism());
    const std::unique_lock<std::mutex> turn = NtlmLibraryTurn(credentials_.Mechanism());
    result.major = gss_init_sec_context(
        &minor, credentials_.Handle(), context_.InOut(), target_.Get(), mechanism, requested,
        GSS_C_INDEFINITE, channelBinding_.empty() ? GSS_C_NO_CHANNEL_BINDINGS : &bindings,
        inputToken.empty() ? GSS_C_NO_BUFFER : &input, nullptr, output.Out(), &grantedFlags_, nullptr);
    result.outputToken = output.ToString();
    if (GSS_ERROR(result.major)) {
        result.error = DescribeGssStatus("gss_init_sec_context(HTTP@" + targetHost_ + ")", result.major,
                                         minor, mechanism);
        return result;
    }
    complete_ = (result.major & GSS_S_CONTINUE_NEEDED) == 0;
    result.status = complete_ ? Status::Complete : Status::Continue;
    return result;
}

bool GssSecurityContext::Wrap(const std::string& plaintext, std::string& header, std::string& sealed,
                              std::string& error) {
    if (plaintext.empty()) {
        error = "refusing to seal an empty message";  // GSSAPI rejects it and Windows never sends one
        return false;
    }
    if (!iovUnavailable_ && WrapWithIov(plaintext, header, sealed, error)) {
        return true;
    }
    if (!iovUnavailable_) {
        return false;
    }
    OM_uint32 minor = 0;
    int encrypted = 0;
    gss_buffer_desc input = BorrowBuffer(plaintext);
    GssBuffer output;
    const OM_uint32 major =
        gss_wrap(&minor, context_.Get(), 1, GSS_C_QOP_DEFAULT, &input, &encrypted, output.Out());
    if (GSS_ERROR(major) || !encrypted || output.Size() < plaintext.size()) {
        error = GSS_ERROR(major) ? DescribeGssStatus("gss_wrap", major, minor) : "gss_wrap did not encrypt";
        return false;
    }
    // NTLM: signature first, then data sealed in place (same length as the plaintext).
    const std::string wrapped = output.ToString();
    const std::size_t headerLength = wrapped.size() - plaintext.size();
    header = wrapped.substr(0, headerLength);
    sealed = wrapped.substr(headerLength);
    return true;
}

bool GssSecurityContext::WrapWithIov(const std::string& plaintext, std::string& header, std::string& sealed,
                                     std::string& error) {
    OM_uint32 minor = 0;
    std::string data = plaintext;  // sealed in place
    gss_iov_buffer_desc iov[3]{};
    iov[0].type = GSS_IOV_BUFFER_TYPE_HEADER | GSS_IOV_BUFFER_FLAG_ALLOCATE;
    iov[1].type = GSS_IOV_BUFFER_TYPE_DATA;
    iov[1].buffer = BorrowBuffer(data);
    iov[2].type = GSS_IOV_BUFFER_TYPE_PADDING | GSS_IOV_BUFFER_FLAG_ALLOCATE;
    int encrypted = 0;
    const OM_uint32 major = gss_wrap_iov(&minor, context_.Get(), 1, GSS_C_QOP_DEFAULT, &encrypted, iov, 3);
    if (GSS_ROUTINE_ERROR(major) == GSS_S_UNAVAILABLE) {
        iovUnavailable_ = true;
        return false;
    }
    if (GSS_ERROR(major) || !encrypted) {
        error = GSS_ERROR(major) ? DescribeGssStatus("gss_wrap_iov", major, minor)
                                 : "gss_wrap_iov did not encrypt";
        gss_release_iov_buffer(&minor, iov, 3);
        return false;
    }
    header.assign(static_cast<const char*>(iov[0].buffer.value), iov[0].buffer.length);
    sealed = std::move(data);
    sealed.append(static_cast<const char*>(iov[2].buffer.value), iov[2].buffer.length);
    gss_release_iov_buffer(&minor, iov, 3);
    return true;
}

bool GssSecurityContext::Unwrap(char* token, std::size_t length, std::string& plaintext, std::string& error) {
    OM_uint32 minor = 0;
    int encrypted = 0;
    if (!iovUnavailable_) {
        // The whole token as a stream: the mechanism finds header, data and padding in it and decrypts the
        // data where it lies, so a reply is never copied to be unsealed.
        gss_iov_buffer_desc iov[2]{};
        iov[0].type = GSS_IOV_BUFFER_TYPE_STREAM;
        iov[0].buffer.value = token;
        iov[0].buffer.length = length;
        iov[1].type = GSS_IOV_BUFFER_TYPE_DATA;
        const OM_uint32 major = gss_unwrap_iov(&minor, context_.Get(), &encrypted, nullptr, iov, 2);
        if (GSS_ROUTINE_ERROR(major) != GSS_S_UNAVAILABLE) {
            if (GSS_ERROR(major)) {
                error = DescribeGssStatus("gss_unwrap_iov", major, minor);
                return false;
            }
            if (!encrypted) {
                error = "the reply was signed but not encrypted";
                return false;
            }
            plaintext.append(static_cast<const char*>(iov[1].buffer.value), iov[1].buffer.length);
            return true;
        }
        iovUnavailable_ = true;
    }
    gss_buffer_desc input{length, token};
    GssBuffer output;
    const OM_uint32 major = gss_unwrap(&minor, context_.Get(), &input, output.Out(), &encrypted, nullptr);
    if (GSS_ERROR(major)) {
        error = DescribeGssStatus("gss_unwrap", major, minor);
        return false;
    }
    if (!encrypted) {
        error = "the reply was signed but not encrypted";
        return false;
    }
    plaintext.append(static_cast<const char*>(output.Data()), output.Size());
    return true;
}

}  // namespace wsman::security
