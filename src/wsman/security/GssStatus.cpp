#include "wsman/security/GssStatus.h"

#include "wsman/security/GssHandles.h"

namespace wsman::security {
namespace {

std::string StatusText(OM_uint32 code, int type, gss_OID mech) {
    std::string text;
    OM_uint32 context = 0;
    do {
        OM_uint32 minor = 0;
        GssBuffer message;
        if (gss_display_status(&minor, code, type, mech, &context, message.Out()) != GSS_S_COMPLETE) {
            break;
        }
        std::string part = message.ToString();
        while (!part.empty() && part.back() == '\0') {
            part.pop_back();
        }
        if (!text.empty()) {
            text += "; ";
        }
        text += part;
    } while (context != 0);
    return text;
}

}  // namespace

std::string DescribeGssStatus(const std::string& call, OM_uint32 major, OM_uint32 minor, gss_OID mech) {
    std::string text = call + ": " + StatusText(major, GSS_C_GSS_CODE, GSS_C_NO_OID);
    if (minor != 0) {
        text += " (" + StatusText(minor, GSS_C_MECH_CODE, mech) + ")";
    }
    return text;
}

}  // namespace wsman::security
