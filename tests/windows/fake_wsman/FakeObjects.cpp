// IWSMan, IWSManConnectionOptions, IWSManSession and IWSManEnumerator over the scripted replies of Script.h.
#include "FakeObjects.h"

#include <string>
#include <vector>

#include "DispatchObject.h"
#include "Script.h"

namespace fake_wsman {

namespace {

class FakeEnumerator final : public DispatchObject<IWSManEnumerator> {
  public:
    explicit FakeEnumerator(std::vector<std::string> items) : items_(std::move(items)) {}

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
    HRESULT STDMETHODCALLTYPE get_UserName(BSTR* name) override {
        if (name == nullptr) return E_POINTER;
        *name = Widen(userName_);
        return S_OK;
    }
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

std::string VariantText(const VARIANT& value) {
    return value.vt == VT_BSTR ? Narrow(value.bstrVal) : "(not a string)";
}

// "select * from Win32_Service" -> "Win32_Service"; other queries by their whole text.
std::string ScriptName(const std::string& filter) {
    const std::string prefix = "select * from ";
    return filter.rfind(prefix, 0) == 0 ? filter.substr(prefix.size()) : filter;
}

class FakeSession final : public DispatchObject<IWSManSession> {
  public:
    using DispatchObject<IWSManSession>::Invoke;

    HRESULT STDMETHODCALLTYPE Enumerate(VARIANT resourceUri, BSTR filter, BSTR dialect, LONG flags,
                                        IDispatch** resultSet) override {
        const std::string query = Narrow(filter);
        LogCall("Enumerate " + VariantText(resourceUri) + " | " + query + " | " + Narrow(dialect) +
                " | flags=" + std::to_string(flags));
        const std::string name = ScriptName(query);
        if (const auto fault = ScriptedFault(name + ".fault")) return *fault;
        // A success that hands back something other than an enumerator.
        if (ReadScriptFile(name + ".not-enumerator")) return HandOut<FakeConnectionOptions>(resultSet);
        return HandOut<FakeEnumerator>(resultSet, ScriptedItems(name + ".items"));
    }

    HRESULT STDMETHODCALLTYPE Invoke(BSTR actionUri, VARIANT resourceUri, BSTR parameters, LONG flags,
                                     BSTR* result) override {
        const std::string action = Narrow(actionUri);
        LogCall("Invoke " + action + " | " + VariantText(resourceUri) + " | " + Narrow(parameters) +
                " | flags=" + std::to_string(flags));
        if (result == nullptr) return E_POINTER;
        *result = nullptr;
        if (const auto fault = ScriptedFault(action + ".invoke-fault")) return *fault;
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
        *session = nullptr;
        if (const auto fault = ScriptedFault("session.fault")) return *fault;
        return HandOut<FakeSession>(session);
    }
    HRESULT STDMETHODCALLTYPE CreateConnectionOptions(IDispatch** connectionOptions) override {
        return HandOut<FakeConnectionOptions>(connectionOptions);
    }
    HRESULT STDMETHODCALLTYPE get_CommandLine(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Error(BSTR*) override { return E_NOTIMPL; }
};

}  // namespace

HRESULT CreateFakeWsman(REFIID iid, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    IDispatch* created = nullptr;
    const HRESULT hr = HandOut<FakeWsman>(&created);
    if (FAILED(hr)) return hr;
    const HRESULT query = created->QueryInterface(iid, object);
    created->Release();
    return query;
}

}  // namespace fake_wsman
