#include "platform/CriticalSection.h"

#include <windows.h>

namespace qn::platform {

struct CriticalSection::Impl {
    Impl() { InitializeCriticalSection(&section); }
    ~Impl() { DeleteCriticalSection(&section); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    CRITICAL_SECTION section;
};

CriticalSection::CriticalSection() : impl_(std::make_unique<Impl>()) {}
CriticalSection::~CriticalSection() = default;

void CriticalSection::Enter() {
    EnterCriticalSection(&impl_->section);
}
void CriticalSection::Leave() {
    LeaveCriticalSection(&impl_->section);
}

}  // namespace qn::platform
