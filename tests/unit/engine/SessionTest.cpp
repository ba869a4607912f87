// Opening and closing a session: URL, credentials, failures and access validation after connecting.
#include <string>

#include "EngineTestSupport.h"

namespace qn::test {
namespace {

using qn::platform::ToHResult;

class SessionTest : public EngineTest {
  protected:
    std::uint32_t Open(CQnWSMan& module, const char* computer, std::uint16_t port) {
        return module.OpenSession(computer, port, error);
    }
    CQncString error;
};

TEST_F(SessionTest, HttpsWithCredentialsAndPortZero) {
    auto module = MakeInitializedModule();
    module->SetUseSsl(1);
    module->SetUserName("PC1\\alice");
    module->SetPassword("S3cret!pw");
    module->SetNamespace("root/default");

    ASSERT_EQ(Open(*module, "pc1.example.test", 0), 0u);
    EXPECT_TRUE(module->IsSessionOpen());
    EXPECT_EQ(Script().connection, "https://pc1.example.test:0/wsman");
    EXPECT_EQ(Script().sessionFlags, 4096);
    EXPECT_TRUE(Script().optionsPassed);
    EXPECT_EQ(Script().userName, "PC1\\alice");
    EXPECT_EQ(Script().password, "S3cret!pw");
    EXPECT_TRUE(Script().enumerations.empty()) << "no validation outside the standard namespace";

    const auto lines = Trace();
    for (const char* line : {"OpenSession pc1.example.test:0.", "WinRM Use SSL:  [YES]",
                             "WinRM Use Port: [0]", "WinRM URL:      [https://pc1.example.test:0/wsman]"}) {
        EXPECT_TRUE(ContainsLine(lines, line)) << line;
    }
    EXPECT_FALSE(ContainsText(lines, "S3cret!pw"));
}

TEST_F(SessionTest, EmptyUserNameUsesOwnCredentialsOverHttp) {
    auto module = MakeInitializedModule();
    module->SetUseSsl(2);  // only exactly 1 means HTTPS
    module->SetPassword("unused-secret");
    module->SetNamespace("root/default");

    ASSERT_EQ(Open(*module, "pc1", 5985), 0u);
    EXPECT_EQ(Script().connection, "http://pc1:5985/wsman");
    EXPECT_EQ(Script().sessionFlags, 4096);
    EXPECT_TRUE(Script().optionsPassed);
    EXPECT_FALSE(Script().userNameSet);
    EXPECT_FALSE(Script().passwordSet);
    const auto lines = Trace();
    EXPECT_TRUE(ContainsLine(lines, "WinRM Use SSL:  [NO]"));
    EXPECT_TRUE(ContainsLine(lines, "WinRM UserName: [<EMPTY>]"));
    EXPECT_FALSE(ContainsText(lines, "unused-secret"));
}

TEST_F(SessionTest, EmptyPasswordIsStillSetWithAUserName) {
    auto module = MakeInitializedModule();
    module->SetUserName("bob");
    module->SetNamespace("root/default");
    ASSERT_EQ(Open(*module, "pc1", 5985), 0u);
    EXPECT_TRUE(Script().userNameSet);
    EXPECT_TRUE(Script().passwordSet);
    EXPECT_EQ(Script().password, "");
}

TEST_F(SessionTest, NotInitializedFailsWithoutPlatformCall) {
    CQnWSMan module("host");
    module.SetTraceFile(TraceFile().c_str());
    EXPECT_EQ(Open(module, "pc1", 5985), CQnWSMan::kFailure);
    EXPECT_STREQ(error.GetText(), "Initialization failure.");
    EXPECT_EQ(Script().sessionCalls, 0);
    const auto lines = Trace();
    EXPECT_TRUE(ContainsLine(
        lines, "OpenSession failed, the API was not initialized. Please call Initialize first."));
    EXPECT_EQ(lines.back(), "OpenSession failed.");
}

TEST_F(SessionTest, PlatformFailuresAreReportedWithTheirCodes) {
    struct Case {
        const char* name;
        void (*arrange)(FakeWsmanScript&);
        const char* text;
    };
    const Case cases[] = {
        {"options refused", [](FakeWsmanScript& s) { s.optionsResult = ToHResult(0x80004005); },
         "Failed to create connection options, error: 0x80004005"},
        {"no options object", [](FakeWsmanScript& s) { s.optionsNull = true; },
         "Failed to create connection options, error: 0x00000000"},
        {"session refused", [](FakeWsmanScript& s) { s.sessionResult = ToHResult(0x80338113); },
         "Failed to create WSMan Session, error: 0x80338113"},
        {"no session object", [](FakeWsmanScript& s) { s.sessionNull = true; },
         "Failed to create IWSManSession session"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ResetScript();
        c.arrange(Script());
        auto module = MakeInitializedModule();
        module->SetNamespace("root/default");
        EXPECT_EQ(Open(*module, "pc1", 5985), CQnWSMan::kFailure);
        EXPECT_STREQ(error.GetText(), c.text);
        EXPECT_FALSE(module->IsSessionOpen());
        EXPECT_TRUE(ContainsLine(Trace(), c.text));
        EXPECT_EQ(Trace().back(), "OpenSession failed.");
    }
}

TEST_F(SessionTest, ValidationRunsOnlyForTheExactStandardNamespace) {
    struct Case {
        const char* wmiNamespace;
        bool validated;
    };
    const Case cases[] = {{"root\\cimv2", true},  {"root/cimv2", true},    {"ROOT\\CIMV2", false},
                          {"root/cimv2/", false}, {"root/default", false}, {" root/cimv2", false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.wmiNamespace);
        ResetScript();
        auto module = MakeInitializedModule();
        module->SetNamespace(c.wmiNamespace);
        EXPECT_EQ(Open(*module, "pc1", 5985), 0u);
        ASSERT_EQ(Script().enumerations.size(), c.validated ? 1u : 0u);
        if (c.validated) {
            EXPECT_EQ(Script().enumerations[0].filter, "select * from Win32_ComputerSystem");
        }
    }
}

TEST_F(SessionTest, RefusedValidationClosesTheSession) {
    Script().defaultEnumeration.result = ToHResult(0x80070005);
    auto module = MakeInitializedModule();
    module->SetNamespace("root\\cimv2");
    EXPECT_EQ(Open(*module, "pc1", 5985), CQnWSMan::kFailure);
    EXPECT_STREQ(error.GetText(), "WMI/WinRM Error 0x80070005: Access is denied");
    EXPECT_FALSE(module->IsSessionOpen());
    EXPECT_EQ(Script().liveSessions, 0);

    const auto lines = Trace();
    EXPECT_TRUE(ContainsLine(lines, "WinRMValidateAccess failed."));
    EXPECT_TRUE(ContainsLine(lines, "Closing session..."));
    EXPECT_EQ(lines.back(), "OpenSession failed.");

    // The next query finds no session.
    ItemList items;
    EXPECT_EQ(module->Enumerate("Win32_Service", items, error), -1);
    EXPECT_STREQ(error.GetText(),
                 "WSMan session has not been opened yet, please check connection properties");
}

TEST_F(SessionTest, ValidationWithNoItemsPasses) {
    auto module = MakeInitializedModule();
    module->SetNamespace("root/cimv2");
    EXPECT_EQ(Open(*module, "pc1", 5985), 0u);
    EXPECT_TRUE(module->IsSessionOpen());
    EXPECT_TRUE(ContainsLine(Trace(), "WinRMValidateAccess completed."));
}

TEST_F(SessionTest, ConnectingAgainKeepsThePreviousSessionUntilDestroyed) {
    auto module = MakeConnectedModule();
    ASSERT_EQ(Open(*module, "pc2", 5985), 0u);
    EXPECT_EQ(Script().liveSessions, 2);
    module->CloseSession();
    EXPECT_EQ(Script().liveSessions, 1);
    EXPECT_FALSE(module->IsSessionOpen());
    const auto lines = Trace();
    EXPECT_EQ(lines[lines.size() - 2], "Closing session...");
    EXPECT_EQ(lines.back(), "Session closed.");
    module.reset();
    EXPECT_EQ(Script().liveSessions, 0);
}

}  // namespace
}  // namespace qn::test
