// Enumerations through the session against a scripted server: lazy Pulls, the end, and Release only of what
// the server still holds. Fault and transport codes pass through as they are (tests/reliability).
#include <gtest/gtest.h>

#include <deque>

#include "SoapTestSupport.h"
#include "wsman/client/ClientSession.h"
#include "wsman/core/ErrorCodes.h"

namespace wsman::client {
namespace {

constexpr const char* kService = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service";
constexpr const char* kWql = "http://schemas.microsoft.com/wbem/wsman/1/WQL";
constexpr int kLostContext = -1;  // a batch the server answers with InvalidEnumerationContext

struct Batch {
    int items;
    bool end = false;
};

class ClientSessionTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ChannelSettings settings;
        settings.url = "http://host:5985/wsman";
        session_ = std::make_unique<ClientSession>(
            settings, ConversationLimits{512000, 250},
            [this](const ChannelSettings&) -> std::unique_ptr<Channel> {
                ++channelsOpened_;
                return std::make_unique<testing::ScriptedChannel>(
                    [this](const std::string& request, Exchange& out) { return Answer(request, out); },
                    sent_);
            });
    }

    HResult Answer(const std::string& request, Exchange& out) {
        const std::string action = Action(request);
        out.httpStatus = 200;
        std::string body = "<n:ReleaseResponse/>";
        if (action != ns::kActionRelease) {
            if (batches_.empty()) return errors::kUnspecifiedFailure;
            const Batch batch = batches_.front();
            batches_.pop_front();
            const std::string element =
                action == ns::kActionEnumerate ? "n:EnumerateResponse" : "n:PullResponse";
            body = "<" + element + "><n:EnumerationContext>uuid:CTX</n:EnumerationContext><w:Items>";
            for (int i = 0; i < batch.items; ++i) {
                body += "<p:Win32_Service xmlns:p=\"" + std::string(kService) + "\"><p:Name>S" +
                        std::to_string(served_++) + "</p:Name></p:Win32_Service>";
            }
            body +=
                std::string("</w:Items>") + (batch.end ? "<w:EndOfSequence/>" : "") + "</" + element + ">";
            if (batch.items == kLostContext) {
                out.httpStatus = 500;
                body = testing::FaultWithSubcode("n:InvalidEnumerationContext", "", "context gone");
            }
        }
        out.body = testing::ReplyTo(request, action + "Response", body);
        return 0;
    }

    static std::string Action(const std::string& request) {
        return testing::HeaderText(xml::ParseUntrusted(request).get(), ns::kAddressing, "Action");
    }
    std::string ContextSent(std::size_t index) const {
        const auto doc = xml::ParseUntrusted(sent_.at(index));
        return xml::TextOf(xml::FindChild(xml::FirstChildElement(testing::BodyOf(doc.get())),
                                          ns::kEnumeration, "EnumerationContext"));
    }
    std::unique_ptr<EnumerationStream> Enumerate() {
        std::unique_ptr<EnumerationStream> stream;
        EXPECT_EQ(session_->Enumerate(std::string(kService), "select * from Win32_Service", kWql, stream), 0);
        return stream;
    }

    std::vector<std::string> sent_;
    std::deque<Batch> batches_;
    int served_ = 0;
    int channelsOpened_ = 0;
    std::unique_ptr<ClientSession> session_;
};

TEST_F(ClientSessionTest, PullsLazilyToTheEndAndHoldsOneResponseAtATime) {
    batches_ = {{2}, {0}, {3}, {1, true}};
    EXPECT_EQ(channelsOpened_, 0) << "the connection is made by the first request";
    auto stream = Enumerate();
    ASSERT_TRUE(stream);
    std::vector<std::size_t> requestsBeforeRead;
    EnumeratedItem item;
    bool atEnd = false;
    while (stream->AtEnd(atEnd) == 0 && !atEnd) {
        EXPECT_LE(stream->BufferedItems(), 3u);
        requestsBeforeRead.push_back(sent_.size());
        ASSERT_EQ(stream->Read(item), 0);
    }
    ASSERT_TRUE(atEnd);
    EXPECT_NE(item.Text().find("<p:Name>S5</p:Name>"), std::string::npos) << item.Text();
    // Enumerate served items 0-1; the empty batch and the third came from Pulls made only when needed.
    EXPECT_EQ(requestsBeforeRead, (std::vector<std::size_t>{1, 1, 3, 3, 3, 4}));
    EXPECT_EQ(channelsOpened_, 1);
    EXPECT_EQ(Action(sent_[3]), ns::kActionPull);
    EXPECT_EQ(ContextSent(3), "uuid:CTX");
    EXPECT_EQ(stream->Read(item), errors::kEnumerationClosed);
    stream.reset();
    EXPECT_EQ(sent_.size(), 4u) << "a finished enumeration is not released";
}

TEST_F(ClientSessionTest, OnlyAnAbandonedOpenEnumerationIsReleased) {
    batches_ = {{2}, {2, true}};
    auto stream = Enumerate();
    EnumeratedItem item;
    ASSERT_EQ(stream->Read(item), 0);
    stream.reset();
    ASSERT_EQ(sent_.size(), 2u);
    EXPECT_EQ(Action(sent_[1]), ns::kActionRelease);
    EXPECT_EQ(ContextSent(1), "uuid:CTX");

    batches_ = {{1, true}};  // everything in the first response: nothing to release
    Enumerate().reset();
    EXPECT_EQ(sent_.size(), 3u);

    // A failed Pull is reported, not retried, and the context the server dropped is not released.
    batches_ = {{1}, {kLostContext}, {1, true}};
    stream = Enumerate();
    ASSERT_EQ(stream->Read(item), 0);
    bool atEnd = true;
    EXPECT_EQ(stream->AtEnd(atEnd), errors::kInvalidEnumerationContext);
    EXPECT_FALSE(atEnd);
    EXPECT_EQ(session_->LastErrorDetail(), "context gone");
    EXPECT_EQ(stream->Read(item), errors::kInvalidEnumerationContext);
    stream.reset();
    EXPECT_EQ(sent_.size(), 5u);
}

}  // namespace
}  // namespace wsman::client
