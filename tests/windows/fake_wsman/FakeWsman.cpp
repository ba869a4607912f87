// A stand-in for the platform's WSMan automation class: an in-process COM server registered under the WSMan
// class id, so that CoCreateInstance gives the fake in a Wine prefix (which ships no WinRM). Its replies are
// scripted in the folder named by QN_FAKE_WSMAN_DIR, read afresh on every call:
//   <Class>.items    one item (an instance element, UTF-8) per line for "select * from <Class>"; none: empty
//   <Class>.fault    an HRESULT in hexadecimal that the enumeration of <Class> fails with
//   <Action>.invoke  the response of Invoke(<Action>)
//   calls.log        appended by the fake: one line per CreateSession, Enumerate, Invoke and session release
#include <windows.h>
#include <wsmandisp.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string ScriptPath(const std::string& name) {
    char folder[MAX_PATH] = {};
    const DWORD length = GetEnvironmentVariableA("QN_FAKE_WSMAN_DIR", folder, MAX_PATH);
    return (length > 0 && length < MAX_PATH ? std::string(folder, length) : std::string()) + "\\" + name;
}

std::optional<std::string> ReadScriptFile(const std::string& name) {
    std::ifstream file(ScriptPath(name), std::ios::binary);
    if (!file) return std::nullopt;
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void LogCall(const std::string& line) {
    std::ofstream(ScriptPath("calls.log"), std::ios::binary | std::ios::app) << line << "\n";
}

std::string Narrow(const wchar_t* text) {
    if (text == nullptr) return "(null)";
    std::string result(WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), static_cast<int>(result.size()), nullptr,
                        nullptr);
    if (!result.empty()) result.pop_back();  // the terminator
    return result;
}

BSTR Widen(const std::string& text) {
    const int size = static_cast<int>(text.size());
    const int needed = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
    BSTR result = SysAllocStringLen(nullptr, needed);
    if (result != nullptr) MultiByteToWideChar(CP_UTF8, 0, text.data(), size, result, needed);
    return result;
}

// IUnknown and IDispatch; the module drives the objects through their vtables, so late binding is not
// offered.
template <typename Interface>
class DispatchObject : public Interface {
  public:
    virtual ~DispatchObject() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (object == nullptr) return E_POINTER;
        *object = nullptr;
        if (!IsEqualIID(iid, IID_IUnknown) && !IsEqualIID(iid, IID_IDispatch) &&
            !IsEqualIID(iid, __uuidof(Interface)))
            return E_NOINTERFACE;
        *object = static_cast<Interface*>(this);
        this->AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;  // COM objects own themselves
        return left;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        return E_NOTIMPL;
    }

  private:
    std::atomic<ULONG> references_{1};
};

