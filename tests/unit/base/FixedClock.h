// A clock that stands still at 01:02:03, so trace lines can be compared whole.
#pragma once

#include "platform/Clock.h"

namespace qn::test {

class FixedClock final : public platform::Clock {
  public:
    platform::TimeOfDay LocalTimeOfDay() override { return {1, 2, 3}; }
    std::uint32_t TickCount() override { return ticks; }
    void Sleep(std::uint32_t milliseconds) override { ticks += milliseconds; }
    std::uint32_t ticks = 4242;
};

class ScopedFixedClock {
  public:
    ScopedFixedClock() { platform::SetClock(&clock_); }
    ~ScopedFixedClock() { platform::SetClock(nullptr); }
    ScopedFixedClock(const ScopedFixedClock&) = delete;
    ScopedFixedClock& operator=(const ScopedFixedClock&) = delete;

  private:
    FixedClock clock_;
};

}  // namespace qn::test
