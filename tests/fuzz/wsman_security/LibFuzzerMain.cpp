#include <cstddef>
#include <cstdint>

#include "SecurityParsersFuzzTarget.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    wsman::fuzz::FuzzSecurityParsers(data, size);
    return 0;
}
