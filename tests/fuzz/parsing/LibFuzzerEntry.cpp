#include "RecordItemFuzzTarget.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzRecordItem(data, size);
    return 0;
}
