// A clock that stands still at 01:02:03 while the object lives, so trace lines can be compared whole.
#pragma once

#include "platform/Clock.h"

namespace qn::test {

class ScopedFixedClock final : public platform::Clock {
  public:
    ScopedFixedClock() { platform::SetClock(this); }
    ~ScopedFixedClock() override { platform::SetClock(nullptr); }
    ScopedFixedClock(const ScopedFixedClock&) = delete;
    ScopedFixedClock& operator=(const ScopedFixedClock&) = delete;

    platform::TimeOfDay LocalTimeOfDay() override { return {1, 2, 3}; }
    std::uint32_t TickCount() override { return ticks_; }
    void Sleep(std::uint32_t milliseconds) override { ticks_ += milliseconds; }

  private:
    std::uint32_t ticks_ = 4242;
};

}  // namespace qn::test
