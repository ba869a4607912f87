// Profile files through the Windows private-profile calls themselves.
#include "platform/ProfileFile.h"

#include <windows.h>

namespace qn::platform {

std::uint32_t ProfileGetInt(const char* section, const char* key, std::int32_t defaultValue,
                            const char* file) {
    return GetPrivateProfileIntA(section, key, defaultValue, file);
}

std::uint32_t ProfileGetSection(const char* section, char* buffer, std::uint32_t size, const char* file) {
    return GetPrivateProfileSectionA(section, buffer, size, file);
}

int ProfileWriteSection(const char* section, const char* lines, const char* file) {
    return WritePrivateProfileSectionA(section, lines, file) ? 1 : 0;
}

int ProfileWriteString(const char* section, const char* key, const char* value, const char* file) {
    return WritePrivateProfileStringA(section, key, value, file) ? 1 : 0;
}

}  // namespace qn::platform
