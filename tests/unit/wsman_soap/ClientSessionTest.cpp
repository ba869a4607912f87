#include <gtest/gtest.h>

#include <deque>

#include "SoapTestSupport.h"
#include "wsman/client/ClientSession.h"
#include "wsman/soap/ErrorCodes.h"
#include "wsman/soap/Namespaces.h"

namespace wsman::client {
namespace {

constexpr const char* kAllClasses = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*";
constexpr const char* kWql = "http://schemas.microsoft.com/wbem/wsman/1/WQL";
constexpr const char* kService = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service";

struct Batch {
    int items;
    bool end;
};

struct SentRequest {
    std::string action;
    xml::DocPtr doc;
};

// A server that answers an Enumerate and its Pulls from a list of batches, and anything else from `other`.
class ClientSessionTest : public ::testing::Test {
  protected:
    std::unique_ptr<ClientSession> MakeSession() {
        ChannelSettings settings;
        settings.url = "http://host:5985/wsman";
        return std::make_unique<ClientSession>(
            settings, ConversationLimits{512000, 250},
            [this](const ChannelSettings&) -> std::unique_ptr<Channel> {
                ++channelsOpened_;
                return std::make_unique<testing::ScriptedChannel>(
                    [this](const std::string& request, Exchange& out) { return Answer(request, out); },
                    sent_);
            });
    }

    HResult Answer(const std::string& request, Exchange& out) {
        const auto doc = xml::ParseUntrusted(request);
        const std::string action = testing::HeaderText(doc.get(), ns::kAddressing, "Action");
        out.httpStatus = 200;
        if (action == ns::kActionRelease) {
            out.body = testing::ReplyTo(request, "ReleaseResponse", "");
            return 0;
        }
        if ((action == ns::kActionEnumerate || action == ns::kActionPull) && !batches_.empty()) {
            if (pullFault_ && action == ns::kActionPull) {
                out.httpStatus = 500;
                out.body = testing::ReplyTo(request, "fault", *pullFault_);
                return 0;
            }
            const Batch batch = batches_.front();
            batches_.pop_front();
            std::string items;
            for (int i = 0; i < batch.items; ++i) {
                items += "<p:Win32_Service xmlns:p=\"" + std::string(kService) + "\"><p:Name>S" +
                         std::to_string(served_++) + "</p:Name></p:Win32_Service>";
            }
            const char* element = action == ns::kActionEnumerate ? "n:EnumerateResponse" : "n:PullResponse";
            out.body = testing::ReplyTo(
                request, "r",
                std::string("<") + element +
                    "><n:EnumerationContext>uuid:CTX</n:EnumerationContext><w:Items>" + items + "</w:Items>" +
                    (batch.end ? "<w:EndOfSequence/>" : "") + "</" + element + ">");
            return 0;
        }
        return other_(request, out);
    }

    SentRequest Sent(std::size_t index) const {
        SentRequest request;
        request.doc = xml::ParseUntrusted(sent_.at(index));
        request.action = testing::HeaderText(request.doc.get(), ns::kAddressing, "Action");
        return request;
    }

    std::string BodyText(const SentRequest& request, const char* parent, const char* ns,
                         const char* name) const {
        const xmlNode* element = xml::FindChild(testing::BodyOf(request.doc.get()), ns::kEnumeration, parent);
        return xml::TextOf(xml::FindChild(element, ns, name));
    }

