#include "wsman/security/GssCredentials.h"

#include <gssapi/gssapi_ext.h>

#include "wsman/security/GssStatus.h"

namespace wsman::security {

GssCredentials::GssCredentials(GssMechanism mechanism, std::string userName, std::string password)
    : mechanism_(mechanism), userName_(std::move(userName)), password_(std::move(password)) {}

bool GssCredentials::Acquire(std::string& error) {
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
        return false;
    }
    gss_OID_desc mechanismOid = *MechanismOid(mechanism_);
    gss_OID_set_desc mechanisms{1, &mechanismOid};
    gss_buffer_desc passwordBuffer = BorrowBuffer(password_);
    major = gss_acquire_cred_with_password(&minor, name.Get(), &passwordBuffer, GSS_C_INDEFINITE, &mechanisms,
                                           GSS_C_INITIATE, credential_.Out(), nullptr, nullptr);
    if (GSS_ERROR(major)) {
        error = DescribeGssStatus("gss_acquire_cred_with_password(" + userName_ + ")", major, minor,
                                  MechanismOid(mechanism_));
        return false;
    }
    acquired_ = true;
    return true;
}

}  // namespace wsman::security
