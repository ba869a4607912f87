// The four exports that create, connect, disconnect and destroy a module handle.
#include <new>

#include "api/ExportSupport.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

using namespace qn::api;

extern "C" {

QNSNWSM_API uint32_t WSManInitialize(const char* baseSetting, const char* traceFile, QNSNWSM_HANDLE* handle) {
    return GuardExport([&]() -> uint32_t {
        // Nowhere to put a handle: nothing is created.
        if (handle == nullptr) {
            return kExportFailure;
        }
        *handle = nullptr;
        auto* module = new (std::nothrow) CQnWSMan(baseSetting);
        if (module == nullptr) {
            return kExportFailure;
        }
        if (module->Initialize(traceFile) != 0) {
            // Not freed: a failed initialisation has always left the object behind, with the handle NULL.
#if defined(__SANITIZE_ADDRESS__)
            __lsan_ignore_object(module);  // deliberate, so leak checks stay meaningful for everything else
#endif
            return kExportFailure;
        }
        *handle = qn::api::HandleFromModule(module);
        return QNSNWSM_OK;
    });
}

QNSNWSM_API void WSManShutdown(QNSNWSM_HANDLE handle) {
    GuardVoidExport([&] {
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return;
        }
        module->Shutdown();
        delete module;
    });
}

QNSNWSM_API uint32_t WSManConnectToComputer(QNSNWSM_HANDLE handle, const char* computer, const char* userName,
                                            const char* password, const char* wmiNamespace, uint16_t port,
                                            uint8_t useSsl, uintptr_t /*reserved*/, char* errorText,
                                            uint32_t errorTextSize) {
    return GuardExport([&]() -> uint32_t {
        CQncString error;
        CQncString namespaceText(wmiNamespace);
        if (namespaceText.IsEmpty()) {
            namespaceText = "root/cimv2";
        }
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            return kExportFailure;
        }
        module->SetUseSsl(useSsl);
        module->SetUserName(userName);
        module->SetPassword(password);
        module->SetNamespace(namespaceText.GetText());
        const uint32_t result = module->OpenSession(computer, port, error);
        qn::api::CopyToBuffer(error.GetText(), errorText, errorTextSize);
        return result;
    });
}

QNSNWSM_API void WSManDisconnectComputer(QNSNWSM_HANDLE handle) {
    GuardVoidExport([&] {
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module != nullptr) {
            module->CloseSession();
        }
    });
}

}  // extern "C"
