// Initialisation, shutdown and destruction of the module object, as the trace shows them.
#include <filesystem>
#include <string>

#include "EngineTestSupport.h"

namespace qn::test {
namespace {

using LifecycleTest = EngineTest;

TEST_F(LifecycleTest, InitializeWritesBannerThenCompletes) {
    CQnWSMan module("host");
    ASSERT_EQ(module.Initialize(TraceFile().c_str()), 0u);
    EXPECT_TRUE(module.IsInitialized());
    EXPECT_TRUE(module.HasParser());
    EXPECT_EQ(Script().createCalls, 1);

    EXPECT_EQ(Trace().back(), "Initialization completed.");  // the banner before it: e2e LoadLibraryTest
}

TEST_F(LifecycleTest, SecondInitializeOnlyRepeatsBannerAndSaysSo) {
    CQnWSMan module("host");
    ASSERT_EQ(module.Initialize(TraceFile().c_str()), 0u);
    std::filesystem::remove(TraceFile());

    EXPECT_EQ(module.Initialize(TraceFile().c_str()), 0u);
    EXPECT_EQ(Script().createCalls, 1);
    const auto lines = Trace();
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[1], "Module: [qnsnwsm.dll], Build: [892.5061]");
    EXPECT_EQ(lines[3], "Initializing...");
    EXPECT_EQ(lines[4], "Already Initialized.");
}

TEST_F(LifecycleTest, MissingWinrmClassFailsAndShutdownOnlyCompletes) {
    Script().createResult = qn::platform::ToHResult(0x80040154);
    CQnWSMan module("host");
    EXPECT_EQ(module.Initialize(TraceFile().c_str()), CQnWSMan::kFailure);
    EXPECT_FALSE(module.IsInitialized());
    auto lines = Trace();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "CoCreateInstance failed (error 0x80040154).");

    std::filesystem::remove(TraceFile());
    module.Shutdown();
    lines = Trace();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "Shutdown completed.");
}

TEST_F(LifecycleTest, NullAutomationObjectFailsWithoutMessage) {
    Script().createNull = true;
    CQnWSMan module("host");
    EXPECT_EQ(module.Initialize(TraceFile().c_str()), CQnWSMan::kFailure);
    const auto lines = Trace();
    EXPECT_EQ(lines.back(), "Initializing...");
}

TEST_F(LifecycleTest, ShutdownReleasesOnceAndDestructorOnlyCompletes) {
    {
        CQnWSMan module("host");
        ASSERT_EQ(module.Initialize(TraceFile().c_str()), 0u);
        std::filesystem::remove(TraceFile());
        module.Shutdown();
        EXPECT_FALSE(module.IsInitialized());
        EXPECT_FALSE(module.HasParser());
    }
    const auto lines = Trace();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "Shutting down...");
    EXPECT_EQ(lines[1], "Shutdown completed.");
    EXPECT_EQ(lines[2], "Shutdown completed.");
}

TEST_F(LifecycleTest, ShutdownKeepsTheSessionOpenUntilClosed) {
    auto module = MakeConnectedModule();
    module->Shutdown();
    EXPECT_EQ(Script().liveSessions, 1);
    EXPECT_FALSE(module->IsSessionOpen());
    module.reset();
    EXPECT_EQ(Script().liveSessions, 0);
}

}  // namespace
}  // namespace qn::test
