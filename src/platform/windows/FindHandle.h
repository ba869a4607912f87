// An owning FindFirstFile search handle.
#pragma once

#include <windows.h>

namespace qn::platform::windows {

class FindHandle {
  public:
    explicit FindHandle(HANDLE handle) : handle_(handle) {}
    ~FindHandle() {
        if (IsValid()) FindClose(handle_);
    }
    FindHandle(const FindHandle&) = delete;
    FindHandle& operator=(const FindHandle&) = delete;

    bool IsValid() const { return handle_ != INVALID_HANDLE_VALUE && handle_ != nullptr; }

  private:
    HANDLE handle_;
};

}  // namespace qn::platform::windows
