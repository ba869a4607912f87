#include "FakeWsman.h"

#include <memory>

namespace qn::test {

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
    HResult ReadItem(std::string& item) override {
        if (FailsNow()) return reply_.readFailure;
        item = reply_.items.at(next_++);
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

    HResult Enumerate(const std::string& resourceUri, const std::string& filter, const std::string& dialect,
                      std::int32_t, std::unique_ptr<qn::platform::WsmanEnumerator>& enumerator) override {
        g_script.enumerations.push_back({resourceUri, filter, dialect});
        const auto found = g_script.enumerationsByFilter.find(filter);
        const EnumerationReply& reply =
            found != g_script.enumerationsByFilter.end() ? found->second : g_script.defaultEnumeration;
        if (qn::platform::Failed(reply.result)) return reply.result;
        if (!reply.nullEnumerator) enumerator = std::make_unique<FakeEnumerator>(reply);
        return reply.result;
    }

    HResult Invoke(const std::string& action, const std::string& resourceUri, const std::string& parameters,
                   std::int32_t, std::string& response) override {
        g_script.invocations.push_back({action, resourceUri, parameters});
        response = g_script.invokeResponse;
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
                          qn::platform::WsmanConnectionOptions* options,
                          std::unique_ptr<qn::platform::WsmanSession>& session) override {
        ++g_script.sessionCalls;
        g_script.connection = connection;
        g_script.sessionFlags = flags;
        g_script.optionsPassed = options != nullptr;
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

}  // namespace qn::test
