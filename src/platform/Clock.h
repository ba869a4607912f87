// Local time, a wrapping millisecond tick count and waits. Module code calls the free functions, which go
// through the current clock; tests may put a clock of their own in place.
#pragma once

#include <cstdint>

namespace qn::platform {

struct TimeOfDay {
    int hour = 0;
    int minute = 0;
    int second = 0;
};

class Clock {
  public:
    virtual ~Clock() = default;
    virtual TimeOfDay LocalTimeOfDay() = 0;
    // Milliseconds since an arbitrary start, wrapping at 2^32 like GetTickCount.
    virtual std::uint32_t TickCount() = 0;
    virtual void Sleep(std::uint32_t milliseconds) = 0;
};

Clock& SystemClock();

// Replaces the clock behind the free functions; null restores the system clock. Not for concurrent use
// with module calls in flight.
void SetClock(Clock* clock);
Clock& CurrentClock();

inline TimeOfDay LocalTimeOfDay() {
    return CurrentClock().LocalTimeOfDay();
}
inline std::uint32_t GetTickCount() {
    return CurrentClock().TickCount();
}
inline void Sleep(std::uint32_t milliseconds) {
    CurrentClock().Sleep(milliseconds);
}

// Milliseconds from `start` to `now`, correct across one wrap of the tick count.
constexpr std::uint32_t TicksElapsed(std::uint32_t start, std::uint32_t now) {
    return now - start;
}

}  // namespace qn::platform
