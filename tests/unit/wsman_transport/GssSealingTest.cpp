// The client's security context against an in-process acceptor: handshake, then sealed messages in both
// directions, and what must not unseal.
#include <gssapi/gssapi_ext.h>
#include <gtest/gtest.h>

#include "ChannelTestSupport.h"
#include "wsman/security/EncryptedBody.h"
#include "wsman/security/GssSecurityContext.h"
#include "wsman/security/SessionEncryption.h"

namespace wsman::security {
namespace {

// The server side for these tests: NTLM from a users file (DOMAIN:user:password) and SPNEGO, with the
// mechanism plugins the client uses. gss-ntlmssp refuses a nameless credential with a key file.
security::GssCredential AcquireAcceptorCredential(const std::string& usersFile) {
    OM_uint32 minor = 0;
    security::GssName name;
    const std::string service = "HTTP@localhost";
    gss_buffer_desc serviceBuffer = security::BorrowBuffer(service);
    gss_import_name(&minor, &serviceBuffer, GSS_C_NT_HOSTBASED_SERVICE, name.Out());
    gss_key_value_element_desc element{"ntlmssp_keyfile", usersFile.c_str()};
    gss_key_value_set_desc store{1, &element};
    security::GssCredential credential;
    gss_acquire_cred_from(&minor, name.Get(), GSS_C_INDEFINITE, GSS_C_NO_OID_SET, GSS_C_ACCEPT, &store,
                          credential.Out(), nullptr, nullptr);
    return credential;
}

class Acceptor {
  public:
    explicit Acceptor(gss_cred_id_t credential) : credential_(credential) {}

    OM_uint32 Step(const std::string& input, std::string& output) {
        OM_uint32 minor = 0;
        gss_buffer_desc in = security::BorrowBuffer(input);
        security::GssBuffer out;
        const OM_uint32 major =
            gss_accept_sec_context(&minor, context_.InOut(), credential_, &in, GSS_C_NO_CHANNEL_BINDINGS,
                                   nullptr, nullptr, out.Out(), nullptr, nullptr, nullptr);
        output = out.ToString();
        complete_ = major == GSS_S_COMPLETE;
        return major;
    }
    bool IsComplete() const { return complete_; }

    // gss_wrap split as WinRM frames it: `header` is the part before the sealed data.
    bool Wrap(const std::string& plaintext, std::string& header, std::string& sealed) {
        OM_uint32 minor = 0;
        gss_buffer_desc in = security::BorrowBuffer(plaintext);
        security::GssBuffer out;
        if (GSS_ERROR(gss_wrap(&minor, context_.Get(), 1, GSS_C_QOP_DEFAULT, &in, nullptr, out.Out()))) {
            return false;
        }
        const std::string token = out.ToString();
        header = token.substr(0, token.size() - plaintext.size());
        sealed = token.substr(header.size());
        return true;
    }
    bool Unwrap(const std::string& token, std::string& plaintext) {
        OM_uint32 minor = 0;
        gss_buffer_desc in = security::BorrowBuffer(token);
        security::GssBuffer out;
        int encrypted = 0;
        if (GSS_ERROR(gss_unwrap(&minor, context_.Get(), &in, out.Out(), &encrypted, nullptr)) ||
            !encrypted) {
            return false;
        }
        plaintext = out.ToString();
        return true;
    }

  private:
    gss_cred_id_t credential_;
    security::GssContext context_;
    bool complete_ = false;
};

class GssSealing : public ::testing::TestWithParam<GssMechanism> {
  protected:
    void SetUp() override {
        acceptorCredential_ = AcquireAcceptorCredential(folder_.Write("users", test::kUsers));
        ASSERT_TRUE(acceptorCredential_);
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
        server_ = std::make_unique<Acceptor>(acceptorCredential_.Get());
        std::string toClient;
        for (int leg = 0; leg < 8 && !(server_->IsComplete() && toClient.empty()); ++leg) {
            const auto step = client_->Step(toClient);
            EXPECT_NE(step.status, GssSecurityContext::Status::Failed) << step.error;
            if (step.outputToken.empty()) break;
            if (GSS_ERROR(server_->Step(step.outputToken, toClient))) return false;
        }
        return client_->IsComplete() && server_->IsComplete();
    }
    // The server's reply as it arrives, announcing `extraLength` more bytes than it has.
    bool Unseal(const std::string& reply, std::string& unsealed, std::size_t extraLength = 0, char flip = 0) {
        std::string header, sealed, contentType, error;
        EXPECT_TRUE(server_->Wrap(reply, header, sealed));
        sealed[2] ^= flip;
        std::string body = test::FrameEncrypted(header, sealed, sealed.size() + extraLength);
        return UnsealMessage(*client_, body, unsealed, contentType, error);
    }

    test::ScratchFolder folder_;
    GssCredential acceptorCredential_;
    std::unique_ptr<GssCredentials> credentials_;
    std::unique_ptr<GssSecurityContext> client_;
    std::unique_ptr<Acceptor> server_;
};

TEST_P(GssSealing, SealsAndUnsealsInBothDirections) {
    ASSERT_TRUE(Handshake());
    EXPECT_TRUE(client_->CanSeal());
    // Interleaved messages: each direction keeps its own sequence numbers (SPNEGO starts at 1).
    for (int round = 0; round < 3; ++round) {
        const std::string request = "<s:Envelope>request " + std::to_string(round) + "</s:Envelope>";
        std::string body, error;
        ASSERT_TRUE(SealMessage(*client_, request, body, error)) << error;
        EXPECT_EQ(body.find(request), std::string::npos) << "the envelope went out in clear";
        std::vector<EncryptedPart> parts;
        ASSERT_TRUE(ParseEncryptedBody(body, parts, error)) << error;
        ASSERT_EQ(parts.size(), 1u);
        EXPECT_EQ(parts[0].header.size(), 16u);  // the NTLM signature
        EXPECT_EQ(parts[0].originalLength, request.size());
        std::string received;
        ASSERT_TRUE(server_->Unwrap(std::string(parts[0].header) + std::string(parts[0].data), received));
        EXPECT_EQ(received, request);

        const std::string reply = "<s:Envelope>reply " + std::to_string(round) + "</s:Envelope>";
        std::string unsealed;
        ASSERT_TRUE(Unseal(reply, unsealed));
        EXPECT_EQ(unsealed, reply);
    }
}

TEST_P(GssSealing, RejectsEmptyTamperedAndMislabelledMessages) {
    ASSERT_TRUE(Handshake());
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
