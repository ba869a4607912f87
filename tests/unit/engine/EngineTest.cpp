// The module object's and the lifecycle exports' life, opening and closing a session (URL, credentials,
// platform failures), which class and namespace the access validation uses, WQL enumeration and method
// invocation (backslashes in the namespace's resource URI become slashes), all with a scripted WinRM client,
// a private configuration store and a trace file. A refused validation, buffer sizes, NULL arguments, the
// WinRM error texts and an unopened session's enumeration are tests/reliability's; invocation arguments the
// check tests'.
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "FakeWsman.h"
#include "TestFiles.h"
#include "api/ExportSupport.h"
#include "base/QncRegistry.h"
#include "engine/CQnWSMan.h"
#include "qnsnwsm.h"

namespace qn::test {
namespace {

using qn::platform::ToHResult;
using qntest::FakeWsmanScript;
using qntest::HasLine;
using qntest::ResetScript;
using qntest::Script;

class EngineTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ResetScript();
        qntest::InstallFakeWsman();
    }
    void TearDown() override { qntest::UninstallFakeWsman(); }

    // A module initialised with the fake client and tracing to TraceFile().
    std::unique_ptr<CQnWSMan> MakeInitializedModule() {
        auto module = std::make_unique<CQnWSMan>("engine-test");
        EXPECT_EQ(module->Initialize(TraceFile().c_str()), 0u);
        return module;
    }
    // A module with an open session to `wmiNamespace` (no validation unless the namespace asks for it).
    std::unique_ptr<CQnWSMan> MakeConnectedModule(const char* wmiNamespace = "root/default") {
        auto module = MakeInitializedModule();
        module->SetNamespace(wmiNamespace);
        EXPECT_EQ(module->OpenSession("pc1", 5985, error), 0u) << error.GetText();
        return module;
    }

    std::vector<std::string> Trace() const { return qntest::ReadTraceMessages(TraceFile()); }
    std::string TraceFile() const { return scratch_.File("trace.log"); }

    CQncString error, response;
    ItemList items;

  private:
    qntest::ScratchStore scratch_;
};

using LifecycleTest = EngineTest;

TEST_F(LifecycleTest, InitializeCreatesTheClientOnceAndFailsWithoutIt) {
    CQnWSMan module("host");
    ASSERT_EQ(module.Initialize(TraceFile().c_str()), 0u);
    EXPECT_EQ(module.Initialize(TraceFile().c_str()), 0u);
    EXPECT_EQ(Script().createCalls, 1);
    EXPECT_EQ(Trace().back(), "Already Initialized.");

    Script().createResult = ToHResult(0x80040154);
    CQnWSMan missing("host");
    EXPECT_EQ(missing.Initialize(TraceFile().c_str()), CQnWSMan::kFailure);
    EXPECT_FALSE(missing.IsInitialized());
    EXPECT_EQ(Trace().back(), "CoCreateInstance failed (error 0x80040154).");
    auto handle = reinterpret_cast<QNSNWSM_HANDLE>(0x1234);
    EXPECT_EQ(WSManInitialize("host", TraceFile().c_str(), &handle), QNSNWSM_FAILURE);
    EXPECT_EQ(handle, nullptr);
    // A factory that gives no object fails without a message of its own.
    ResetScript();
    Script().createNull = true;
    CQnWSMan other("host");
    EXPECT_EQ(other.Initialize(TraceFile().c_str()), CQnWSMan::kFailure);
    EXPECT_EQ(Trace().back(), "Initializing...");
}

// Every session, parked ones too, goes at Shutdown, before COM does.
TEST_F(LifecycleTest, SessionsLiveUntilTheModuleShutsDown) {
    auto module = MakeConnectedModule();
    ASSERT_EQ(module->OpenSession("pc2", 5985, error), 0u);
    EXPECT_EQ(Script().liveSessions, 2);
    module->CloseSession();
    EXPECT_EQ(Script().liveSessions, 1);
    EXPECT_EQ(Trace().back(), "Session closed.");
    ASSERT_EQ(module->OpenSession("pc2", 5985, error), 0u);
    module->Shutdown();
    EXPECT_FALSE(module->IsInitialized());
    EXPECT_FALSE(module->HasParser());
    EXPECT_FALSE(module->IsSessionOpen());
    EXPECT_EQ(Script().liveSessions, 0);
}

// No exception may cross the C boundary of an export.
TEST(ExportGuardTest, ExceptionsBecomeFailure) {
    EXPECT_EQ(qn::api::GuardExport([]() -> std::uint32_t { throw std::runtime_error("boom"); }),
              qn::api::kExportFailure);
    EXPECT_EQ(qn::api::GuardExport([]() -> std::uint32_t { return 42; }), 42u);
    qn::api::GuardVoidExport([] { throw std::bad_alloc(); });
}

using LifecycleExportTest = EngineTest;

