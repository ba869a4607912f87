// The in-process COM server: registers the fake under the WSMan class id, so that CoCreateInstance of the
// platform's WSMan class gives the fake in a Wine prefix (which ships no WinRM).
#include <windows.h>
#include <wsmandisp.h>

#include <string>

#include "FakeObjects.h"

namespace {

HMODULE g_module = nullptr;

constexpr const char* kClassKey = "Software\\Classes\\CLSID\\{BCED617B-EC03-420B-8508-977DC7A686BD}";

class ClassFactory final : public IClassFactory {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (object == nullptr) return E_POINTER;
        const bool known = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IClassFactory);
        *object = known ? static_cast<IClassFactory*>(this) : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    // A static object: its references do not count.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        return outer != nullptr ? CLASS_E_NOAGGREGATION : fake_wsman::CreateFakeWsman(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

ClassFactory g_factory;

bool SetString(HKEY key, const char* name, const std::string& value) {
    return RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                          static_cast<DWORD>(value.size() + 1)) == ERROR_SUCCESS;
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) g_module = instance;
    return TRUE;
}

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE
    DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (!IsEqualCLSID(clsid, __uuidof(WSMan))) return CLASS_E_CLASSNOTAVAILABLE;
    return g_factory.QueryInterface(iid, object);
}

// Stays loaded for the life of the test process.
extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllCanUnloadNow() {
    return S_FALSE;
}

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllRegisterServer() {
    char path[MAX_PATH] = {};
    HKEY server = nullptr;
    if (GetModuleFileNameA(g_module, path, MAX_PATH) == 0 ||
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, (std::string(kClassKey) + "\\InprocServer32").c_str(), 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, &server,
                        nullptr) != ERROR_SUCCESS)
        return E_FAIL;
    const bool stored = SetString(server, nullptr, path) && SetString(server, "ThreadingModel", "Both");
    RegCloseKey(server);
    return stored ? S_OK : E_FAIL;
}

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllUnregisterServer() {
    const LONG removed = RegDeleteTreeA(HKEY_LOCAL_MACHINE, kClassKey);
    return removed == ERROR_SUCCESS || removed == ERROR_FILE_NOT_FOUND ? S_OK : E_FAIL;
}