    std::vector<std::string> sent_;
    std::deque<Batch> batches_;
    std::optional<std::string> pullFault_;
    int served_ = 0;
    int channelsOpened_ = 0;
    testing::ScriptedChannel::Script other_ = [](const std::string&, Exchange&) {
        return errors::kUnspecifiedFailure;
    };
};

TEST_F(ClientSessionTest, PullsLazilyAndHoldsOneResponseAtATime) {
    batches_ = {{2, false}, {0, false}, {3, false}, {1, true}};
    auto session = MakeSession();
    EXPECT_EQ(channelsOpened_, 0) << "the connection is made by the first request";
    std::unique_ptr<EnumerationStream> stream;
    ASSERT_EQ(session->Enumerate(kAllClasses, "select * from Win32_Service", kWql, stream), 0);

    std::vector<std::string> items;
    std::vector<std::size_t> requestsBeforeRead;
    bool atEnd = false;
    while (stream->AtEnd(atEnd) == 0 && !atEnd) {
        EXPECT_LE(stream->BufferedItems(), 3u);
        requestsBeforeRead.push_back(sent_.size());
        std::string item;
        ASSERT_EQ(stream->Read(item), 0);
        items.push_back(item);
    }
    ASSERT_TRUE(atEnd);
    ASSERT_EQ(items.size(), 6u);
    EXPECT_NE(items[0].find("<p:Name>S0</p:Name>"), std::string::npos);
    EXPECT_NE(items[5].find("<p:Name>S5</p:Name>"), std::string::npos);
    // Enumerate served items 0-1; the empty batch and the third came from Pulls made only when needed.
    EXPECT_EQ(requestsBeforeRead, (std::vector<std::size_t>{1, 1, 3, 3, 3, 4}));
    EXPECT_EQ(channelsOpened_, 1);

    ASSERT_EQ(sent_.size(), 4u);
    const auto enumerate = Sent(0);
    EXPECT_EQ(enumerate.action, ns::kActionEnumerate);
    EXPECT_EQ(testing::HeaderText(enumerate.doc.get(), ns::kWsman, "ResourceURI"), kAllClasses);
    EXPECT_EQ(BodyText(enumerate, "Enumerate", ns::kWsman, "Filter"), "select * from Win32_Service");
    const std::string sessionId = testing::HeaderText(enumerate.doc.get(), ns::kMsWsman, "SessionId");
    for (std::size_t i = 1; i < sent_.size(); ++i) {
        const auto pull = Sent(i);
        EXPECT_EQ(pull.action, ns::kActionPull);
        EXPECT_EQ(BodyText(pull, "Pull", ns::kEnumeration, "MaxElements"),
                  BodyText(enumerate, "Enumerate", ns::kWsman, "MaxElements"));
        EXPECT_EQ(BodyText(pull, "Pull", ns::kEnumeration, "EnumerationContext"), "uuid:CTX");
        EXPECT_EQ(testing::HeaderText(pull.doc.get(), ns::kWsman, "MaxEnvelopeSize"), "512000");
        EXPECT_EQ(testing::HeaderText(pull.doc.get(), ns::kMsWsman, "SessionId"), sessionId);
        EXPECT_NE(testing::HeaderText(pull.doc.get(), ns::kAddressing, "MessageID"),
                  testing::HeaderText(enumerate.doc.get(), ns::kAddressing, "MessageID"));
    }
    std::string past;
    EXPECT_EQ(stream->Read(past), errors::kEnumerationClosed);
    stream.reset();
    EXPECT_EQ(sent_.size(), 4u) << "a finished enumeration is not released";
}

TEST_F(ClientSessionTest, AbandonedEnumerationIsReleased) {
    batches_ = {{2, false}, {2, true}};
    auto session = MakeSession();
    std::unique_ptr<EnumerationStream> stream;
    ASSERT_EQ(session->Enumerate(kAllClasses, "select * from Win32_Service", kWql, stream), 0);
    std::string item;
    ASSERT_EQ(stream->Read(item), 0);
    stream.reset();
    ASSERT_EQ(sent_.size(), 2u);
    const auto release = Sent(1);
    EXPECT_EQ(release.action, ns::kActionRelease);
    EXPECT_EQ(BodyText(release, "Release", ns::kEnumeration, "EnumerationContext"), "uuid:CTX");

    // Everything in the first response: nothing to release.
    batches_ = {{1, true}};
    ASSERT_EQ(session->Enumerate(kAllClasses, "select * from Win32_Service", kWql, stream), 0);
    stream.reset();
    EXPECT_EQ(sent_.size(), 3u);
}

TEST_F(ClientSessionTest, FailedPullIsReportedAndNotRetried) {
    batches_ = {{1, false}, {1, true}};
    pullFault_ =
        "<s:Fault><s:Code><s:Value>s:Receiver</s:Value><s:Subcode><s:Value>n:InvalidEnumerationContext"
        "</s:Value></s:Subcode></s:Code><s:Reason><s:Text>context gone</s:Text></s:Reason></s:Fault>";
    auto session = MakeSession();
    std::unique_ptr<EnumerationStream> stream;
    ASSERT_EQ(session->Enumerate(kAllClasses, "select * from Win32_Service", kWql, stream), 0);
    std::string item;
    ASSERT_EQ(stream->Read(item), 0);
    bool atEnd = true;
    EXPECT_EQ(stream->AtEnd(atEnd), errors::kInvalidEnumerationContext);
    EXPECT_FALSE(atEnd);
    EXPECT_EQ(session->LastErrorDetail(), "context gone");
    EXPECT_EQ(stream->Read(item), errors::kInvalidEnumerationContext);
    stream.reset();
    EXPECT_EQ(sent_.size(), 2u) << "no second Pull, and no Release of a context the server dropped";
}

TEST_F(ClientSessionTest, EnumerateFaultsAndTransportFailuresComeBackAsCodes) {
    other_ = [](const std::string& request, Exchange& out) {
        out.httpStatus = 500;
        out.body =
            testing::ReplyTo(request, "fault",
                             "<s:Fault><s:Code><s:Value>s:Sender</s:Value><s:Subcode><s:Value>"
                             "n:CannotProcessFilter</s:Value></s:Subcode></s:Code><s:Reason><s:Text>bad"
                             "</s:Text></s:Reason></s:Fault>");
        return 0;
    };
    auto session = MakeSession();
    std::unique_ptr<EnumerationStream> stream;
    EXPECT_EQ(session->Enumerate(kAllClasses, "select * from Nope", kWql, stream),
              errors::kCannotProcessFilter);
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(session->LastErrorDetail(), "bad");

    const HResult unreachable = errors::Code(0x803381B9);
    other_ = [unreachable](const std::string&, Exchange&) { return unreachable; };
    EXPECT_EQ(session->Enumerate(kAllClasses, "select * from X", kWql, stream), unreachable);
    EXPECT_EQ(session->LastErrorDetail(), "scripted transport failure");
    EXPECT_EQ(session->Enumerate("", "select * from X", kWql, stream), errors::kBlankUri);
}

TEST_F(ClientSessionTest, InvokeAddressesTheInstanceAndReturnsTheOutput) {
    other_ = [](const std::string& request, Exchange& out) {
        out.httpStatus = 200;
        out.body = testing::ReplyTo(request, "r",
                                    "<p:StopService_OUTPUT xmlns:p=\"" + std::string(kService) +
                                        "\"><p:ReturnValue>5</p:ReturnValue></p:StopService_OUTPUT>");
        return 0;
    };
    auto session = MakeSession();
    const std::string input =
        "<p:StopService_INPUT xmlns:p=\"" + std::string(kService) + "\"></p:StopService_INPUT>";
    std::string output;
    ASSERT_EQ(session->Invoke("StopService", std::string(kService) + "?Name=Print Spooler", input, output),
              0);
    EXPECT_NE(output.find("<p:ReturnValue>5</p:ReturnValue>"), std::string::npos) << output;
    EXPECT_NE(output.find(std::string("xmlns:p=\"") + kService + "\""), std::string::npos) << output;

    const auto request = Sent(0);
    EXPECT_EQ(request.action, std::string(kService) + "/StopService");
    EXPECT_EQ(testing::HeaderText(request.doc.get(), ns::kWsman, "ResourceURI"), kService);
    EXPECT_EQ(testing::HeaderText(request.doc.get(), ns::kWsman, "SelectorSet"), "Print Spooler");
    EXPECT_NE(xml::FindChild(testing::BodyOf(request.doc.get()), kService, "StopService_INPUT"), nullptr);

    EXPECT_EQ(session->Invoke("StopService", kService, "<p:Broken", output), errors::kInvalidXml);
    EXPECT_EQ(session->Invoke("", kService, input, output), errors::kBlankActionUri);
    EXPECT_EQ(sent_.size(), 1u) << "client-side errors send nothing";

    // A reply to another request is refused.
    other_ = [](const std::string&, Exchange& out) {
        out.httpStatus = 200;
        out.body = testing::ReplyTo("", "r", "<p:X_OUTPUT xmlns:p=\"urn:x\"/>");
        return 0;
    };
    output.clear();
    EXPECT_EQ(session->Invoke("X", "urn:x", "<p:X_INPUT xmlns:p=\"urn:x\"/>", output),
              errors::kInvalidHeader);
    EXPECT_TRUE(output.empty());
}

}  // namespace
}  // namespace wsman::client
