// The GSSAPI mechanisms WinRM authentication can run on.
#pragma once

#include <gssapi/gssapi.h>

namespace wsman::security {

enum class GssMechanism {
    Spnego,    // Negotiate: Kerberos first, NTLM when Kerberos cannot be used
    Kerberos,  // Kerberos only
    Ntlm,      // raw NTLMSSP tokens (sent under the Negotiate scheme, as Windows accepts)
};

gss_OID MechanismOid(GssMechanism mechanism);

}  // namespace wsman::security
