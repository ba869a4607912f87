#include "DllTestSupport.h"

#include "TestPaths.h"

namespace qn::wintest {

ModuleDll::ModuleDll() : module_(LoadLibraryA(WinePath(QN_DLL_PATH).c_str())) {}

ModuleDll::~ModuleDll() {
    if (module_ != nullptr) FreeLibrary(module_);
}

FARPROC ModuleDll::Find(const char* name) const {
    return module_ != nullptr ? GetProcAddress(module_, name) : nullptr;
}

bool SetProgFilesFolder(const std::string& folder) {
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, "Software\\Quillon\\Sentrel", 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, &key, nullptr) != ERROR_SUCCESS) {
        return false;
    }
    const bool stored =
        RegSetValueExA(key, "ProgFilesFolder", 0, REG_SZ, reinterpret_cast<const BYTE*>(folder.c_str()),
                       static_cast<DWORD>(folder.size() + 1)) == ERROR_SUCCESS;
    RegCloseKey(key);
    return stored;
}

}  // namespace qn::wintest
