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
