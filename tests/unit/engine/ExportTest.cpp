// The exports' exception guard, and the lifecycle exports where only the fake WinRM client can fail them.
// Buffer sizes, NULL handles and arguments are tests/reliability's (HostileInputTest).
#include <stdexcept>
#include <string>

#include "EngineTestSupport.h"
#include "api/ExportSupport.h"
#include "qnsnwsm.h"

namespace qn::test {
namespace {

TEST(ExportGuardTest, ExceptionsBecomeFailure) {
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
