// Registry and profile helpers. On POSIX the "registry" is the configuration store of platform/ConfigStore.h.
#pragma once

#include "base/QncString.h"
#include "platform/ConfigStore.h"

inline constexpr qn::platform::ConfigRoot kHkeyLocalMachine = qn::platform::ConfigRoot::LocalMachine;
inline constexpr const char* kQncProductKey = "Software\\Quillon\\Sentrel";

// 1 when the key exists or could be created, 0 otherwise.
int EnsureRegistryKey(qn::platform::ConfigRoot root, const char* subKey);
// Opens for reading with the 64-bit view first, without it only after access denied. Returns the error code.
qn::platform::ConfigError OpenRegistryKeyForRead(qn::platform::ConfigRoot root, const char* subKey,
                                                 qn::platform::ConfigKey& key);
// Opens for writing with the same fallback. Returns the error code.
qn::platform::ConfigError OpenRegistryKeyForWrite(qn::platform::ConfigRoot root, const char* subKey,
                                                  qn::platform::ConfigKey& key);
// value := the REG_SZ value read into a zeroed buffer of `bufferSize` bytes (bufferSize - 1 passed as its
// size); on any failure value is empty and the error code is returned.
qn::platform::ConfigError QueryRegistryString(qn::platform::ConfigRoot root, const char* subKey,
                                              const char* valueName, CQncString& value,
                                              unsigned bufferSize = 512);
// 0 when stored, -1 otherwise.
int SetRegistryString(qn::platform::ConfigRoot root, const char* subKey, const char* valueName,
                      const char* value);
// folder := "ProgFilesFolder", trimmed and ending in "\\" when not empty; the normalised text is written
// back. When none is configured, the platform's default folder (the installed data folder on POSIX).
void GetProgFilesFolder(CQncString& folder);

// WritePrivateProfileStringA of `value` as "%d".
int WriteProfileInt(const char* section, const char* key, int value, const char* file);
// Deletes the section "Log" of `file` (up to three tries, 10 ms apart): 1 on success, 0 otherwise.
int DeleteProfileSection(const char* file);
