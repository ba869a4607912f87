// WinRM automation objects on Windows: the platform's WSMan COM class (IWSMan, IWSManConnectionOptions,
// IWSManSession, IWSManEnumerator), used through their vtables. Texts go in as BSTRs built from the module's
// ANSI text and come out converted to ANSI at once.
// clang-format off
#include <windows.h>
#include <wsmandisp.h>
// clang-format on

#include <exception>
#include <new>

#include "platform/WsmanAutomation.h"
#include "platform/windows/Bstr.h"
#include "platform/windows/ComPtr.h"
#include "platform/windows/Variant.h"

namespace qn::platform {

namespace {

using windows::Bstr;
using windows::ComPtr;
using windows::Variant;

// No exception may cross the seam: report the failure as the COM objects themselves would.
template <typename Call>
HResult Guarded(Call call) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::exception&) {
        return E_FAIL;
    }
}

class WindowsConnectionOptions final : public WsmanConnectionOptions {
  public:
    WindowsConnectionOptions(ComPtr<IDispatch> dispatch, ComPtr<IWSManConnectionOptions> options)
        : dispatch_(std::move(dispatch)), options_(std::move(options)) {}

    HResult SetUserName(const std::string& userName) override {
        return Guarded([&] { return options_->put_UserName(Bstr(userName).Get()); });
    }

    HResult SetPassword(const std::string& password) override {
        return Guarded([&] {
            Bstr secret(password);
            const HRESULT hr = options_->put_Password(secret.Get());
            secret.Wipe();
            return hr;
        });
    }

    IDispatch* Dispatch() const { return dispatch_.Get(); }

  private:
    ComPtr<IDispatch> dispatch_;
    ComPtr<IWSManConnectionOptions> options_;
};

class WindowsEnumerator final : public WsmanEnumerator {
  public:
    explicit WindowsEnumerator(ComPtr<IWSManEnumerator> enumerator) : enumerator_(std::move(enumerator)) {}

    HResult AtEndOfStream(bool& atEnd) override {
        VARIANT_BOOL end = VARIANT_FALSE;
        const HRESULT hr = enumerator_->get_AtEndOfStream(&end);
        atEnd = end != VARIANT_FALSE;
        return hr;
    }

    HResult ReadItem(EnumeratedItem& item) override {
        return Guarded([&] {
            item = EnumeratedItem();  // text alone: MSXML reads it
            Bstr text;
            const HRESULT hr = enumerator_->ReadItem(text.Receive());
            if (SUCCEEDED(hr)) item = EnumeratedItem(text.ToAnsi());
            return hr;
        });
    }

  private:
    ComPtr<IWSManEnumerator> enumerator_;
};

class WindowsSession final : public WsmanSession {
  public:
    explicit WindowsSession(ComPtr<IWSManSession> session) : session_(std::move(session)) {}

    HResult Enumerate(const std::string& resourceUri, const std::string& filter, const std::string& dialect,
                      std::int32_t flags, std::unique_ptr<WsmanEnumerator>& enumerator) override {
        enumerator.reset();
        return Guarded([&] {
            const Variant uri{Bstr(resourceUri)};
            ComPtr<IDispatch> result;
            const HRESULT hr = session_->Enumerate(uri.Get(), Bstr(filter).Get(), Bstr(dialect).Get(), flags,
                                                   result.Receive());
            if (FAILED(hr)) return hr;
            // An object that is no enumerator leaves `enumerator` empty: the caller reports the bad cast.
            ComPtr<IWSManEnumerator> items;
            if (SUCCEEDED(result.As(__uuidof(IWSManEnumerator), items)) && items) {
                enumerator = std::make_unique<WindowsEnumerator>(std::move(items));
            }
            return hr;
        });
    }

    HResult Invoke(const std::string& action, const std::string& resourceUri, const std::string& parameters,
                   std::int32_t flags, std::string& response) override {
        response.clear();
        return Guarded([&] {
            const Variant uri{Bstr(resourceUri)};
            Bstr output;
            const HRESULT hr = session_->Invoke(Bstr(action).Get(), uri.Get(), Bstr(parameters).Get(), flags,
                                                output.Receive());
            if (SUCCEEDED(hr)) response = output.ToAnsi();
            return hr;
        });
    }

  private:
    ComPtr<IWSManSession> session_;
};

class WindowsWsman final : public Wsman {
  public:
    explicit WindowsWsman(ComPtr<IWSMan> wsman) : wsman_(std::move(wsman)) {}

    HResult CreateConnectionOptions(std::unique_ptr<WsmanConnectionOptions>& options) override {
        options.reset();
        return Guarded([&] {
            ComPtr<IDispatch> dispatch;
            HRESULT hr = wsman_->CreateConnectionOptions(dispatch.Receive());
            if (FAILED(hr) || !dispatch) return hr;
            ComPtr<IWSManConnectionOptions> typed;
            hr = dispatch.As(__uuidof(IWSManConnectionOptions), typed);
            if (FAILED(hr)) return hr;
            options = std::make_unique<WindowsConnectionOptions>(std::move(dispatch), std::move(typed));
            return S_OK;
        });
    }

    HResult CreateSession(const std::string& connection, std::int32_t flags, WsmanConnectionOptions* options,
                          std::unique_ptr<WsmanSession>& session) override {
        session.reset();
        return Guarded([&] {
            IDispatch* optionsObject = nullptr;
            if (options != nullptr) {
                const auto* windowsOptions = dynamic_cast<const WindowsConnectionOptions*>(options);
                if (windowsOptions == nullptr) return E_INVALIDARG;
                optionsObject = windowsOptions->Dispatch();
            }
            ComPtr<IDispatch> result;
            const HRESULT hr =
                wsman_->CreateSession(Bstr(connection).Get(), flags, optionsObject, result.Receive());
            if (FAILED(hr)) return hr;
            // A result that is no session leaves `session` empty: the caller reports it.
            ComPtr<IWSManSession> typed;
            if (SUCCEEDED(result.As(__uuidof(IWSManSession), typed)) && typed) {
                session = std::make_unique<WindowsSession>(std::move(typed));
            }
            return hr;
        });
    }

  private:
    ComPtr<IWSMan> wsman_;
};

}  // namespace

HResult CreatePlatformWsman(std::unique_ptr<Wsman>& wsman) {
    wsman.reset();
    return Guarded([&] {
        ComPtr<IWSMan> object;
        const HRESULT hr =
            CoCreateInstance(CLSID_WSMan, nullptr, CLSCTX_INPROC_SERVER, IID_IWSMan, object.ReceiveVoid());
        if (FAILED(hr)) return hr;
        if (object) wsman = std::make_unique<WindowsWsman>(std::move(object));
        return hr;
    });
}

}  // namespace qn::platform
