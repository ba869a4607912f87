// The Windows WinRM path end to end: qnsnwsm.dll -> WSMan COM class (our fake, registered in the Wine prefix
// with regsvr32) -> MSXML with the installed stylesheets -> the caller's buffers. Run with the fake
// registered: "windows_dll_tests Fake".
#include <string>
#include <thread>
#include <vector>

#include "DllTestSupport.h"
#include "TestPaths.h"
#include "TestRunner.h"

using namespace qn::wintest;

namespace {

constexpr const char* kCimv2Uri = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/";

std::string Instance(const std::string& className, const std::string& properties) {
    return "<p:" + className + " xmlns:p=\"" + kCimv2Uri + className +
           "\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:type=\"p:" + className +
           "_Type\">" + properties + "</p:" + className + ">";
}

std::string Property(const std::string& name, const std::string& value) {
    return "<p:" + name + ">" + value + "</p:" + name + ">";
}

// One scenario: a fresh script folder for the fake, the stylesheets installed, and a module handle.
class Scenario {
  public:
    explicit Scenario(const std::string& name) : folder_(FreshFolder("fake-" + name)) {
        SetEnvironmentVariableA("QN_FAKE_WSMAN_DIR", folder_.c_str());
        SetProgFilesFolder(ShareFolder());
        Script("Win32_ComputerSystem.items",
               Instance("Win32_ComputerSystem",
                        Property("Name", "PC1") + Property("DomainRole", "3") + Property("Domain", "CORP")) +
                   "\n");
    }
    ~Scenario() {
        if (handle_ != nullptr) QN_EXPORT(dll_, WSManShutdown)(handle_);
    }
    Scenario(const Scenario&) = delete;
    Scenario& operator=(const Scenario&) = delete;

    void Script(const std::string& file, const std::string& content) {
        WriteWholeFile(folder_ + "\\" + file, content);
    }
    std::string Calls() const { return ReadWholeFile(folder_ + "\\calls.log"); }
    std::string Trace() const { return ReadWholeFile(folder_ + "\\trace.log"); }
    const ModuleDll& Dll() const { return dll_; }

    bool Initialize() {
        return QN_EXPORT(dll_, WSManInitialize)("host", (folder_ + "\\trace.log").c_str(), &handle_) ==
               QNSNWSM_OK;
    }
    uint32_t Connect(const char* user, const char* password, const char* wmiNamespace, std::string& error) {
        char text[256];
        const uint32_t result = QN_EXPORT(dll_, WSManConnectToComputer)(
            handle_, "server1", user, password, wmiNamespace, 5985, 0, 0, text, sizeof text);
        error = text;
        return result;
    }
    QNSNWSM_HANDLE Handle() const { return handle_; }

  private:
    ModuleDll dll_;
    std::string folder_;
    QNSNWSM_HANDLE handle_ = nullptr;
};

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

}  // namespace

QN_TEST(FakeConnectValidatesAndReadsTheDomain) {
    Scenario scenario("domain");
    QN_CHECK(scenario.Initialize());
    std::string error;
    QN_CHECK_EQ(scenario.Connect("CORP\\monitor", "secret", "", error), QNSNWSM_OK);
    QN_CHECK_EQ(error, "");

    const std::string calls = scenario.Calls();
    QN_CHECK(Contains(
        calls, "CreateSession http://server1:5985/wsman flags=4096 user=CORP\\monitor password=secret"));
    // Access validation on the default namespace, with the WQL dialect.
    QN_CHECK(Contains(calls, std::string("Enumerate ") + kCimv2Uri +
                                 "* | select * from Win32_ComputerSystem | "
                                 "http://schemas.microsoft.com/wbem/wsman/1/WQL | flags=0"));

    char domain[32];
    char text[64];
    uint32_t member = 9;
    QN_CHECK_EQ(QN_EXPORT(scenario.Dll(), WSManGetDomain)(scenario.Handle(), domain, sizeof domain, text,
                                                          sizeof text, &member),
                QNSNWSM_OK);
    QN_CHECK_EQ(domain, "CORP");
    QN_CHECK_EQ(member, 1u);
    QN_CHECK(Contains(scenario.Trace(), "WinRMGetDomain, result:[completed], error:[], domain:[CORP]."));
}

