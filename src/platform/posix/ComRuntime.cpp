// POSIX has no COM: entering and leaving it always succeed.
#include "platform/ComRuntime.h"

namespace qn::platform {

HResult ComInitializeMultithreaded() {
    return 0;
}  // S_OK
void ComUninitialize() {}

}  // namespace qn::platform
