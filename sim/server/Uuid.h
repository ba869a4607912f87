// Message ids and enumeration contexts as Windows writes them: "uuid:" and an upper-case GUID.
#pragma once

#include <string>

namespace qnsim {

std::string NewUuidText();  // "uuid:XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX"

}  // namespace qnsim
