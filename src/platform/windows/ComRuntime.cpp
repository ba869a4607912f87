#include "platform/ComRuntime.h"

#include <objbase.h>

namespace qn::platform {

HResult ComInitializeMultithreaded() {
    return CoInitializeEx(nullptr, COINIT_MULTITHREADED);
}

void ComUninitialize() {
    CoUninitialize();
}

}  // namespace qn::platform
