#include "FakeWsman.h"

#include <algorithm>
#include <memory>

namespace qntest {

namespace {

FakeWsmanScript g_script;

class FakeOptions final : public qn::platform::WsmanConnectionOptions {
  public:
    HResult SetUserName(const std::string& userName) override {
        g_script.userNameSet = true;
        g_script.userName = userName;
        return qn::platform::kOk;
    }
    HResult SetPassword(const std::string& password) override {
        g_script.passwordSet = true;
        g_script.password = password;
        return qn::platform::kOk;
    }
};

class FakeEnumerator final : public qn::platform::WsmanEnumerator {
  public:
    explicit FakeEnumerator(EnumerationReply reply) : reply_(std::move(reply)) {}

    HResult AtEndOfStream(bool& atEnd) override {
        atEnd = next_ >= reply_.items.size() && !FailsNow();
        return qn::platform::kOk;
    }
    HResult ReadItem(qn::platform::EnumeratedItem& item) override {
        if (FailsNow()) return reply_.readFailure;
        item = qn::platform::EnumeratedItem(reply_.items.at(next_++));
        return qn::platform::kOk;
    }

  private:
    bool FailsNow() const {
        return reply_.failAfterItems >= 0 && next_ == static_cast<std::size_t>(reply_.failAfterItems);
    }

    EnumerationReply reply_;
    std::size_t next_ = 0;
};

class FakeSession final : public qn::platform::WsmanSession {
  public:
    FakeSession() { ++g_script.liveSessions; }
    ~FakeSession() override { --g_script.liveSessions; }

    HResult Enumerate(const std::string& resourceUri, const std::string& filter, const std::string&,
                      std::int32_t, std::unique_ptr<qn::platform::WsmanEnumerator>& enumerator) override {
        g_script.enumerations.push_back({resourceUri, filter});
        EnumerationReply reply = g_script.defaultEnumeration;
        if (auto found = g_script.enumerationsByFilter.find(filter);
            found != g_script.enumerationsByFilter.end() && !found->second.empty()) {
            reply = found->second.front();
            if (found->second.size() > 1) found->second.pop_front();
        }
        if (qn::platform::Failed(reply.result)) return reply.result;
        if (!reply.nullEnumerator) enumerator = std::make_unique<FakeEnumerator>(reply);
        return reply.result;
    }

    HResult Invoke(const std::string& action, const std::string& resourceUri, const std::string& parameters,
                   std::int32_t, std::string& response) override {
        g_script.invocations.push_back({action, resourceUri, parameters});
        if (auto found = g_script.invokeReplies.find(action); found != g_script.invokeReplies.end()) {
            response = found->second.second;
            return found->second.first;
        }
        response = "<p:" + action +
                   "_OUTPUT xmlns:p=\"urn:x\"><p:ReturnValue>0</p:ReturnValue></p:" + action + "_OUTPUT>";
        return g_script.invokeResult;
    }
};

class FakeWsman final : public qn::platform::Wsman {
  public:
    HResult CreateConnectionOptions(std::unique_ptr<qn::platform::WsmanConnectionOptions>& options) override {
        if (!g_script.optionsNull) options = std::make_unique<FakeOptions>();
        return g_script.optionsResult;
    }
    HResult CreateSession(const std::string& connection, std::int32_t flags,
                          qn::platform::WsmanConnectionOptions*,
                          std::unique_ptr<qn::platform::WsmanSession>& session) override {
        ++g_script.sessionCalls;
        g_script.connection = connection;
        g_script.sessionFlags = flags;
        if (qn::platform::Failed(g_script.sessionResult)) return g_script.sessionResult;
        if (!g_script.sessionNull) session = std::make_unique<FakeSession>();
        return g_script.sessionResult;
    }
};

HResult FakeFactory(std::unique_ptr<qn::platform::Wsman>& wsman) {
    ++g_script.createCalls;
    if (qn::platform::Failed(g_script.createResult)) return g_script.createResult;
    if (!g_script.createNull) wsman = std::make_unique<FakeWsman>();
    return g_script.createResult;
}

}  // namespace

void FakeWsmanScript::Answer(const std::string& className, std::vector<std::string> items) {
    enumerationsByFilter["select * from " + className] = {EnumerationReply{.items = std::move(items)}};
}

void FakeWsmanScript::AnswerNext(const std::string& className, std::vector<std::string> items) {
    enumerationsByFilter["select * from " + className].push_back({.items = std::move(items)});
}

void FakeWsmanScript::Fail(const std::string& className, HResult code) {
    enumerationsByFilter["select * from " + className] = {EnumerationReply{.result = code}};
}

void FakeWsmanScript::AnswerInvoke(const std::string& action, HResult result, std::string response) {
    invokeReplies[action] = {result, std::move(response)};
}

int FakeWsmanScript::CountQueries(const std::string& wql) const {
    return static_cast<int>(std::count_if(enumerations.begin(), enumerations.end(),
                                          [&](const EnumerateCall& call) { return call.filter == wql; }));
}

FakeWsmanScript& Script() {
    return g_script;
}
void ResetScript() {
    g_script = FakeWsmanScript{};
}
void InstallFakeWsman() {
    qn::platform::SetWsmanFactory(&FakeFactory);
}
void UninstallFakeWsman() {
    qn::platform::SetWsmanFactory(nullptr);
}

}  // namespace qntest
