// The GSSAPI mechanisms WinRM authentication can run on.
#pragma once

#include <gssapi/gssapi.h>

#include <mutex>

namespace wsman::security {

enum class GssMechanism {
    Spnego,    // Negotiate: Kerberos first, NTLM when Kerberos cannot be used
    Kerberos,  // Kerberos only
    Ntlm,      // raw NTLMSSP tokens (sent under the Negotiate scheme, as Windows accepts)
};

gss_OID MechanismOid(GssMechanism mechanism);

// gss-ntlmssp asks winbind (libwbclient) while it acquires credentials and establishes a context, and
// libwbclient formats into a global buffer: two NTLM logins on two threads race there. Those NTLM calls are
// local computations, so they take turns under this lock; Kerberos, whose calls may wait for a KDC, does not.
std::unique_lock<std::mutex> NtlmLibraryTurn(GssMechanism mechanism);

}  // namespace wsman::security
