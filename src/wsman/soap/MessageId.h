// Random GUIDs in the "uuid:XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX" form Windows uses for MessageID and
// SessionId (upper-case hex, version 4).
#pragma once

#include <string>

namespace wsman::soap {

std::string NewUuidUrn();

}  // namespace wsman::soap
