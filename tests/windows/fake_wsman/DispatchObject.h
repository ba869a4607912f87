// The IUnknown and IDispatch part shared by the fake's objects. The module drives them through their
// vtables, so late binding is not offered.
#pragma once

#include <windows.h>

#include <atomic>
#include <new>
#include <utility>

namespace fake_wsman {

// Live objects and server locks, for DllCanUnloadNow.
extern std::atomic<long> g_serverReferences;

template <typename Interface>
class DispatchObject : public Interface {
  public:
    DispatchObject() { ++g_serverReferences; }
    virtual ~DispatchObject() { --g_serverReferences; }
    DispatchObject(const DispatchObject&) = delete;
    DispatchObject& operator=(const DispatchObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (object == nullptr) return E_POINTER;
        if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDispatch) ||
            IsEqualIID(iid, __uuidof(Interface))) {
            *object = static_cast<Interface*>(this);
            this->AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;  // COM objects own themselves
        return left;
    }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        if (count != nullptr) *count = 0;
        return S_OK;
    }
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

}  // namespace fake_wsman
