// The fake WSMan object, root of connection options, sessions and enumerators, and the count of live objects
// and server locks that DllCanUnloadNow reports.
#pragma once

#include <windows.h>

#include <atomic>

namespace fake_wsman {

extern std::atomic<long> g_serverReferences;

HRESULT CreateFakeWsman(REFIID iid, void** object);

}  // namespace fake_wsman
