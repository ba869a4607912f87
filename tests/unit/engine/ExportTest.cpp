// The exports' shared buffer rules, and the lifecycle exports where only the fake WinRM client can fail
// them. NULL handles and arguments are tests/reliability's (HostileInputTest).
#include <cstring>
#include <stdexcept>
#include <string>

#include "EngineTestSupport.h"
#include "api/ExportSupport.h"
#include "qnsnwsm.h"

namespace qn::test {
namespace {

using qn::api::CopyToBuffer;

// Copies "abc..." into an 8-byte buffer of 'x' told to be `size` long.
std::string Copied(const char* text, std::uint32_t size) {
    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    CopyToBuffer(text, buffer, size);
    return std::string(buffer, sizeof buffer);
}

TEST(ExportBufferTest, CopyPadsTruncatesAndTerminates) {
    EXPECT_EQ(Copied("abc", 8), std::string("abc\0\0\0\0\0", 8));
    EXPECT_EQ(Copied("abcdefghijk", 4), std::string("abc\0xxxx", 8));
    EXPECT_EQ(Copied("abc", 1), std::string("\0xxxxxxx", 8));
    EXPECT_EQ(Copied("abc", 0), "xxxxxxxx");
    CopyToBuffer("abc", nullptr, 8);  // a host without a buffer gets nothing written
}

TEST(ExportBufferTest, GuardTurnsExceptionsIntoFailure) {
    EXPECT_EQ(qn::api::GuardExport([]() -> std::uint32_t { throw std::runtime_error("boom"); }),
              qn::api::kExportFailure);
    EXPECT_EQ(qn::api::GuardExport([]() -> std::uint32_t { return 42; }), 42u);
    bool ran = false;
    qn::api::GuardVoidExport([&] {
        ran = true;
        throw std::bad_alloc();
    });
    EXPECT_TRUE(ran);
}

using LifecycleExportTest = EngineTest;

TEST_F(LifecycleExportTest, InitializeFailureLeavesTheHandleNull) {
    Script().createResult = ToHResult(0x80040154);
    auto handle = reinterpret_cast<QNSNWSM_HANDLE>(0x1234);
    EXPECT_EQ(WSManInitialize("host", TraceFile().c_str(), &handle), QNSNWSM_FAILURE);
    EXPECT_EQ(handle, nullptr);
}

TEST_F(LifecycleExportTest, ConnectDefaultsTheNamespaceAndCutsItsErrorToTheBuffer) {
    QNSNWSM_HANDLE handle = nullptr;
    ASSERT_EQ(WSManInitialize("host", TraceFile().c_str(), &handle), QNSNWSM_OK);
    char error[20];
    EXPECT_EQ(
        WSManConnectToComputer(handle, "pc1", "PC1\\mon", "pw", nullptr, 5986, 1, 0, error, sizeof error),
        QNSNWSM_OK);
    ASSERT_EQ(Script().enumerations.size(), 1u) << "root/cimv2 is validated";
    EXPECT_EQ(Script().enumerations[0].resourceUri,
              "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*");

    Script().defaultEnumeration.result = ToHResult(0x80070005);
    EXPECT_EQ(WSManConnectToComputer(handle, "pc1", "u", "p", "", 5985, 0, 0, error, sizeof error),
              QNSNWSM_FAILURE);
    EXPECT_STREQ(error, "WMI/WinRM Error 0x8");
    WSManShutdown(handle);
}

}  // namespace
}  // namespace qn::test
