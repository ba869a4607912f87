// Loading qnsnwsm.dll the way a host does: LoadLibrary, GetProcAddress by plain name.
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
    ModuleDll() : module_(LoadLibraryA(WinePath(QN_DLL_PATH).c_str())) {}
    ~ModuleDll() {
        if (module_ != nullptr) FreeLibrary(module_);
    }
    ModuleDll(const ModuleDll&) = delete;
    ModuleDll& operator=(const ModuleDll&) = delete;

    bool IsLoaded() const { return module_ != nullptr; }
    FARPROC Find(const char* name) const {
        return module_ != nullptr ? GetProcAddress(module_, name) : nullptr;
    }

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

}  // namespace qn::wintest
