// Memory a check frees in bulk, kept for the next check for a while, shared by the whole process.
//
// Freed memory of that size goes back to the system at once, and the next check takes it again page by
// page; on some virtual machines a page fault costs as much as reading an item. A pool holds a bounded
// number of values, and gives back those not taken again within kIdle the next time it is used.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <mutex>
#include <utility>

namespace wsman {

template <typename T>
class ReusePool {
  public:
    explicit ReusePool(std::size_t maxKept) : maxKept_(maxKept) {}

    // Takes `value` (moved from) unless the pool is full; false leaves it to the caller.
    bool Keep(T& value) {
        const auto now = std::chrono::steady_clock::now();
        const std::lock_guard<std::mutex> lock(mutex_);
        ForgetIdle(now);
        if (kept_.size() >= maxKept_) return false;
        kept_.push_back(Kept{std::move(value), now});
        return true;
    }

    // Moves the most recently kept value for which `fits` holds into `out`; false when there is none.
    template <typename Fits>
    bool Take(T& out, Fits fits) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ForgetIdle(std::chrono::steady_clock::now());
        for (auto kept = kept_.rbegin(); kept != kept_.rend(); ++kept) {
            if (!fits(kept->value)) continue;
            out = std::move(kept->value);
            kept_.erase(std::next(kept).base());
            return true;
        }
        return false;
    }

  private:
    static constexpr auto kIdle = std::chrono::seconds(10);
    struct Kept {
        T value;
        std::chrono::steady_clock::time_point since;
    };

    // The oldest stand first.
    void ForgetIdle(std::chrono::steady_clock::time_point now) {
        while (!kept_.empty() && now - kept_.front().since > kIdle) kept_.pop_front();
    }

    const std::size_t maxKept_;
    std::mutex mutex_;
    std::deque<Kept> kept_;
};

}  // namespace wsman
