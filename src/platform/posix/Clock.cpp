#include "platform/Clock.h"

#include <atomic>
#include <ctime>

namespace qn::platform {

namespace {

class PosixClock final : public Clock {
  public:
    TimeOfDay LocalTimeOfDay() override {
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        if (localtime_r(&now, &local) == nullptr) return {};
        return {local.tm_hour, local.tm_min, local.tm_sec};
    }

    std::uint32_t TickCount() override {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        const std::uint64_t milliseconds = static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                                           static_cast<std::uint64_t>(now.tv_nsec) / 1000000u;
        return static_cast<std::uint32_t>(milliseconds);  // wraps like GetTickCount
    }

    void Sleep(std::uint32_t milliseconds) override {
        timespec remaining{static_cast<time_t>(milliseconds / 1000u),
                           static_cast<long>(milliseconds % 1000u) * 1000000L};
        while (nanosleep(&remaining, &remaining) != 0) {
        }
    }
};

std::atomic<Clock*> g_currentClock{nullptr};

}  // namespace

Clock& SystemClock() {
    static PosixClock clock;
    return clock;
}

void SetClock(Clock* clock) {
    g_currentClock.store(clock);
}

Clock& CurrentClock() {
    Clock* clock = g_currentClock.load();
    return clock != nullptr ? *clock : SystemClock();
}

}  // namespace qn::platform
