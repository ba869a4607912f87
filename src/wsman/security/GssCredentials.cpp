#include "wsman/security/GssCredentials.h"

#include <gssapi/gssapi_ext.h>
#include <krb5.h>

#include "wsman/security/GssStatus.h"

namespace wsman::security {

namespace {

CredentialProblem ClassifyMinorStatus(OM_uint32 minor) {
    switch (static_cast<krb5_error_code>(minor)) {
        case KRB5KDC_ERR_PREAUTH_FAILED:
        case KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN:
        case KRB5KRB_AP_ERR_BAD_INTEGRITY:
        case KRB5KDC_ERR_CLIENT_REVOKED:
        case KRB5KDC_ERR_KEY_EXP:
            return CredentialProblem::Rejected;
        case KRB5_KDC_UNREACH:
        case KRB5_REALM_UNKNOWN:
        case KRB5_REALM_CANT_RESOLVE:
        case KRB5_CONFIG_NODEFREALM:
            return CredentialProblem::NoAuthority;
        default:
            return CredentialProblem::Other;
    }
}

}  // namespace

GssCredentials::GssCredentials(GssMechanism mechanism, std::string userName, std::string password)
    : mechanism_(mechanism), userName_(std::move(userName)), password_(std::move(password)) {}

bool GssCredentials::Acquire(std::string& error, CredentialProblem& problem) {
    if (acquired_) {
        return true;
    }
    if (userName_.empty()) {
        // GSS_C_NO_CREDENTIAL: the mechanism picks the default identity when the context starts.
        acquired_ = true;
        return true;
    }
    OM_uint32 minor = 0;
    GssName name;
    gss_buffer_desc nameBuffer = BorrowBuffer(userName_);
    OM_uint32 major = gss_import_name(&minor, &nameBuffer, GSS_C_NT_USER_NAME, name.Out());
    if (GSS_ERROR(major)) {
        error = DescribeGssStatus("gss_import_name(" + userName_ + ")", major, minor);
        problem = CredentialProblem::Other;
        return false;
    }
    gss_OID_desc mechanismOid = *MechanismOid(mechanism_);
    gss_OID_set_desc mechanisms{1, &mechanismOid};
    gss_buffer_desc passwordBuffer = BorrowBuffer(password_);
    const std::unique_lock<std::mutex> turn = NtlmLibraryTurn(mechanism_);
    major = gss_acquire_cred_with_password(&minor, name.Get(), &passwordBuffer, GSS_C_INDEFINITE, &mechanisms,
                                           GSS_C_INITIATE, credential_.Out(), nullptr, nullptr);
    if (GSS_ERROR(major)) {
        error = DescribeGssStatus("gss_acquire_cred_with_password(" + userName_ + ")", major, minor,
                                  MechanismOid(mechanism_));
        problem = ClassifyMinorStatus(minor);
        return false;
    }
    acquired_ = true;
    return true;
}

void GssCredentials::Forget() {
    credential_.Reset();
    acquired_ = false;
}

}  // namespace wsman::security
