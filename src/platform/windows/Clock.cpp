#include "platform/Clock.h"

#include <windows.h>

#include <atomic>

namespace qn::platform {

namespace {

class WindowsClock final : public Clock {
  public:
    TimeOfDay LocalTimeOfDay() override {
        SYSTEMTIME local{};
        GetLocalTime(&local);
        return {local.wHour, local.wMinute, local.wSecond};
    }

    std::uint32_t TickCount() override { return ::GetTickCount(); }

    void Sleep(std::uint32_t milliseconds) override { ::Sleep(milliseconds); }
};

std::atomic<Clock*> g_currentClock{nullptr};

}  // namespace

Clock& SystemClock() {
    static WindowsClock clock;
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
