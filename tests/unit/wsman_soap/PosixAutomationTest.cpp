// The POSIX WinRM automation objects refuse, as Windows does, what the module must never send. That a session
// touches the network only with its first request shows in tests/reliability (a refused connect fails the
// access check, not the session).
#include <gtest/gtest.h>

#include "platform/WsmanAutomation.h"

namespace qn::platform {
namespace {

constexpr std::uint32_t kConnectionStringInvalid = 0x803380D9;
constexpr std::uint32_t kCredentialsFlagNeeded = 0x803380B3;

class PosixAutomation : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(CreatePlatformWsman(wsman_), kOk);
        ASSERT_TRUE(wsman_);
        ASSERT_EQ(wsman_->CreateConnectionOptions(options_), kOk);
        ASSERT_TRUE(options_);
    }
    std::unique_ptr<Wsman> wsman_;
    std::unique_ptr<WsmanConnectionOptions> options_;
    std::unique_ptr<WsmanSession> session_;
};

TEST_F(PosixAutomation, SessionCreationChecksUrlAndCredentialsLikeWindows) {
    EXPECT_EQ(static_cast<std::uint32_t>(wsman_->CreateSession(
                  "ftp://host:21/wsman", kWsmanFlagCredUsernamePassword, options_.get(), session_)),
              kConnectionStringInvalid);
    EXPECT_EQ(session_, nullptr);
    EXPECT_EQ(static_cast<std::uint32_t>(wsman_->CreateSession(
                  "http://host:0/wsman", kWsmanFlagCredUsernamePassword, options_.get(), session_)),
              kConnectionStringInvalid);

    // The module's usual call: the flag always, no user name -> the caller's own credentials.
    EXPECT_EQ(wsman_->CreateSession("http://host:5985/wsman", kWsmanFlagCredUsernamePassword, options_.get(),
                                    session_),
              kOk);
    EXPECT_NE(session_, nullptr);
    EXPECT_EQ(wsman_->CreateSession("https://host:5986/wsman", 0, nullptr, session_), kOk);

    ASSERT_EQ(options_->SetUserName("DOMAIN\\user"), kOk);
    ASSERT_EQ(options_->SetPassword("secret"), kOk);
    EXPECT_EQ(static_cast<std::uint32_t>(
                  wsman_->CreateSession("http://host:5985/wsman", 0, options_.get(), session_)),
              kCredentialsFlagNeeded);
    EXPECT_EQ(wsman_->CreateSession("http://host:5985/wsman", kWsmanFlagCredUsernamePassword, options_.get(),
                                    session_),
              kOk);
}

}  // namespace
}  // namespace qn::platform
