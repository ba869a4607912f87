#include "ConnectHint.h"

#include <cstdint>
#include <cstdio>

namespace qnhost {

namespace {

// The code after "0x" in the module's text ("WMI/WinRM Error 0x%08X..."), or 0.
std::uint32_t CodeIn(const std::string& error) {
    const std::size_t at = error.find("0x");
    unsigned code = 0;
    if (at == std::string::npos || std::sscanf(error.c_str() + at, "0x%8X", &code) != 1) return 0;
    return code;
}

}  // namespace

std::string ConnectHint(const std::string& error, const ConnectSettings& settings) {
    const std::string endpoint = std::string(settings.ssl ? "https://" : "http://") + settings.computer +
                                 ":" + std::to_string(settings.port) + "/wsman";
    const std::string otherPort = settings.ssl ? "5985 without --ssl" : "5986 with --ssl";
    switch (CodeIn(error)) {
        case 0x80338012:
            return "no WinRM listener answered at " + endpoint +
                   " (the connection was refused or closed): check the computer name and the port (WinRM "
                   "listens on 5985 for HTTP and on 5986 for HTTPS, --ssl), that WinRM runs there (winrm "
                   "quickconfig) and that no firewall blocks it";
        case 0x80338126:
            return settings.computer + ":" + std::to_string(settings.port) +
                   " did not answer in time: the computer may be down, or a firewall drops the connection";
        case 0x803381B9:
            return "the name " + settings.computer +
                   " does not resolve: check its spelling and DNS, or give the computer's address";
        case 0x80070005:
            return "the computer refused the login: check the user name (DOMAIN\\user, user@REALM or user) "
                   "and "
                   "the password, and that the account may use WinRM (Administrators or Remote Management "
                   "Users)";
        case 0x80070523:
            return "give the user as user, DOMAIN\\user or user@REALM";
        case 0x80072F8F:
            return "the certificate of " + settings.computer +
                   " is not trusted or names another computer: add its CA with the TrustedCAFile setting, or "
                   "pin it with CertificateThumbprintSHA256 (man qnsnwsm)";
        case 0x803381BA:
            return "the TLS handshake with " + endpoint + " failed: is an HTTPS listener on that port? (" +
                   otherPort + ")";
        case 0x80338113:
            return endpoint + " answered, but it is not a WinRM listener: check the port (" + otherPort + ")";
        case 0x80090311:
            return "no Kerberos KDC answered for the user's realm: check the realm in /etc/krb5.conf, or "
                   "give "
                   "the user as DOMAIN\\user to use NTLM";
        default:
            return {};
    }
}

}  // namespace qnhost
