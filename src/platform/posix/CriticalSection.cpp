#include "platform/CriticalSection.h"

#include <mutex>

namespace qn::platform {

struct CriticalSection::Impl {
    std::recursive_mutex mutex;
};

CriticalSection::CriticalSection() : impl_(std::make_unique<Impl>()) {}
CriticalSection::~CriticalSection() = default;

void CriticalSection::Enter() {
    impl_->mutex.lock();
}
void CriticalSection::Leave() {
    impl_->mutex.unlock();
}

}  // namespace qn::platform
