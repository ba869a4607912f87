// Loading qnsnwsm.dll the way a host does (LoadLibrary, GetProcAddress by plain name) and small helpers for
// files and the registry of the Wine prefix.
#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>

#include "TestFiles.h"
#include "qnsnwsm.h"

namespace qn::wintest {

// The loaded module; freed with the object.
class ModuleDll {
  public:
    ModuleDll();
    ~ModuleDll();
    ModuleDll(const ModuleDll&) = delete;
    ModuleDll& operator=(const ModuleDll&) = delete;

    bool IsLoaded() const { return module_ != nullptr; }
    FARPROC Find(const char* name) const;

    // The export `name` as a pointer of the header's type; throws when it is missing.
    template <typename Function>
    Function* Get(const char* name) const {
        FARPROC found = Find(name);
        if (found == nullptr) throw std::runtime_error(std::string("missing export ") + name);
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
    }

  private:
    HMODULE module_ = nullptr;
};

#define QN_EXPORT(dll, name) (dll).Get<decltype(name)>(#name)

// HKLM\Software\Quillon\Sentrel\ProgFilesFolder := folder (64-bit view).
bool SetProgFilesFolder(const std::string& folder);

}  // namespace qn::wintest