QN_TEST(FakeWithoutUserNameLeavesTheCredentialsUnset) {
    Scenario scenario("nouser");
    QN_CHECK(scenario.Initialize());
    std::string error;
    QN_CHECK_EQ(scenario.Connect("", "ignored", "root\\other", error), QNSNWSM_OK);
    const std::string calls = scenario.Calls();
    QN_CHECK(Contains(calls, "flags=4096 user=(unset) password=(unset)"));
    // Another namespace: no validation.
    QN_CHECK(!Contains(calls, "Enumerate"));
}

QN_TEST(FakeServiceListThroughMsxml) {
    Scenario scenario("services");
    scenario.Script(
        "Win32_Service.items",
        Instance("Win32_Service", Property("Name", "Spooler") + Property("DisplayName", "Print Spooler")) +
            "\n" +
            Instance("Win32_Service", Property("Name", "WinRM") +
                                          Property("DisplayName", "Windows Remote Management &amp; more")) +
            "\n" +
            Instance("Win32_Service", Property("Name", "Zed") + Property("DisplayName", "Caf\xC3\xA9")) +
            "\n");
    QN_CHECK(scenario.Initialize());
    std::string error;
    QN_CHECK_EQ(scenario.Connect("u", "p", "root\\cimv2", error), QNSNWSM_OK);

    char list[256];
    char text[128];
    QN_CHECK_EQ(QN_EXPORT(scenario.Dll(), WSManGetServiceList)(scenario.Handle(), list, sizeof list, text,
                                                               sizeof text),
                QNSNWSM_OK);
    // Texts arrive in the ANSI code page, not as the UTF-8 they travelled in.
    char cafe[8] = {};
    WideCharToMultiByte(CP_ACP, 0, L"Caf\u00e9", -1, cafe, sizeof cafe, nullptr, nullptr);
    QN_CHECK_EQ(list,
                "Spooler;;Print Spooler||WinRM;;Windows Remote Management & more||Zed;;" + std::string(cafe));
    QN_CHECK_EQ(std::string(cafe).size(), 4u);
    QN_CHECK_EQ(text, "");
}

QN_TEST(FakeWinRMFaultsBecomeTexts) {
    Scenario scenario("faults");
    scenario.Script("Win32_Service.fault", "80070005");
    QN_CHECK(scenario.Initialize());
    std::string error;
    QN_CHECK_EQ(scenario.Connect("u", "p", "", error), QNSNWSM_OK);

    char list[64];
    char text[128];
    QN_CHECK_EQ(QN_EXPORT(scenario.Dll(), WSManGetServiceList)(scenario.Handle(), list, sizeof list, text,
                                                               sizeof text),
                QNSNWSM_FAILURE);
    QN_CHECK_EQ(text, "WMI/WinRM Error 0x80070005: Access is denied");
    QN_CHECK_EQ(list, "");
}

QN_TEST(FakeEnumerationWithoutAnEnumeratorFails) {
    Scenario scenario("notenumerator");
    scenario.Script("Win32_Service.not-enumerator", "");
    QN_CHECK(scenario.Initialize());
    std::string error;
    QN_CHECK_EQ(scenario.Connect("u", "p", "", error), QNSNWSM_OK);
    char list[64];
    char text[128];
    QN_CHECK_EQ(QN_EXPORT(scenario.Dll(), WSManGetServiceList)(scenario.Handle(), list, sizeof list, text,
                                                               sizeof text),
                QNSNWSM_FAILURE);
    QN_CHECK_EQ(text, "WSMan enumerate failed, null pointer cast");
}

QN_TEST(FakeFailedValidationClosesTheSession) {
    Scenario scenario("validation");
    scenario.Script("Win32_ComputerSystem.fault", "80338000");
    QN_CHECK(scenario.Initialize());
    std::string error;
    QN_CHECK_EQ(scenario.Connect("u", "wrong", "root/cimv2", error), QNSNWSM_FAILURE);
    QN_CHECK_EQ(error, "WMI/WinRM Error 0x80338000: No items can be found at the selected URI.");

    char domain[16];
    char text[128];
    uint32_t member = 0;
    QN_CHECK_EQ(QN_EXPORT(scenario.Dll(), WSManGetDomain)(scenario.Handle(), domain, sizeof domain, text,
                                                          sizeof text, &member),
                QNSNWSM_FAILURE);
    QN_CHECK_EQ(text, "WSMan session has not been opened yet, please check connection properties");
}

