// The client's security context against the simulator's acceptor, a server side written apart from the
// client: handshake, then sealed messages in both directions read by the other side's own framing code,
// and what must not unseal.
#include <gtest/gtest.h>

#include "ChannelTestSupport.h"
#include "server/GssAcceptor.h"
#include "wsman/security/EncryptedBody.h"
#include "wsman/security/GssSecurityContext.h"
#include "wsman/security/SessionEncryption.h"

namespace wsman::security {
namespace {

class GssSealing : public ::testing::TestWithParam<GssMechanism> {
  protected:
    void SetUp() override {
        std::string error;
        acceptorCredential_ =
            qnsim::AcceptorCredential::Acquire(folder_.Write("users", test::kUsers), "", error);
        ASSERT_TRUE(acceptorCredential_) << error;
    }

    // A client and a server context with the handshake run; false when the server refused it. (Wrong
    // passwords: ChannelSimulatorTest.)
    bool Handshake() {
        client_.reset();  // it refers to the credentials
        credentials_ = std::make_unique<GssCredentials>(GetParam(), "TESTDOM\\alice", test::kPassword);
        std::string error;
        CredentialProblem problem;
        EXPECT_TRUE(credentials_->Acquire(error, problem)) << error;
        client_ = std::make_unique<GssSecurityContext>(*credentials_, "localhost", std::string());
        server_ = std::make_unique<qnsim::SecurityContext>();
        std::string toClient;
        for (int leg = 0; leg < 8 && !(server_->Established() && toClient.empty()); ++leg) {
            const auto step = client_->Step(toClient);
            EXPECT_NE(step.status, GssSecurityContext::Status::Failed) << step.error;
            if (step.outputToken.empty()) break;
            const auto accepted = server_->Accept(*acceptorCredential_, step.outputToken);
            if (accepted.step == qnsim::SecurityContext::Step::Failed) return false;
            toClient = accepted.outputToken;
        }
        return client_->IsComplete() && server_->Established();
    }
    // The server's reply as it arrives, announcing `extraLength` more bytes than it has.
    bool Unseal(const std::string& reply, std::string& unsealed, std::size_t extraLength = 0, char flip = 0) {
        auto sealed = server_->Seal(reply, qnsim::kSpnegoEncrypted);
        EXPECT_TRUE(sealed);
        sealed->sealed[2] ^= flip;
        std::string body =
            test::FrameEncrypted(sealed->signature, sealed->sealed, reply.size() + extraLength);
        std::string contentType, error;
        return UnsealMessage(*client_, body, unsealed, contentType, error);
    }

    test::ScratchFolder folder_;
    std::unique_ptr<qnsim::AcceptorCredential> acceptorCredential_;
    std::unique_ptr<GssCredentials> credentials_;
    std::unique_ptr<GssSecurityContext> client_;
    std::unique_ptr<qnsim::SecurityContext> server_;
};

TEST_P(GssSealing, SealsAndUnsealsInBothDirectionsAndRefusesWhatDoesNotUnseal) {
    ASSERT_TRUE(Handshake());
    EXPECT_TRUE(client_->CanSeal());
    // Interleaved messages: each direction keeps its own sequence numbers (SPNEGO starts at 1).
    for (int round = 0; round < 3; ++round) {
        const std::string request = "<s:Envelope>request " + std::to_string(round) + "</s:Envelope>";
        std::string body, error;
        ASSERT_TRUE(SealMessage(*client_, request, body, error)) << error;
        EXPECT_EQ(body.find(request), std::string::npos) << "the envelope went out in clear";
        const auto parts = qnsim::ParseEncryptedBody(kEncryptedContentType, body);
        ASSERT_TRUE(parts) << body;
        EXPECT_EQ(parts->signature.size(), 16u);  // the NTLM signature
        EXPECT_EQ(parts->originalLength, request.size());
        EXPECT_EQ(server_->Unseal(*parts), request);

        const std::string reply = "<s:Envelope>reply " + std::to_string(round) + "</s:Envelope>";
        std::string unsealed;
        ASSERT_TRUE(Unseal(reply, unsealed));
        EXPECT_EQ(unsealed, reply);
    }

    std::string body, error, unsealed;
    EXPECT_FALSE(SealMessage(*client_, "", body, error));
    EXPECT_FALSE(Unseal("<reply/>", unsealed, 0, 0x20));
    // A fresh pair: the tampered message desynchronised the stream cipher for good.
    ASSERT_TRUE(Handshake());
    EXPECT_FALSE(Unseal("<reply>long enough to be off by more than a block</reply>", unsealed, 40));
}

INSTANTIATE_TEST_SUITE_P(Mechanisms, GssSealing, ::testing::Values(GssMechanism::Ntlm, GssMechanism::Spnego),
                         [](const auto& info) {
                             return info.param == GssMechanism::Ntlm ? "Ntlm" : "Spnego";
                         });

}  // namespace
}  // namespace wsman::security
