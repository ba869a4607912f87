// INI ("profile") files with the semantics of the Windows private-profile calls the trace log relies on.
// Section and key names compare without regard to ASCII case. `file` is a module path (see FileSystem.h).
#pragma once

#include <cstdint>

namespace qn::platform {

// GetPrivateProfileIntA: the leading decimal number of the key's value; `defaultValue` when the section or
// key is missing, 0 when the value does not start with a number.
std::uint32_t ProfileGetInt(const char* section, const char* key, std::int32_t defaultValue,
                            const char* file);

// GetPrivateProfileSectionA: every non-empty line of the section as a multi-string (each line NUL-terminated,
// one more NUL at the end). Returns the characters copied without the final NUL; when the section does not
// fit, as much as fits is copied and the result is `size` - 2.
std::uint32_t ProfileGetSection(const char* section, char* buffer, std::uint32_t size, const char* file);

// WritePrivateProfileSectionA: replaces the section's lines with those of the multi-string `lines`; null
// deletes the section. Returns nonzero on success.
int ProfileWriteSection(const char* section, const char* lines, const char* file);

// WritePrivateProfileStringA: sets key=value in the section (creating both); a null `value` deletes the
// key, a null `key` deletes the section. Returns nonzero on success.
int ProfileWriteString(const char* section, const char* key, const char* value, const char* file);

}  // namespace qn::platform
