// The client's security context against an in-process acceptor: handshake, then sealed messages
// in both directions.
#include <gtest/gtest.h>

#include "GssTestAcceptor.h"
#include "TestFiles.h"
#include "TestWinrmEndpoint.h"
#include "wsman/security/EncryptedBody.h"
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

TEST_P(GssSealing, SealsAndUnsealsInBothDirections) {
    GssCredentials credentials(GetParam(), "TESTDOM\\alice", "Passw0rd!");
    std::string error;
    CredentialProblem problem;
    ASSERT_TRUE(credentials.Acquire(error, problem)) << error;
    GssSecurityContext client(credentials, "localhost", {});
    test::GssTestAcceptor server(acceptorCredential_.Get());
    EXPECT_EQ(Handshake(client, server), 2);
    ASSERT_TRUE(client.IsComplete());
    ASSERT_TRUE(server.IsComplete());
    EXPECT_TRUE(client.CanSeal());
    EXPECT_EQ(server.PeerName(), "TESTDOM\\alice");

    // Interleaved messages: each direction keeps its own sequence numbers (SPNEGO starts at 1).
    for (int round = 0; round < 3; ++round) {
        const std::string request = "<s:Envelope>request " + std::to_string(round) + "</s:Envelope>";
        std::string body;
        ASSERT_TRUE(SealMessage(client, request, body, error)) << error;
        std::vector<EncryptedPart> parts;
        ASSERT_TRUE(ParseEncryptedBody(body, parts, error)) << error;
        ASSERT_EQ(parts.size(), 1u);
        EXPECT_EQ(parts[0].header.size(), 16u);  // the NTLM signature
        EXPECT_EQ(parts[0].originalLength, request.size());
        EXPECT_EQ(body.find(request), std::string::npos) << "the envelope went out in clear";
        std::string received;
        ASSERT_TRUE(server.Unwrap(parts[0].header + parts[0].data, received));
        EXPECT_EQ(received, request);

        const std::string reply = "<s:Envelope>reply " + std::to_string(round) + "</s:Envelope>";
        std::string header;
        std::string sealed;
        ASSERT_TRUE(server.Wrap(reply, header, sealed));
        std::string unsealed;
        std::string contentType;
        ASSERT_TRUE(UnsealMessage(client, test::FrameEncrypted(header, sealed, sealed.size()), unsealed,
                                  contentType, error))
            << error;
        EXPECT_EQ(unsealed, reply);
        EXPECT_EQ(contentType, kSoapContentType);
    }
}

TEST_P(GssSealing, RejectsTamperedAndEmptyMessages) {
    GssCredentials credentials(GetParam(), "TESTDOM\\alice", "Passw0rd!");
    std::string error;
    CredentialProblem problem;
    ASSERT_TRUE(credentials.Acquire(error, problem)) << error;
    GssSecurityContext client(credentials, "localhost", {});
    test::GssTestAcceptor server(acceptorCredential_.Get());
    Handshake(client, server);
    ASSERT_TRUE(client.IsComplete());

    std::string body;
    EXPECT_FALSE(SealMessage(client, "", body, error));

    std::string header;
    std::string sealed;
    ASSERT_TRUE(server.Wrap("<reply/>", header, sealed));
    sealed[2] ^= 0x20;
    std::string unsealed;
    std::string contentType;
    EXPECT_FALSE(UnsealMessage(client, test::FrameEncrypted(header, sealed, sealed.size()), unsealed,
                               contentType, error));

    // Announced length that does not match what unseals (a fresh pair: the tampered message above
    // desynchronised the stream cipher for good).
    GssSecurityContext client3(credentials, "localhost", {});
    test::GssTestAcceptor server3(acceptorCredential_.Get());
    Handshake(client3, server3);
    ASSERT_TRUE(server3.Wrap("<reply>long enough to be off by more than a block</reply>", header, sealed));
    EXPECT_FALSE(UnsealMessage(client3, test::FrameEncrypted(header, sealed, sealed.size() + 40), unsealed,
                               contentType, error));
}

TEST_P(GssSealing, WrongPasswordIsRejectedByTheServer) {
    GssCredentials credentials(GetParam(), "TESTDOM\\alice", "wrong");
    std::string error;
    CredentialProblem problem;
    ASSERT_TRUE(credentials.Acquire(error, problem)) << error;
    GssSecurityContext client(credentials, "localhost", {});
    test::GssTestAcceptor server(acceptorCredential_.Get());
    EXPECT_EQ(Handshake(client, server), -1);
    EXPECT_FALSE(server.IsComplete());
}

INSTANTIATE_TEST_SUITE_P(Mechanisms, GssSealing, ::testing::Values(GssMechanism::Ntlm, GssMechanism::Spnego),
                         [](const auto& info) {
                             return info.param == GssMechanism::Ntlm ? "Ntlm" : "Spnego";
                         });

}  // namespace
}  // namespace wsman::security
