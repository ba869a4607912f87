// Entering and leaving COM. Windows enters the multithreaded apartment; POSIX has no COM and succeeds, so
// the callers' code is the same on both.
#pragma once

#include "wsman/core/HResult.h"

namespace qn::platform {

using wsman::HResult;

// CoInitializeEx(NULL, COINIT_MULTITHREADED): S_OK, S_FALSE or a failure code.
HResult ComInitializeMultithreaded();
// CoUninitialize.
void ComUninitialize();

}  // namespace qn::platform
