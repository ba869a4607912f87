// The in-process COM server: registers the fake under the WSMan class id, so that CoCreateInstance of the
// platform's WSMan class gives the fake in a Wine prefix (which ships no WinRM).
#include <windows.h>
#include <wsmandisp.h>

#include <atomic>
#include <string>

#include "DispatchObject.h"
#include "FakeObjects.h"

namespace fake_wsman {

std::atomic<long> g_serverReferences{0};

namespace {

HMODULE g_module = nullptr;

constexpr const char* kClassKey = "Software\\Classes\\CLSID\\{BCED617B-EC03-420B-8508-977DC7A686BD}";

class ClassFactory final : public IClassFactory {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (object == nullptr) return E_POINTER;
        if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IClassFactory)) {
            *object = static_cast<IClassFactory*>(this);
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    // A static object: its references do not count.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (outer != nullptr) return CLASS_E_NOAGGREGATION;
        return CreateFakeWsman(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
        lock ? ++g_serverReferences : --g_serverReferences;
        return S_OK;
    }
};

ClassFactory g_factory;

class RegistryKey {
  public:
    explicit RegistryKey(const std::string& path) {
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, &key_, nullptr);
    }
    ~RegistryKey() {
        if (key_ != nullptr) RegCloseKey(key_);
    }
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;

    bool Set(const char* name, const std::string& value) {
        return key_ != nullptr &&
               RegSetValueExA(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                              static_cast<DWORD>(value.size() + 1)) == ERROR_SUCCESS;
    }

  private:
    HKEY key_ = nullptr;
};

}  // namespace

}  // namespace fake_wsman

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) fake_wsman::g_module = instance;
    return TRUE;
}

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE
    DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (!IsEqualCLSID(clsid, __uuidof(WSMan))) return CLASS_E_CLASSNOTAVAILABLE;
    return fake_wsman::g_factory.QueryInterface(iid, object);
}

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllCanUnloadNow() {
    return fake_wsman::g_serverReferences.load() == 0 ? S_OK : S_FALSE;
}

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllRegisterServer() {
    char path[MAX_PATH] = {};
    if (GetModuleFileNameA(fake_wsman::g_module, path, MAX_PATH) == 0) return E_FAIL;
    fake_wsman::RegistryKey server(std::string(fake_wsman::kClassKey) + "\\InprocServer32");
    const bool stored = server.Set(nullptr, path) && server.Set("ThreadingModel", "Both");
    return stored ? S_OK : E_FAIL;
}

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllUnregisterServer() {
    const LONG removed = RegDeleteTreeA(HKEY_LOCAL_MACHINE, fake_wsman::kClassKey);
    return removed == ERROR_SUCCESS || removed == ERROR_FILE_NOT_FOUND ? S_OK : E_FAIL;
}
