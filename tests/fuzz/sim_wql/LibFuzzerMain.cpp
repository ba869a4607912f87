#include "WqlFuzzTarget.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzWqlQuery(data, size);
    return 0;
}
