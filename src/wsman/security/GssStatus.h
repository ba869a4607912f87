// Readable text for a failed GSSAPI call, from the mechanism's own messages.
#pragma once

#include <gssapi/gssapi.h>

#include <string>

namespace wsman::security {

// "gss_init_sec_context: <major text> (<minor text>)"; never contains credentials.
std::string DescribeGssStatus(const std::string& call, OM_uint32 major, OM_uint32 minor,
                              gss_OID mech = GSS_C_NO_OID);

}  // namespace wsman::security
