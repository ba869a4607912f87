// The C host of CHost.c, run.
#include <gtest/gtest.h>

#include "TestFiles.h"

extern "C" int QnCHostInitializeAndShutdown(const char* traceFile);

namespace qn::e2e {
namespace {

TEST(CHostTest, CompilesAndRunsAgainstThePublicHeader) {
    qntest::ScratchStore scratch;
    const auto trace = scratch.File("c-host.log");
    EXPECT_EQ(QnCHostInitializeAndShutdown(trace.c_str()), 0);
    const auto lines = qntest::ReadTraceMessages(trace);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "Shutdown completed.");
}

}  // namespace
}  // namespace qn::e2e
