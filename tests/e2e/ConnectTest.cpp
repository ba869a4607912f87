// Connecting through the exports to the in-process simulator, with the default scheme (raw NTLM for
// DOMAIN\user, every message sealed) and with Basic where both sides allow it: the session's trace, bad
// credentials, and a validation class the computer lacks.
#include <gtest/gtest.h>

#include "ModuleBench.h"

namespace qn::e2e {
namespace {

using qntest::Bench;
using qntest::kPassword;
using qntest::Transport;

class ConnectTest : public ::testing::TestWithParam<Transport> {
  protected:
    void SetUp() override { ASSERT_TRUE(bench_.StartSim()) << bench_.SimError(); }
    std::string Trace() const { return qntest::ReadFile(bench_.TraceFile()); }

    Bench bench_{GetParam()};
};

TEST_P(ConnectTest, ConnectsValidatesAndDisconnects) {
    ASSERT_EQ(bench_.ConnectToSim(), QNSNWSM_OK) << bench_.ErrorText();
    EXPECT_STREQ(bench_.ErrorText(), "");
    WSManDisconnectComputer(bench_.Handle());

    const auto lines = qntest::ReadTraceMessages(bench_.TraceFile());
    for (const std::string& line :
         {"WinRM URL:      [http://127.0.0.1:" + std::to_string(bench_.SimPort()) + "/wsman]",
          std::string("WinRM UserName: [PC1\\monitor]"), std::string("WinRMValidateAccess completed."),
          std::string("OpenSession completed.")})
        EXPECT_TRUE(qntest::HasLine(lines, line)) << line;
    EXPECT_EQ(lines.back(), "Session closed.");
    EXPECT_EQ(Trace().find(kPassword), std::string::npos);
}

// A name of no account form is refused before the computer is asked.
TEST_P(ConnectTest, BadCredentialsAreRefusedWithTheirCodeAndNeverTraced) {
    const struct {
        const char* user;
        const char* password;
        std::uint32_t code;
    } cases[] = {{qntest::kUser, "not-the-password", 0x80070005},
                 {"PC1\\", kPassword, 0x80070523},
                 {"PC1\\ops\\monitor", kPassword, 0x80070523},
                 {"PC1\\monitor@PC1", kPassword, 0x80070523}};
    for (const auto& bad : cases) {
        char error[128];
        EXPECT_EQ(WSManConnectToComputer(bench_.Handle(), "127.0.0.1", bad.user, bad.password, "root\\cimv2",
                                         bench_.SimPort(), 0, 0, error, sizeof error),
                  QNSNWSM_FAILURE)
            << bad.user;
        EXPECT_EQ(std::string(error), qntest::WinrmErrorText(bad.code)) << bad.user;
    }
    EXPECT_EQ(Trace().find("not-the-password"), std::string::npos);
}

TEST_P(ConnectTest, ClassTheComputerLacksFailsValidation) {
    bench_.Scratch().WriteStore(qntest::StoreText("ValidationClass=Win32_NoSuchClass\n"));
    EXPECT_EQ(bench_.ConnectToSim(), QNSNWSM_FAILURE);
    EXPECT_EQ(bench_.ErrorText(), qntest::WinrmErrorText(0x8033801A));
}

INSTANTIATE_TEST_SUITE_P(Schemes, ConnectTest,
                         ::testing::Values(Transport::Negotiate, Transport::BasicOverHttp),
                         [](const auto& info) {
                             return info.param == Transport::Negotiate ? "Sealed" : "Basic";
                         });

}  // namespace
}  // namespace qn::e2e
