#include "SoapReplyFuzzTarget.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzSoapReply(data, size);
    return 0;
}
