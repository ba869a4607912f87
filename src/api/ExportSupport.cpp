#include "api/ExportSupport.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace qn::api {

void ZeroBuffer(char* buffer, std::uint32_t size) {
    if (buffer != nullptr && size != 0) {
        std::memset(buffer, 0, size);
    }
}

void CopyToBuffer(const char* text, char* buffer, std::uint32_t size) {
    if (buffer == nullptr || size == 0) {
        return;
    }
    std::strncpy(buffer, text != nullptr ? text : "", size);
    buffer[size - 1] = '\0';
}

void JoinForCaller(CQncListString& list, CQncString& out, std::uint32_t bufferSize) {
    list.separator = "||";
    list.separatorLength = 2;
    list.altSeparator = "";
    list.Sort();
    // A size beyond the join's signed limit cannot be reached by any text anyway.
    const int limit = static_cast<int>(std::min<std::uint32_t>(bufferSize, INT_MAX));
    list.Join(out, limit);
}

}  // namespace qn::api