// Hands a fresh object (one reference) out through an IDispatch** out-parameter.
template <typename Object, typename... Arguments>
HRESULT HandOut(IDispatch** out, Arguments&&... arguments) {
    if (out == nullptr) return E_POINTER;
    *out = new (std::nothrow) Object(std::forward<Arguments>(arguments)...);
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

class FakeEnumerator final : public DispatchObject<IWSManEnumerator> {
  public:
    explicit FakeEnumerator(const std::string& script) {
        std::istringstream lines(script);
        for (std::string line; std::getline(lines, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (!line.empty()) items_.push_back(line);
        }
    }

    HRESULT STDMETHODCALLTYPE ReadItem(BSTR* resource) override {
        if (resource == nullptr) return E_POINTER;
        if (next_ >= items_.size()) return E_FAIL;
        *resource = Widen(items_[next_++]);
        return *resource != nullptr ? S_OK : E_OUTOFMEMORY;
    }
    HRESULT STDMETHODCALLTYPE get_AtEndOfStream(VARIANT_BOOL* end) override {
        if (end == nullptr) return E_POINTER;
        *end = next_ >= items_.size() ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Error(BSTR*) override { return E_NOTIMPL; }

  private:
    std::vector<std::string> items_;
    std::size_t next_ = 0;
};

class FakeConnectionOptions final : public DispatchObject<IWSManConnectionOptions> {
  public:
    HRESULT STDMETHODCALLTYPE get_UserName(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_UserName(BSTR name) override {
        userName_ = Narrow(name);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE put_Password(BSTR password) override {
        password_ = Narrow(password);
        return S_OK;
    }

    std::string Describe() const { return "user=" + userName_ + " password=" + password_; }

  private:
    std::string userName_ = "(unset)";
    std::string password_ = "(unset)";
};

class FakeSession final : public DispatchObject<IWSManSession> {
  public:
    using DispatchObject<IWSManSession>::Invoke;

    // Says whether the releasing thread was still inside COM: the module must release its sessions before
    // its CoUninitialize, or a host that shuts down without disconnecting could run this after the DLL is
    // gone.
    ~FakeSession() override {
        APTTYPE type;
        APTTYPEQUALIFIER qualifier;
        const bool inside =
            SUCCEEDED(CoGetApartmentType(&type, &qualifier)) && qualifier == APTTYPEQUALIFIER_NONE;
        LogCall(inside ? "Release session inside COM" : "Release session outside COM");
    }

    HRESULT STDMETHODCALLTYPE Enumerate(VARIANT resourceUri, BSTR filter, BSTR dialect, LONG flags,
                                        IDispatch** resultSet) override {
        std::string name = Narrow(filter);
        LogCall("Enumerate " + Text(resourceUri) + " | " + name + " | " + Narrow(dialect) +
                " | flags=" + std::to_string(flags));
        if (name.rfind("select * from ", 0) == 0) name.erase(0, 14);
        if (const auto fault = ReadScriptFile(name + ".fault"))
            return static_cast<HRESULT>(std::strtoul(fault->c_str(), nullptr, 16));
        return HandOut<FakeEnumerator>(resultSet, ReadScriptFile(name + ".items").value_or(""));
    }

    HRESULT STDMETHODCALLTYPE Invoke(BSTR actionUri, VARIANT resourceUri, BSTR parameters, LONG flags,
                                     BSTR* result) override {
        const std::string action = Narrow(actionUri);
        LogCall("Invoke " + action + " | " + Text(resourceUri) + " | " + Narrow(parameters) +
                " | flags=" + std::to_string(flags));
        if (result == nullptr) return E_POINTER;
        *result = Widen(ReadScriptFile(action + ".invoke").value_or(""));
        return *result != nullptr ? S_OK : E_OUTOFMEMORY;
    }

    HRESULT STDMETHODCALLTYPE Get(VARIANT, LONG, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Put(VARIANT, BSTR, LONG, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Create(VARIANT, BSTR, LONG, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Delete(VARIANT, LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Identify(LONG, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Error(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_BatchItems(LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_BatchItems(LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Timeout(LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_Timeout(LONG) override { return E_NOTIMPL; }

  private:
    static std::string Text(const VARIANT& value) {
        return value.vt == VT_BSTR ? Narrow(value.bstrVal) : "(not a string)";
    }
};

class FakeWsman final : public DispatchObject<IWSMan> {
  public:
    HRESULT STDMETHODCALLTYPE CreateSession(BSTR connection, LONG flags, IDispatch* connectionOptions,
                                            IDispatch** session) override {
        // The module hands back the object it got from CreateConnectionOptions; anything else is a fault.
        const auto* options = dynamic_cast<FakeConnectionOptions*>(connectionOptions);
        LogCall("CreateSession " + Narrow(connection) + " flags=" + std::to_string(flags) + " " +
                (options != nullptr ? options->Describe() : std::string("options=none")));
        if (session == nullptr) return E_POINTER;
        return HandOut<FakeSession>(session);
    }
    HRESULT STDMETHODCALLTYPE CreateConnectionOptions(IDispatch** connectionOptions) override {
        return HandOut<FakeConnectionOptions>(connectionOptions);
    }
    HRESULT STDMETHODCALLTYPE get_CommandLine(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Error(BSTR*) override { return E_NOTIMPL; }
};

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
        if (object == nullptr) return E_POINTER;
        *object = nullptr;
        if (outer != nullptr) return CLASS_E_NOAGGREGATION;
        IWSMan* created = new (std::nothrow) FakeWsman;
        if (created == nullptr) return E_OUTOFMEMORY;
        const HRESULT query = created->QueryInterface(iid, object);
        created->Release();
        return query;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

ClassFactory g_factory;

// Creates the class's InprocServer32 key as needed.
bool SetServerValue(const char* name, const std::string& value) {
    return RegSetKeyValueA(HKEY_LOCAL_MACHINE, (std::string(kClassKey) + "\\InprocServer32").c_str(), name,
                           REG_SZ, value.c_str(), static_cast<DWORD>(value.size() + 1)) == ERROR_SUCCESS;
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
    return GetModuleFileNameA(g_module, path, MAX_PATH) != 0 && SetServerValue(nullptr, path) &&
                   SetServerValue("ThreadingModel", "Both")
               ? S_OK
               : E_FAIL;
}

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllUnregisterServer() {
    const LONG removed = RegDeleteTreeA(HKEY_LOCAL_MACHINE, kClassKey);
    return removed == ERROR_SUCCESS || removed == ERROR_FILE_NOT_FOUND ? S_OK : E_FAIL;
}
