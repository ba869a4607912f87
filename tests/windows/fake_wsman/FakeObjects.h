// The fake WSMan object: the root of connection options, sessions and enumerators.
#pragma once

#include <windows.h>
#include <wsmandisp.h>

namespace fake_wsman {

HRESULT CreateFakeWsman(REFIID iid, void** object);

}  // namespace fake_wsman
