#include "wsman/security/GssMechanisms.h"

#include <gssapi/gssapi_krb5.h>

namespace wsman::security {
namespace {

// 1.3.6.1.5.5.2 and 1.3.6.1.4.1.311.2.2.10; the OIDs are literals so gss-ntlmssp-dev is not needed to build.
gss_OID_desc spnegoOid{6, const_cast<char*>("\x2b\x06\x01\x05\x05\x02")};
gss_OID_desc ntlmOid{10, const_cast<char*>("\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a")};

}  // namespace

gss_OID MechanismOid(GssMechanism mechanism) {
    switch (mechanism) {
        case GssMechanism::Spnego:
            return &spnegoOid;
        case GssMechanism::Kerberos:
            return const_cast<gss_OID>(gss_mech_krb5);
        case GssMechanism::Ntlm:
            return &ntlmOid;
    }
    return GSS_C_NO_OID;
}

std::unique_lock<std::mutex> NtlmLibraryTurn(GssMechanism mechanism) {
    static std::mutex ntlmLibrary;
    return mechanism == GssMechanism::Ntlm ? std::unique_lock<std::mutex>(ntlmLibrary)
                                           : std::unique_lock<std::mutex>();
}

}  // namespace wsman::security
