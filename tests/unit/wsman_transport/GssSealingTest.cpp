// The client's security context against an in-process acceptor.
#include <gtest/gtest.h>

#include "GssTestAcceptor.h"
#include "TestFiles.h"
#include "TestWinrmEndpoint.h"
#include "wsman/security/GssSecurityContext.h"
#include "wsman/security/SessionEncryption.h"

namespace wsman::security {
namespace {

class GssSealing : public ::testing::TestWithParam<GssMechanism> {
  protected:
    void SetUp() override {
        acceptorCredential_ =
            test::AcquireAcceptorCredential(folder_.Write("users", "TESTDOM:alice:Passw0rd!\n"));
        ASSERT_TRUE(acceptorCredential_);
    }

    // Runs the handshake to completion; returns the number of tokens the client sent.
    int Handshake(GssSecurityContext& client, test::GssTestAcceptor& server) {
        std::string toServer;
        std::string toClient;
        int sent = 0;
        for (int leg = 0; leg < 8; ++leg) {
            const auto step = client.Step(toClient);
            EXPECT_NE(step.status, GssSecurityContext::Status::Failed) << step.error;
            if (step.outputToken.empty()) {
                break;
            }
            ++sent;
            const OM_uint32 major = server.Step(step.outputToken, toClient);
            if (GSS_ERROR(major)) {
                return -1;
            }
            if (server.IsComplete() && toClient.empty()) {
                break;
            }
        }
        return sent;
    }

    test::ScratchFolder folder_;
    GssCredential acceptorCredential_;
};

// Sealing in both directions, tampering and wrong passwords are the Channel tests' (ChannelNegotiate); what
// only the context's own functions decide is here.
TEST_P(GssSealing, RefusesEmptyMessagesAndALengthThatDoesNotMatch) {
    GssCredentials credentials(GetParam(), "TESTDOM\\alice", "Passw0rd!");
    std::string error;
    CredentialProblem problem;
    ASSERT_TRUE(credentials.Acquire(error, problem)) << error;
    GssSecurityContext client(credentials, "localhost", {});
    test::GssTestAcceptor server(acceptorCredential_.Get());
    EXPECT_EQ(Handshake(client, server), 2);
    ASSERT_TRUE(client.IsComplete());

    std::string body;
    EXPECT_FALSE(SealMessage(client, "", body, error));
    std::string header, sealed, unsealed, contentType;
    ASSERT_TRUE(server.Wrap("<reply>long enough to be off by more than a block</reply>", header, sealed));
    EXPECT_FALSE(UnsealMessage(client, test::FrameEncrypted(header, sealed, sealed.size() + 40), unsealed,
                               contentType, error));
}

INSTANTIATE_TEST_SUITE_P(Mechanisms, GssSealing, ::testing::Values(GssMechanism::Ntlm, GssMechanism::Spnego),
                         [](const auto& info) {
                             return info.param == GssMechanism::Ntlm ? "Ntlm" : "Spnego";
                         });

}  // namespace
}  // namespace wsman::security