QN_TEST(FakeRefusedSessionIsReported) {
    Scenario scenario("refused");
    scenario.Script("session.fault", "803381B9");
    QN_CHECK(scenario.Initialize());
    std::string error;
    QN_CHECK_EQ(scenario.Connect("u", "p", "", error), QNSNWSM_FAILURE);
    QN_CHECK_EQ(error, "Failed to create WSMan Session, error: 0x803381B9");
}

QN_TEST(FakeRebootInvokesTheOperatingSystemMethod) {
    Scenario scenario("reboot");
    scenario.Script("Reboot.invoke",
                    "<p:Reboot_OUTPUT xmlns:p=\"" + std::string(kCimv2Uri) +
                        "Win32_OperatingSystem\"><p:ReturnValue>0</p:ReturnValue></p:Reboot_OUTPUT>");
    QN_CHECK(scenario.Initialize());
    std::string error;
    QN_CHECK_EQ(scenario.Connect("u", "p", "", error), QNSNWSM_OK);

    char text[128];
    QN_CHECK_EQ(QN_EXPORT(scenario.Dll(), WSManRebootComputer)(scenario.Handle(), text, sizeof text),
                QNSNWSM_OK);
    QN_CHECK_EQ(text, "");
    const std::string calls = scenario.Calls();
    QN_CHECK(Contains(
        calls, std::string("Invoke Reboot | ") + kCimv2Uri + "Win32_OperatingSystem | <p:Reboot_INPUT"));
    QN_CHECK(Contains(scenario.Trace(), "Invoke raw response: [<p:Reboot_OUTPUT"));

    scenario.Script("Reboot.invoke-fault", "80070005");
    QN_CHECK_EQ(QN_EXPORT(scenario.Dll(), WSManRebootComputer)(scenario.Handle(), text, sizeof text),
                QNSNWSM_FAILURE);
    QN_CHECK_EQ(text, "WMI/WinRM Error 0x80070005: Access is denied");
}

QN_TEST(FakeHandlesOnSeparateThreadsStayIndependent) {
    Scenario scenario("threads");
    scenario.Script(
        "Win32_Service.items",
        Instance("Win32_Service", Property("Name", "Spooler") + Property("DisplayName", "Print Spooler")) +
            "\n");
    const ModuleDll& dll = scenario.Dll();
    // Each host thread owns its handle from initialisation to shutdown, as a monitor's workers do.
    std::vector<std::string> results(3);
    std::vector<std::thread> workers;
    for (std::size_t worker = 0; worker < results.size(); ++worker) {
        workers.emplace_back([&dll, &results, worker] {
            QNSNWSM_HANDLE handle = nullptr;
            if (QN_EXPORT(dll, WSManInitialize)("host", "", &handle) != QNSNWSM_OK) return;
            char text[128];
            char list[128];
            for (int round = 0; round < 5; ++round) {
                QN_EXPORT(dll, WSManConnectToComputer)
                (handle, "server1", "u", "p", "", 5985, 0, 0, text, sizeof text);
                if (QN_EXPORT(dll, WSManGetServiceList)(handle, list, sizeof list, text, sizeof text) ==
                    QNSNWSM_OK) {
                    results[worker] += list;
                    results[worker] += "|";
                }
                QN_EXPORT(dll, WSManDisconnectComputer)(handle);
            }
            QN_EXPORT(dll, WSManShutdown)(handle);
        });
    }
    for (std::thread& worker : workers) worker.join();
    const std::string expected = std::string("Spooler;;Print Spooler|") + "Spooler;;Print Spooler|" +
                                 "Spooler;;Print Spooler|" + "Spooler;;Print Spooler|" +
                                 "Spooler;;Print Spooler|";
    for (const std::string& result : results) QN_CHECK_EQ(result, expected);
}
