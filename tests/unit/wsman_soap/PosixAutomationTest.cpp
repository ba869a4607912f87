// The POSIX WinRM automation objects refuse, as Windows does, what the module must never send. That a session
// touches the network only with its first request shows in tests/reliability.
#include <gtest/gtest.h>

#include "platform/WsmanAutomation.h"

namespace qn::platform {
namespace {

TEST(PosixAutomation, SessionCreationChecksUrlAndCredentialsLikeWindows) {
    std::unique_ptr<Wsman> wsman;
    std::unique_ptr<WsmanConnectionOptions> options;
    std::unique_ptr<WsmanSession> session;
    ASSERT_EQ(CreatePlatformWsman(wsman), kOk);
    ASSERT_EQ(wsman->CreateConnectionOptions(options), kOk);
    const auto create = [&](const char* url, std::int32_t flags, WsmanConnectionOptions* with) {
        return static_cast<std::uint32_t>(wsman->CreateSession(url, flags, with, session));
    };
    EXPECT_EQ(create("ftp://host:21/wsman", kWsmanFlagCredUsernamePassword, options.get()), 0x803380D9u);
    EXPECT_EQ(session, nullptr);
    // The module's usual call: the flag always, no user name -> the caller's own credentials.
    EXPECT_EQ(create("http://host:5985/wsman", kWsmanFlagCredUsernamePassword, options.get()), kOk);
    EXPECT_NE(session, nullptr);
    EXPECT_EQ(create("https://host:5986/wsman", 0, nullptr), kOk);

    ASSERT_EQ(options->SetUserName("DOMAIN\\user"), kOk);
    ASSERT_EQ(options->SetPassword("secret"), kOk);
    EXPECT_EQ(create("http://host:5985/wsman", 0, options.get()), 0x803380B3u) << "credentials need the flag";
    EXPECT_EQ(create("http://host:5985/wsman", kWsmanFlagCredUsernamePassword, options.get()), kOk);
}

}  // namespace
}  // namespace qn::platform