TEST_F(LifecycleExportTest, ConnectDefaultsTheNamespaceAndCutsItsErrorToTheBuffer) {
    QNSNWSM_HANDLE handle = nullptr;
    ASSERT_EQ(WSManInitialize("host", TraceFile().c_str(), &handle), QNSNWSM_OK);
    char error[20];
    EXPECT_EQ(
        WSManConnectToComputer(handle, "pc1", "PC1\\mon", "pw", nullptr, 5986, 1, 0, error, sizeof error),
        QNSNWSM_OK);
    ASSERT_EQ(Script().enumerations.size(), 1u) << "root/cimv2 is validated";
    EXPECT_EQ(Script().enumerations[0].resourceUri,
              "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*");

    Script().defaultEnumeration.result = ToHResult(0x80070005);
    EXPECT_EQ(WSManConnectToComputer(handle, "pc1", "u", "p", "", 5985, 0, 0, error, sizeof error),
              QNSNWSM_FAILURE);
    EXPECT_STREQ(error, "WMI/WinRM Error 0x8");
    WSManShutdown(handle);
}

using SessionTest = EngineTest;

TEST_F(SessionTest, CredentialsAndSchemeReachTheClient) {
    auto module = MakeInitializedModule();
    module->SetUseSsl(1);
    module->SetUserName("PC1\\alice");
    module->SetPassword("S3cret!pw");
    module->SetNamespace("root/default");
    ASSERT_EQ(module->OpenSession("pc1.example.test", 0, error), 0u);
    EXPECT_EQ(Script().connection, "https://pc1.example.test:0/wsman");
    EXPECT_EQ(Script().sessionFlags, 4096);
    EXPECT_EQ(Script().userName, "PC1\\alice");
    EXPECT_EQ(Script().password, "S3cret!pw");

    // Without a user name the module's own credentials are used; only exactly 1 means HTTPS.
    ResetScript();
    module->SetUseSsl(2);
    module->SetUserName("");
    ASSERT_EQ(module->OpenSession("pc1", 5985, error), 0u);
    EXPECT_EQ(Script().connection, "http://pc1:5985/wsman");
    EXPECT_FALSE(Script().userNameSet);
    EXPECT_FALSE(Script().passwordSet);

    // With a user name an empty password is still set.
    ResetScript();
    module->SetUserName("bob");
    module->SetPassword("");
    ASSERT_EQ(module->OpenSession("pc1", 5985, error), 0u);
    EXPECT_TRUE(Script().passwordSet);
    EXPECT_EQ(Script().password, "");
}

