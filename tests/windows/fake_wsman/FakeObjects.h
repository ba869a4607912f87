// The fake WSMan object, root of connection options, sessions and enumerators.
#pragma once

#include <windows.h>

namespace fake_wsman {

HRESULT CreateFakeWsman(REFIID iid, void** object);

}  // namespace fake_wsman
