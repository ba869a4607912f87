// The exports' shared buffer rules, and the lifecycle exports where only the fake WinRM client can fail
// them. NULL handles and arguments are tests/reliability's (HostileInputTest), list joins the check exports'.
#include <cstring>
#include <stdexcept>
#include <string>

#include "EngineTestSupport.h"
#include "api/ExportSupport.h"
#include "qnsnwsm.h"

namespace qn::test {
namespace {

using qn::api::CopyToBuffer;
using qn::api::kExportFailure;

using LifecycleExportTest = EngineTest;

TEST(ExportBufferTest, CopyPadsTruncatesAndTerminates) {
    char buffer[8];

    std::memset(buffer, 'x', sizeof buffer);
    CopyToBuffer("abc", buffer, sizeof buffer);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("abc\0\0\0\0\0", 8));

    std::memset(buffer, 'x', sizeof buffer);
    CopyToBuffer("abcdefghijk", buffer, 4);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("abc\0xxxx", 8));

    std::memset(buffer, 'x', sizeof buffer);
    CopyToBuffer("abc", buffer, 1);
    EXPECT_EQ(std::string(buffer, 2), std::string("\0x", 2));

    std::memset(buffer, 'x', sizeof buffer);
    CopyToBuffer("abc", buffer, 0);
    EXPECT_EQ(std::string(buffer, sizeof buffer), "xxxxxxxx");

    CopyToBuffer("abc", nullptr, 8);  // a host without a buffer gets nothing written
}

TEST(ExportBufferTest, TextAndNumberOutputsZeroOnEntry) {
    char buffer[6];
    std::memset(buffer, 'x', sizeof buffer);
    std::uint32_t number = 7;
    std::uint32_t kept = 9;
    {
        qn::api::TextOut out(buffer, 5);
        EXPECT_EQ(std::string(buffer, 6), std::string("\0\0\0\0\0x", 6));
        out.Text() = "long text";
        out.CopyOut();
        qn::api::NumberOut zeroed(&number);
        qn::api::NumberOut left(&kept, qn::api::NumberOut::kLeaveAsIs);
        qn::api::NumberOut absent(nullptr);
        absent.Value() = 3;
        EXPECT_EQ(left.Value(), 9u);
    }
    EXPECT_STREQ(buffer, "long");
    EXPECT_EQ(number, 0u);

    std::memset(buffer, 'x', sizeof buffer);
    qn::api::TextOut untouched(buffer, 0);
    untouched.Text() = "abc";
    untouched.CopyOut();
    EXPECT_EQ(std::string(buffer, 6), "xxxxxx");
}

TEST(ExportBufferTest, GuardTurnsExceptionsIntoFailure) {
    EXPECT_EQ(qn::api::GuardExport([]() -> std::uint32_t { throw std::runtime_error("boom"); }),
              kExportFailure);
    EXPECT_EQ(qn::api::GuardExport([]() -> std::uint32_t { return 42; }), 42u);
    bool ran = false;
    qn::api::GuardVoidExport([&] {
        ran = true;
        throw std::bad_alloc();
    });
    EXPECT_TRUE(ran);
}

TEST_F(LifecycleExportTest, InitializeFailureLeavesTheHandleNull) {
    Script().createResult = qn::platform::ToHResult(0x80040154);
    auto handle = reinterpret_cast<QNSNWSM_HANDLE>(0x1234);
    EXPECT_EQ(WSManInitialize("host", TraceFile().c_str(), &handle), QNSNWSM_FAILURE);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(Trace().back(), "CoCreateInstance failed (error 0x80040154).");
}

TEST_F(LifecycleExportTest, ConnectStoresSettingsAndDefaultsTheNamespace) {
    QNSNWSM_HANDLE handle = nullptr;
    ASSERT_EQ(WSManInitialize("host", TraceFile().c_str(), &handle), QNSNWSM_OK);
    char error[64];
    std::memset(error, 'x', sizeof error);

    EXPECT_EQ(
        WSManConnectToComputer(handle, "pc1", "PC1\\mon", "pw", nullptr, 5986, 1, 0, error, sizeof error),
        QNSNWSM_OK);
    EXPECT_STREQ(error, "");
    EXPECT_EQ(Script().connection, "https://pc1:5986/wsman");
    EXPECT_EQ(Script().userName, "PC1\\mon");
    ASSERT_EQ(Script().enumerations.size(), 1u) << "root/cimv2 is validated";
    EXPECT_EQ(Script().enumerations[0].resourceUri,
              "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*");

    WSManDisconnectComputer(handle);
    const auto lines = Trace();
    EXPECT_EQ(lines[lines.size() - 2], "Closing session...");
    EXPECT_EQ(lines.back(), "Session closed.");
    EXPECT_EQ(Script().liveSessions, 0);
    WSManShutdown(handle);
}

TEST_F(LifecycleExportTest, ConnectFailureTextIsTruncatedToTheBuffer) {
    QNSNWSM_HANDLE handle = nullptr;
    ASSERT_EQ(WSManInitialize("host", TraceFile().c_str(), &handle), QNSNWSM_OK);
    Script().defaultEnumeration.result = qn::platform::ToHResult(0x80070005);
    char error[20];
    EXPECT_EQ(WSManConnectToComputer(handle, "pc1", "u", "p", "", 5985, 0, 0, error, sizeof error),
              QNSNWSM_FAILURE);
    EXPECT_STREQ(error, "WMI/WinRM Error 0x8");
    WSManShutdown(handle);
}

}  // namespace
}  // namespace qn::test
