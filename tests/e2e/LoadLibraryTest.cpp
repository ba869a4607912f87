// The shared library as a host loads it: by file name, resolving the exports by name.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "TestFiles.h"
#include "qnsnwsm.h"

namespace qn::e2e {
namespace {

using InitializeFn = uint32_t (*)(const char*, const char*, QNSNWSM_HANDLE*);
using ShutdownFn = void (*)(QNSNWSM_HANDLE);

class LoadedLibrary {
  public:
    LoadedLibrary() : handle_(dlopen(QNSNWSM_LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL)) {}
    ~LoadedLibrary() {
        if (handle_ != nullptr) dlclose(handle_);
    }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    bool IsLoaded() const { return handle_ != nullptr; }
    void* Symbol(const char* name) const { return dlsym(handle_, name); }

  private:
    void* handle_;
};

TEST(LoadLibraryTest, InitializeAndShutdownThroughResolvedExports) {
    qntest::ScratchStore scratch;
    LoadedLibrary library;
    ASSERT_TRUE(library.IsLoaded()) << dlerror();
    auto initialize = reinterpret_cast<InitializeFn>(library.Symbol("WSManInitialize"));
    auto shutdown = reinterpret_cast<ShutdownFn>(library.Symbol("WSManShutdown"));
    ASSERT_NE(initialize, nullptr);
    ASSERT_NE(shutdown, nullptr);

    const auto trace = scratch.File("module.log");
    QNSNWSM_HANDLE handle = nullptr;
    ASSERT_EQ(initialize(nullptr, trace.c_str(), &handle), QNSNWSM_OK);
    ASSERT_NE(handle, nullptr);
    shutdown(handle);

    const auto lines = qntest::ReadTraceMessages(trace);
    const std::string rule(97, '-');
    ASSERT_EQ(lines.size(), 8u);
    EXPECT_EQ(lines[0], rule);
    EXPECT_EQ(lines[1], "Module: [qnsnwsm.dll], Build: [892.5061]");
    EXPECT_EQ(lines[2], rule);
    EXPECT_EQ(lines[3], "Initializing...");
    EXPECT_EQ(lines[4], "Initialization completed.");
    EXPECT_EQ(lines[5], "Shutting down...");
    EXPECT_EQ(lines[6], "Shutdown completed.");
    EXPECT_EQ(lines[7], "Shutdown completed.");
}

}  // namespace
}  // namespace qn::e2e
