// WQL enumeration, method invocation, the namespace's resource URI and the WinRM error texts.
#include <string>

#include "EngineTestSupport.h"

namespace qn::test {
namespace {

using qn::platform::ToHResult;

constexpr const char* kNotOpened =
    "WSMan session has not been opened yet, please check connection properties";

class EnumerateTest : public EngineTest {
  protected:
    ItemList items;
    CQncString error;
};

TEST_F(EnumerateTest, ClassNameBecomesSelectAllAndQueryRunsUnchanged) {
    auto module = MakeConnectedModule("root\\cimv2");
    Script().enumerations.clear();
    Script().defaultEnumeration.items = {"<p:Win32_Service>a</p:Win32_Service>",
                                         "<p:Win32_Service>b</p:Win32_Service>"};

    EXPECT_EQ(module->Enumerate("Win32_Service", items, error), 0);
    EXPECT_EQ(module->Enumerate("select Name from Win32_Service", items, error), 0);
    EXPECT_TRUE(error.IsEmpty());

    ASSERT_EQ(Script().enumerations.size(), 2u);
    EXPECT_EQ(Script().enumerations[0].filter, "select * from Win32_Service");
    EXPECT_EQ(Script().enumerations[1].filter, "select Name from Win32_Service");
    EXPECT_EQ(Script().enumerations[0].resourceUri,
              "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*");
    EXPECT_EQ(Script().enumerations[0].dialect, "http://schemas.microsoft.com/wbem/wsman/1/WQL");

    // Appends, never clears.
    ASSERT_EQ(items.size(), 4u);
    EXPECT_STREQ(items[0].GetText(), "<p:Win32_Service>a</p:Win32_Service>");
    EXPECT_STREQ(items[3].GetText(), "<p:Win32_Service>b</p:Win32_Service>");

    const auto lines = Trace();
    EXPECT_TRUE(ContainsLine(lines, "Enumerate called (Win32_Service), namespace = [root\\cimv2]..."));
    EXPECT_TRUE(ContainsLine(lines, "Enumerate is using query: [select * from Win32_Service]."));
    EXPECT_TRUE(ContainsLine(lines, "Enumerate completed, result: 0"));
}

TEST_F(EnumerateTest, BeforeOpeningFailsWithoutPlatformCall) {
    auto module = MakeInitializedModule();
    error = "stale";
    EXPECT_EQ(module->Enumerate("Win32_Service", items, error), -1);
    EXPECT_STREQ(error.GetText(), kNotOpened);
    EXPECT_TRUE(Script().enumerations.empty());
    const auto lines = Trace();
    EXPECT_TRUE(ContainsLine(lines, kNotOpened));
    EXPECT_EQ(lines.back(), "Enumerate completed, result: -1");
}

TEST_F(EnumerateTest, RefusedEnumerationGivesTheWinrmText) {
    auto module = MakeConnectedModule();
    Script().defaultEnumeration.result = ToHResult(0x80338000);
    EXPECT_EQ(module->Enumerate("Win32_Foo", items, error), -1);
    EXPECT_STREQ(error.GetText(), "WMI/WinRM Error 0x80338000: No items can be found at the selected URI.");
    const auto lines = Trace();
    EXPECT_TRUE(
        ContainsLine(lines, "Enumerate failed, error code = [WSMan enumerate failed, error 0x80338000]."));
    EXPECT_TRUE(
        ContainsLine(lines, "WMI/WinRM Error 0x80338000: No items can be found at the selected URI. <LF> ."));
}

TEST_F(EnumerateTest, MissingEnumeratorIsANullPointerCast) {
    auto module = MakeConnectedModule();
    Script().defaultEnumeration.nullEnumerator = true;
    EXPECT_EQ(module->Enumerate("Win32_Service", items, error), -1);
    EXPECT_STREQ(error.GetText(), "WSMan enumerate failed, null pointer cast");
}

TEST_F(EnumerateTest, FailureWhilePullingKeepsTheItemsRead) {
    auto module = MakeConnectedModule();
    Script().defaultEnumeration.items = {"<a/>", "<b/>", "<c/>"};
    Script().defaultEnumeration.failAfterItems = 2;
    Script().defaultEnumeration.readFailure = ToHResult(0x80338029);
    EXPECT_EQ(module->Enumerate("Win32_Process", items, error), -1);
    EXPECT_EQ(items.size(), 2u);
    EXPECT_STREQ(error.GetText(), "WMI/WinRM Error 0x80338029");
}

using ResourceUriTest = EngineTest;

TEST_F(ResourceUriTest, NamespaceBackslashesBecomeSlashes) {
    struct Case {
        const char* wmiNamespace;
        const char* uri;
    };
    const Case cases[] = {
        {"root\\cimv2", "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*"},
        {"root/WebAdministration/", "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/WebAdministration/*"},
        {"", "http://schemas.microsoft.com/wbem/wsman/1/wmi/*"},
    };
    auto module = MakeInitializedModule();
    for (const Case& c : cases) {
        module->SetNamespace(c.wmiNamespace);
        CQncString uri;
        module->BuildResourceUri(uri);
        EXPECT_STREQ(uri.GetText(), c.uri);
        EXPECT_EQ(Trace().back(), std::string("Using Resource URI: [") + c.uri + "]");
    }
}

class InvokeTest : public EngineTest {
  protected:
    CQncString response;
    CQncString error;
};

TEST_F(InvokeTest, WithoutSessionIsANullPointer) {
    auto module = MakeInitializedModule();
    response = "stale";
    EXPECT_EQ(module->Invoke("uri", "Reboot", "<p/>", response, error), -1);
    EXPECT_STREQ(error.GetText(), "NULL pointer detected");
    EXPECT_TRUE(response.IsEmpty());
    EXPECT_TRUE(Script().invocations.empty());
    EXPECT_EQ(Trace().back(), "Invoke completed, result: -1");
}

TEST_F(InvokeTest, PassesItsArgumentsAndReturnsTheResponse) {
    auto module = MakeConnectedModule();
    Script().invokeResponse = "<p:StopService_OUTPUT><p:ReturnValue>0</p:ReturnValue></p:StopService_OUTPUT>";
    const char* uri = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service?Name=Spooler";
    EXPECT_EQ(module->Invoke(uri, "StopService", nullptr, response, error), 0);
    ASSERT_EQ(Script().invocations.size(), 1u);
    EXPECT_EQ(Script().invocations[0].action, "StopService");
    EXPECT_EQ(Script().invocations[0].resourceUri, uri);
    EXPECT_EQ(Script().invocations[0].parameters, "");
    EXPECT_EQ(response.GetText(), Script().invokeResponse);
    EXPECT_TRUE(error.IsEmpty());
    EXPECT_TRUE(ContainsLine(Trace(), "Invoke called (StopService), namespace = [root/default]..."));
}

TEST_F(InvokeTest, RefusedCallGivesTheWinrmText) {
    auto module = MakeConnectedModule();
    Script().invokeResult = ToHResult(0x80338012);
    EXPECT_EQ(module->Invoke("uri", "Recycle", "<p/>", response, error), -1);
    EXPECT_STREQ(
        error.GetText(),
        "WMI/WinRM Error 0x80338012: The WS-Management service does not support the action specified in "
        "the request.");
    const auto lines = Trace();
    EXPECT_TRUE(ContainsLine(lines, "Invoke failed, error code = [0x80338012]."));
    EXPECT_TRUE(ContainsLine(lines, std::string("Invoke failed, ") + error.GetText()));
}

TEST(WinrmErrorTextTest, KnownCodesGetTheirSuffixOthersNone) {
    struct Case {
        std::uint32_t code;
        const char* text;
    };
    const Case cases[] = {
        {0x80070005, "WMI/WinRM Error 0x80070005: Access is denied"},
        {0x80070523, "WMI/WinRM Error 0x80070523: The name provided is not a properly formed account name."},
        {0x80338000, "WMI/WinRM Error 0x80338000: No items can be found at the selected URI."},
        {0x8033801A,
         "WMI/WinRM Error 0x8033801A: The service cannot find the resource identified by the resource URI "
         "and "
         "selectors."},
        {0x8033803B,
         "WMI/WinRM Error 0x8033803B: The resource URI is missing or it has an incorrect format."},
        {0x803380B2, "WMI/WinRM Error 0x803380B2: Credentials are missing"},
        {0x80338113,
         "WMI/WinRM Error 0x80338113: The HTTP server does not support the WS-Management protocol selected "
         "(HTTP/HTTPS)."},
        {0x803381B9,
         "WMI/WinRM Error 0x803381B9: The WinRM client cannot process the request because the server name "
         "cannot "
         "be resolved."},
        {0x80338126, "WMI/WinRM Error 0x80338126"},
        {0x00000005, "WMI/WinRM Error 0x00000005"},
    };
    for (const Case& c : cases) {
        CQncString text("previous");
        CQnWSMan::FormatWinRMError(c.code, text);
        EXPECT_STREQ(text.GetText(), c.text);
    }
}

}  // namespace
}  // namespace qn::test
