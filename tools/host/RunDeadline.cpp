#include "RunDeadline.h"

namespace qnhost {

RunDeadline::RunDeadline(std::chrono::milliseconds limit, std::function<void()> onExpiry) {
    if (limit.count() <= 0) return;
    watchdog_ = std::thread([this, limit, onExpiry = std::move(onExpiry)] {
        std::unique_lock lock(mutex_);
        if (!finished_.wait_for(lock, limit, [this] { return done_; })) onExpiry();
    });
}

RunDeadline::~RunDeadline() {
    {
        std::lock_guard lock(mutex_);
        done_ = true;
    }
    finished_.notify_all();
    if (watchdog_.joinable()) watchdog_.join();
}

}  // namespace qnhost
