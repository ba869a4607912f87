// Connecting through the exports to the in-process simulator: the default scheme (raw NTLM for DOMAIN\user)
// with every message sealed, a wrong password, a host that does not resolve, Basic where both sides allow
// it, and a validation class the computer lacks.
#include <gtest/gtest.h>

#include "ModuleBench.h"

namespace qn::e2e {
namespace {

using qntest::Bench;
using qntest::kPassword;
using qntest::Transport;

class ConnectTest : public ::testing::TestWithParam<Transport> {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(bench_.StartSim({}, error)) << error;
    }
    std::string Trace() const { return qntest::ReadFile(bench_.TraceFile()); }

    Bench bench_{GetParam()};
};

TEST_P(ConnectTest, ConnectsValidatesAndDisconnects) {
    ASSERT_EQ(bench_.ConnectToSim(), QNSNWSM_OK) << bench_.ErrorText();
    EXPECT_STREQ(bench_.ErrorText(), "");
    WSManDisconnectComputer(bench_.Handle());

    const auto lines = qntest::ReadTraceMessages(bench_.TraceFile());
    const std::string url =
        "WinRM URL:      [http://127.0.0.1:" + std::to_string(bench_.SimPort()) + "/wsman]";
    for (const std::string& line :
         {url, std::string("WinRM UserName: [PC1\\monitor]"), std::string("WinRMValidateAccess completed."),
          std::string("OpenSession completed.")}) {
        EXPECT_TRUE(qntest::HasLine(lines, line)) << line;
    }
    EXPECT_EQ(lines.back(), "Session closed.");
    EXPECT_EQ(Trace().find(kPassword), std::string::npos);
}

TEST_P(ConnectTest, WrongPasswordIsAccessDenied) {
    char error[128];
    EXPECT_EQ(WSManConnectToComputer(bench_.Handle(), "127.0.0.1", qntest::kUser, "not-the-password",
                                     "root\\cimv2", bench_.SimPort(), 0, 0, error, sizeof error),
              QNSNWSM_FAILURE);
    EXPECT_STREQ(error, "WMI/WinRM Error 0x80070005: Access is denied");
    EXPECT_EQ(Trace().find("not-the-password"), std::string::npos);
}

TEST_P(ConnectTest, UserNameOfNoAccountFormIsRefusedBeforeTheComputerIsAsked) {
    for (const char* user : {"PC1\\", "\\monitor", "PC1\\ops\\monitor", "monitor@", "PC1\\monitor@PC1"}) {
        char error[128];
        EXPECT_EQ(WSManConnectToComputer(bench_.Handle(), "127.0.0.1", user, kPassword, "root\\cimv2",
                                         bench_.SimPort(), 0, 0, error, sizeof error),
                  QNSNWSM_FAILURE)
            << user;
        EXPECT_EQ(std::string(error), qntest::WinrmErrorText(0x80070523)) << user;
    }
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
