// An owning COM interface pointer: one reference, released when the owner goes.
#pragma once

#include <windows.h>

#include <utility>

namespace qn::platform::windows {

template <typename Interface>
class ComPtr {
  public:
    ComPtr() = default;
    ~ComPtr() { Reset(); }
    ComPtr(const ComPtr&) = delete;
    ComPtr& operator=(const ComPtr&) = delete;
    ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    ComPtr& operator=(ComPtr&& other) noexcept {
        if (this != &other) {
            Reset();
            pointer_ = std::exchange(other.pointer_, nullptr);
        }
        return *this;
    }

    Interface* Get() const { return pointer_; }
    Interface* operator->() const { return pointer_; }
    explicit operator bool() const { return pointer_ != nullptr; }

    // For out-parameters: releases what is held and hands out the slot.
    Interface** Receive() {
        Reset();
        return &pointer_;
    }
    void** ReceiveVoid() { return reinterpret_cast<void**>(Receive()); }

    void Reset() {
        if (pointer_ != nullptr) std::exchange(pointer_, nullptr)->Release();
    }

    // QueryInterface into `target`; the failure code when the object does not offer it.
    template <typename Other>
    HRESULT As(REFIID iid, ComPtr<Other>& target) const {
        if (pointer_ == nullptr) return E_POINTER;
        return pointer_->QueryInterface(iid, target.ReceiveVoid());
    }

  private:
    Interface* pointer_ = nullptr;
};

}  // namespace qn::platform::windows
