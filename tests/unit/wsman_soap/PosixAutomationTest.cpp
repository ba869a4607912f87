#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/WsmanAutomation.h"

namespace qn::platform {
namespace {

constexpr std::uint32_t kConnectionStringInvalid = 0x803380D9;
constexpr std::uint32_t kCredentialsFlagNeeded = 0x803380B3;

// A loopback port nobody listens on: bound, read, and closed again.
std::uint16_t ClosedLoopbackPort() {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(socket);
    return ntohs(address.sin_port);
}

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

TEST_F(PosixAutomation, UnreachableEndpointFailsTheFirstRequestNotTheSession) {
    ASSERT_EQ(options_->SetUserName("user"), kOk);
    const std::string url = "http://127.0.0.1:" + std::to_string(ClosedLoopbackPort()) + "/wsman";
    ASSERT_EQ(wsman_->CreateSession(url, kWsmanFlagCredUsernamePassword, options_.get(), session_), kOk);
    std::unique_ptr<WsmanEnumerator> enumerator;
    const HResult result = session_->Enumerate(std::string(kWmiResourceUriPrefix) + "root/cimv2/*",
                                               "select * from Win32_Service", kWqlDialectUri, 0, enumerator);
    EXPECT_TRUE(Failed(result));
    EXPECT_EQ(enumerator, nullptr);
    std::string response;
    EXPECT_TRUE(Failed(session_->Invoke(
        "StopService", std::string(kWmiResourceUriPrefix) + "root/cimv2/Win32_Service?Name=Spooler",
        "<p:StopService_INPUT xmlns:p=\"urn:x\"/>", 0, response)));
    EXPECT_TRUE(response.empty());
}

}  // namespace
}  // namespace qn::platform
