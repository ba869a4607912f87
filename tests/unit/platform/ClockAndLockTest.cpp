#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/Clock.h"
#include "platform/CriticalSection.h"

namespace qn::platform {
namespace {

TEST(ClockTest, ElapsedTicksSurviveTheWrap) {
    EXPECT_EQ(TicksElapsed(100, 350), 250u);
    EXPECT_EQ(TicksElapsed(0xFFFFFF00u, 0x00000100u), 0x200u);
    EXPECT_EQ(TicksElapsed(0xFFFFFFFFu, 0u), 1u);
}

class FixedClock final : public Clock {
  public:
    TimeOfDay LocalTimeOfDay() override { return {1, 2, 3}; }
    std::uint32_t TickCount() override { return ticks; }
    void Sleep(std::uint32_t milliseconds) override { ticks += milliseconds; }
    std::uint32_t ticks = 0xFFFFFFF0u;
};

TEST(ClockTest, ReplacedClockDrivesTheFreeFunctions) {
    FixedClock fixed;
    SetClock(&fixed);
    const std::uint32_t start = GetTickCount();
    Sleep(0x20);
    EXPECT_EQ(TicksElapsed(start, GetTickCount()), 0x20u);
    EXPECT_EQ(LocalTimeOfDay().second, 3);
    SetClock(nullptr);
    EXPECT_EQ(&CurrentClock(), &SystemClock());
}

TEST(CriticalSectionTest, OwnerMayEnterAgainAndOthersWait) {
    CriticalSection section;
    std::atomic<bool> otherEntered{false};
    section.Enter();
    section.Enter();  // recursive, like a Windows critical section
    std::thread other([&] {
        CriticalSectionGuard guard(section);
        otherEntered = true;
    });
    section.Leave();
    EXPECT_FALSE(otherEntered.load());
    section.Leave();
    other.join();
    EXPECT_TRUE(otherEntered.load());
}

}  // namespace
}  // namespace qn::platform
