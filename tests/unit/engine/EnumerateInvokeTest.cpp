// WQL enumeration, method invocation and the namespace's resource URI (backslashes become slashes); the
// arguments of invocations are the check tests', the WinRM error texts and an unopened session's the
// reliability tests'.
#include <string>

#include "EngineTestSupport.h"

namespace qn::test {
namespace {

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

TEST_F(EnumerateTest, FailuresGiveTheirTexts) {
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
