// What Negotiate authenticates with for a configured user name. A Windows client asks the domain
// controller of the user's domain; on Linux, Kerberos only knows the realms of its krb5
// configuration and would otherwise look for the KDC of the default realm, which usually has
// nothing to do with the Windows domain and costs resolver time-outs on every connection.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wsman/security/GssMechanisms.h"

namespace wsman::security {

struct NegotiateIdentity {
    GssMechanism mechanism = GssMechanism::Spnego;
    std::string userName;  // the name the credential is acquired for
};

// The realms the local krb5 configuration declares: its [realms] sections and
// libdefaults/default_realm. Only the profile files are read; nothing is looked up on the network.
struct ConfiguredRealms {
    std::vector<std::string> realms;
    std::string defaultRealm;
};

ConfiguredRealms ReadConfiguredRealms();

// The realm configured for the Windows domain `domain` (case-insensitive): a realm of that very
// name, else one whose first DNS label is the domain ("LAB" -> "LAB.EXAMPLE.COM"). When several
// realms share that label, the default realm wins if it is one of them; otherwise none is chosen.
std::optional<std::string> RealmForDomain(std::string_view domain, const ConfiguredRealms& configured);

// - empty: the caller's own credentials through SPNEGO (the ticket cache);
// - "user@REALM": SPNEGO (Kerberos, NTLM fallback);
// - "DOMAIN\user": SPNEGO as "user@REALM" when the krb5 configuration has a realm for DOMAIN,
//   raw NTLM otherwise;
// - "user": raw NTLM.
NegotiateIdentity ChooseNegotiateIdentity(const std::string& userName);

}  // namespace wsman::security
