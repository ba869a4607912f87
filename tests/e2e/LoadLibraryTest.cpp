// The shared library as hosts use it: loaded by file name with the exports resolved by name, and from the
// C host of CHost.c.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "TestFiles.h"
#include "qnsnwsm.h"

extern "C" int QnCHostInitializeAndShutdown(const char* traceFile);

namespace qn::e2e {
namespace {

TEST(LoadLibraryTest, InitializeAndShutdownThroughResolvedExports) {
    qntest::ScratchStore scratch;
    const std::unique_ptr<void, int (*)(void*)> library(dlopen(QNSNWSM_LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL),
                                                        dlclose);
    ASSERT_NE(library, nullptr) << dlerror();
    auto initialize = reinterpret_cast<decltype(&WSManInitialize)>(dlsym(library.get(), "WSManInitialize"));
    auto shutdown = reinterpret_cast<decltype(&WSManShutdown)>(dlsym(library.get(), "WSManShutdown"));
    ASSERT_NE(initialize, nullptr);
    ASSERT_NE(shutdown, nullptr);

    const auto trace = scratch.File("module.log");
    QNSNWSM_HANDLE handle = nullptr;
    ASSERT_EQ(initialize(nullptr, trace.c_str(), &handle), QNSNWSM_OK);
    ASSERT_NE(handle, nullptr);
    shutdown(handle);

    const std::string rule(97, '-');
    EXPECT_EQ(qntest::ReadTraceMessages(trace),
              (std::vector<std::string>{rule, "Module: [qnsnwsm.dll], Build: [892.5061]", rule,
                                        "Initializing...", "Initialization completed.", "Shutting down...",
                                        "Shutdown completed.", "Shutdown completed."}));
}

TEST(LoadLibraryTest, CHostCompilesAndRunsAgainstThePublicHeader) {
    qntest::ScratchStore scratch;
    const auto trace = scratch.File("c-host.log");
    EXPECT_EQ(QnCHostInitializeAndShutdown(trace.c_str()), 0);
    const auto lines = qntest::ReadTraceMessages(trace);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "Shutdown completed.");
}

}  // namespace
}  // namespace qn::e2e