TEST_F(SessionTest, FailuresAreReportedWithTheirCodes) {
    CQnWSMan uninitialized("host");
    uninitialized.SetTraceFile(TraceFile().c_str());
    EXPECT_EQ(uninitialized.OpenSession("pc1", 5985, error), CQnWSMan::kFailure);
    EXPECT_STREQ(error.GetText(), "Initialization failure.");
    EXPECT_EQ(Script().sessionCalls, 0);
    EXPECT_TRUE(
        HasLine(Trace(), "OpenSession failed, the API was not initialized. Please call Initialize first."));

    const struct {
        void (*arrange)(FakeWsmanScript&);
        const char* text;
    } cases[] = {
        {[](FakeWsmanScript& s) { s.optionsResult = ToHResult(0x80004005); },
         "Failed to create connection options, error: 0x80004005"},
        {[](FakeWsmanScript& s) { s.optionsNull = true; },
         "Failed to create connection options, error: 0x00000000"},
        {[](FakeWsmanScript& s) { s.sessionResult = ToHResult(0x80338113); },
         "Failed to create WSMan Session, error: 0x80338113"},
        {[](FakeWsmanScript& s) { s.sessionNull = true; }, "Failed to create IWSManSession session"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        ResetScript();
        c.arrange(Script());
        auto module = MakeInitializedModule();
        EXPECT_EQ(module->OpenSession("pc1", 5985, error), CQnWSMan::kFailure);
        EXPECT_STREQ(error.GetText(), c.text);
        EXPECT_FALSE(module->IsSessionOpen());
        EXPECT_TRUE(HasLine(Trace(), c.text));
        EXPECT_EQ(Trace().back(), "OpenSession failed.");
    }
}

class ValidationTest : public EngineTest {
  protected:
    static constexpr const char* kKey = "Software\\Quillon\\Sentrel\\Server\\WinRM";
    static void StoreClass(const char* value) {
        ASSERT_EQ(EnsureRegistryKey(kHkeyLocalMachine, kKey), 1);
        ASSERT_EQ(SetRegistryString(kHkeyLocalMachine, kKey, "ValidationClass", value), 0);
    }
    static std::string ReadClass(CQnWSMan& module) {
        CQncString value("stale");
        module.ReadValidationClass(value);
        CQncString stored;
        EXPECT_EQ(QueryRegistryString(kHkeyLocalMachine, kKey, "ValidationClass", stored), 0);
        EXPECT_STREQ(stored.GetText(), value.GetText()) << "written back as read";
        return value.GetText();
    }
};

TEST_F(ValidationTest, ClassIsDefaultedOrTrimmedAndWrittenBackAndAnEmptyOneSkipsTheCheck) {
    auto module = MakeInitializedModule();
    EXPECT_EQ(ReadClass(*module), "Win32_ComputerSystem");
    StoreClass(" \tWin32_BIOS\r\n");
    EXPECT_EQ(ReadClass(*module), "Win32_BIOS");

    StoreClass("  ");
    auto connected = MakeConnectedModule();
    EXPECT_EQ(connected->WinRMValidateAccess(error), 0);
    EXPECT_TRUE(Script().enumerations.empty());
    EXPECT_EQ(Trace().back(), "Skipped WinRMValidateAccess, no validationclass specified in registry.");
}

TEST_F(ValidationTest, RunsOnlyForTheExactStandardNamespace) {
    const std::pair<const char*, bool> cases[] = {
        {"root\\cimv2", true}, {"root/cimv2", true}, {"ROOT\\CIMV2", false}, {"root/cimv2/", false}};
    for (const auto& [wmiNamespace, validated] : cases) {
        SCOPED_TRACE(wmiNamespace);
        ResetScript();
        MakeConnectedModule(wmiNamespace);
        ASSERT_EQ(Script().enumerations.size(), validated ? 1u : 0u);
        if (validated) {
            EXPECT_EQ(Script().enumerations[0].filter, "select * from Win32_ComputerSystem");
        }
    }
}

using EnumerateTest = EngineTest;

TEST_F(EnumerateTest, ClassNameBecomesSelectAllAndItemsAreAppended) {
    auto module = MakeConnectedModule("root\\cimv2");
    Script().enumerations.clear();
    Script().defaultEnumeration.items = {"<a/>", "<b/>"};
    EXPECT_EQ(module->Enumerate("Win32_Service", items, error), 0);
    EXPECT_EQ(module->Enumerate("select Name from Win32_Service", items, error), 0);
    EXPECT_TRUE(error.IsEmpty());
    ASSERT_EQ(Script().enumerations.size(), 2u);
    EXPECT_EQ(Script().enumerations[0].filter, "select * from Win32_Service");
    EXPECT_EQ(Script().enumerations[1].filter, "select Name from Win32_Service");
    EXPECT_EQ(Script().enumerations[0].resourceUri,
              "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*");
    ASSERT_EQ(items.size(), 4u);
    EXPECT_EQ(items[3].Text(), "<b/>");
    EXPECT_TRUE(HasLine(Trace(), "Enumerate is using query: [select * from Win32_Service]."));
}

TEST_F(EnumerateTest, FailuresGiveTheirTextsAndKeepTheItemsRead) {
    auto module = MakeConnectedModule("");
    Script().defaultEnumeration.result = ToHResult(0x80338000);
    EXPECT_EQ(module->Enumerate("Win32_Foo", items, error), -1);
    EXPECT_EQ(Script().enumerations[0].resourceUri, "http://schemas.microsoft.com/wbem/wsman/1/wmi/*");
    const auto lines = Trace();
    EXPECT_TRUE(HasLine(lines, "Enumerate failed, error code = [WSMan enumerate failed, error 0x80338000]."));
    EXPECT_TRUE(
        HasLine(lines, "WMI/WinRM Error 0x80338000: No items can be found at the selected URI. <LF> ."));
    EXPECT_EQ(lines.back(), "Enumerate completed, result: -1");

    Script().defaultEnumeration.result = qn::platform::kOk;
    Script().defaultEnumeration.nullEnumerator = true;
    EXPECT_EQ(module->Enumerate("Win32_Service", items, error), -1);
    EXPECT_STREQ(error.GetText(), "WSMan enumerate failed, null pointer cast");

    // A failure while pulling keeps the items read.
    Script().defaultEnumeration.nullEnumerator = false;
    Script().defaultEnumeration.items = {"<a/>", "<b/>", "<c/>"};
    Script().defaultEnumeration.failAfterItems = 2;
    Script().defaultEnumeration.readFailure = ToHResult(0x80338029);
    EXPECT_EQ(module->Enumerate("Win32_Process", items, error), -1);
    EXPECT_EQ(items.size(), 2u);
    EXPECT_STREQ(error.GetText(), "WMI/WinRM Error 0x80338029");
}

using InvokeTest = EngineTest;

TEST_F(InvokeTest, FailuresGiveTheirTexts) {
    auto unopened = MakeInitializedModule();
    response = "stale";
    EXPECT_EQ(unopened->Invoke("uri", "Reboot", "<p/>", response, error), -1);
    EXPECT_STREQ(error.GetText(), "NULL pointer detected");
    EXPECT_TRUE(response.IsEmpty());
    EXPECT_TRUE(Script().invocations.empty());
    EXPECT_EQ(Trace().back(), "Invoke completed, result: -1");

    auto module = MakeConnectedModule();
    Script().invokeResult = ToHResult(0x80338012);
    EXPECT_EQ(module->Invoke("uri", "Recycle", "<p/>", response, error), -1);
    EXPECT_TRUE(HasLine(Trace(), "Invoke failed, error code = [0x80338012]."));
}

}  // namespace
}  // namespace qn::test
