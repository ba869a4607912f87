#include "CheckTestSupport.h"

#include <cstdlib>
#include <fstream>
#include <regex>

namespace qn::checks_test {

namespace {

std::string EscapeXml(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

FakeServer g_server;

class FakeEnumerator final : public qn::platform::WsmanEnumerator {
  public:
    explicit FakeEnumerator(std::vector<std::string> items) : items_(std::move(items)) {}
    HResult AtEndOfStream(bool& atEnd) override {
        atEnd = next_ >= items_.size();
        return qn::platform::kOk;
    }
    HResult ReadItem(std::string& item) override {
        item = items_.at(next_++);
        return qn::platform::kOk;
    }

  private:
    std::vector<std::string> items_;
    std::size_t next_ = 0;
};

class FakeSession final : public qn::platform::WsmanSession {
  public:
    HResult Enumerate(const std::string& resourceUri, const std::string& filter, const std::string&,
                      std::int32_t, std::unique_ptr<qn::platform::WsmanEnumerator>& enumerator) override {
        g_server.queries.push_back(filter);
        g_server.resourceUris.push_back(resourceUri);
        Reply reply;
        const auto found = g_server.replies.find(filter);
        if (found != g_server.replies.end() && !found->second.empty()) {
            reply = found->second.front();
            if (found->second.size() > 1) {
                found->second.pop_front();
            }
        }
        if (qn::platform::Failed(reply.result)) {
            return reply.result;
        }
        enumerator = std::make_unique<FakeEnumerator>(reply.items);
        return qn::platform::kOk;
    }

    HResult Invoke(const std::string& action, const std::string& resourceUri, const std::string& parameters,
                   std::int32_t, std::string& response) override {
        g_server.invocations.push_back({action, resourceUri, parameters});
        const auto found = g_server.invokeReplies.find(action);
        if (found == g_server.invokeReplies.end()) {
            response = "<p:" + action +
                       "_OUTPUT xmlns:p=\"urn:x\"><p:ReturnValue>0</p:ReturnValue></p:" + action + "_OUTPUT>";
            return qn::platform::kOk;
        }
        response = found->second.second;
        return found->second.first;
    }
};

class FakeOptions final : public qn::platform::WsmanConnectionOptions {
  public:
    HResult SetUserName(const std::string&) override { return qn::platform::kOk; }
    HResult SetPassword(const std::string&) override { return qn::platform::kOk; }
};

class FakeWsman final : public qn::platform::Wsman {
  public:
    HResult CreateConnectionOptions(std::unique_ptr<qn::platform::WsmanConnectionOptions>& options) override {
        options = std::make_unique<FakeOptions>();
        return qn::platform::kOk;
    }
    HResult CreateSession(const std::string&, std::int32_t, qn::platform::WsmanConnectionOptions*,
                          std::unique_ptr<qn::platform::WsmanSession>& session) override {
        session = std::make_unique<FakeSession>();
        return qn::platform::kOk;
    }
};

HResult MakeFakeWsman(std::unique_ptr<qn::platform::Wsman>& wsman) {
    wsman = std::make_unique<FakeWsman>();
    return qn::platform::kOk;
}

}  // namespace

std::string Instance(const std::string& className, const std::vector<Property>& properties,
                     const std::string& wmiNamespace) {
    std::string xml = "<p:" + className + " xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/" +
                      wmiNamespace + "/" + className +
                      "\" xmlns:cim=\"http://schemas.dmtf.org/wbem/wscim/1/common\" "
                      "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:type=\"p:" +
                      className + "_Type\">";
    for (const Property& property : properties) {
        if (property.value) {
            xml += "<p:" + property.name + ">" + EscapeXml(*property.value) + "</p:" + property.name + ">";
        } else {
            xml += "<p:" + property.name + " xsi:nil=\"true\"/>";
        }
    }
    return xml + "</p:" + className + ">";
}

void FakeServer::Answer(const std::string& className, std::vector<std::string> items) {
    AnswerQuery("select * from " + className, std::move(items));
}

void FakeServer::AnswerQuery(const std::string& wql, std::vector<std::string> items) {
    replies[wql] = {Reply{qn::platform::kOk, std::move(items)}};
}

void FakeServer::AnswerNext(const std::string& className, std::vector<std::string> items) {
    replies["select * from " + className].push_back(Reply{qn::platform::kOk, std::move(items)});
}

void FakeServer::Fail(const std::string& className, HResult code) {
    replies["select * from " + className] = {Reply{code, {}}};
}

void FakeServer::AnswerInvoke(const std::string& action, HResult result, std::string response) {
    invokeReplies[action] = {result, std::move(response)};
}

int FakeServer::CountQueries(const std::string& wql) const {
    int count = 0;
    for (const std::string& query : queries) {
        count += query == wql ? 1 : 0;
    }
    return count;
}

FakeServer& Server() {
    return g_server;
}

void CheckTest::SetUp() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qnsnwsm-checks-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    traceFile_ = folder_ / "trace.log";
    registryFile_ = folder_ / "registry.conf";
    SetProgramFolder(std::string(QN_DATA_SOURCE_DIR) + "/");
    if (const char* current = std::getenv("QNSNWSM_REGISTRY")) {
        savedRegistry_ = current;
    }
    setenv("QNSNWSM_REGISTRY", registryFile_.c_str(), 1);
    g_server = FakeServer{};
    qn::platform::SetWsmanFactory(&MakeFakeWsman);
    qn::platform::SetClock(&clock_);
}

void CheckTest::TearDown() {
    module_.reset();
    qn::platform::SetClock(nullptr);
    qn::platform::SetWsmanFactory(nullptr);
    if (savedRegistry_) {
        setenv("QNSNWSM_REGISTRY", savedRegistry_->c_str(), 1);
    } else {
        unsetenv("QNSNWSM_REGISTRY");
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void CheckTest::SetProgramFolder(const std::string& folder) {
    std::ofstream(registryFile_, std::ios::trunc)
        << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=" << folder << "\n";
}

CQnWSMan& CheckTest::Connect(const char* wmiNamespace) {
    module_ = std::make_unique<CQnWSMan>("checks-test");
    EXPECT_EQ(module_->Initialize(traceFile_.c_str()), 0u);
    module_->SetNamespace(wmiNamespace);
    CQncString error;
    EXPECT_EQ(module_->OpenSession("pc1", 5985, error), 0u) << error.GetText();
    g_server.queries.clear();
    g_server.resourceUris.clear();
    return *module_;
}

std::vector<std::string> CheckTest::TraceLines() const {
    static const std::regex stamp(R"(^\[\d\d:\d\d:\d\d\] )");
    std::vector<std::string> lines;
    std::ifstream in(traceFile_);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(std::regex_replace(line, stamp, "", std::regex_constants::format_first_only));
    }
    return lines;
}

bool CheckTest::Traced(const std::string& message) const {
    for (const std::string& line : TraceLines()) {
        if (line == message) {
            return true;
        }
    }
    return false;
}

}  // namespace qn::checks_test
