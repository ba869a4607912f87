// The Windows WinRM path end to end: qnsnwsm.dll -> WSMan COM class (our fake, registered in the Wine prefix
// with regsvr32) -> MSXML with the installed stylesheets -> the caller's buffers. Run with the fake
// registered: "windows_dll_tests Fake".
#include <string>
#include <thread>
#include <vector>

#include "DllTestSupport.h"
#include "TestRunner.h"

using namespace qn::wintest;

namespace {

constexpr const char* kCimv2Uri = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/";

// An instance line of the fake's script: properties given as name, value, name, value...
std::string Instance(const std::string& className, const std::vector<std::string>& properties) {
    std::string item =
        "<p:" + className + " xmlns:p=\"" + kCimv2Uri + className +
        "\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:type=\"p:" + className + "_Type\">";
    for (std::size_t i = 0; i + 1 < properties.size(); i += 2)
        item += "<p:" + properties[i] + ">" + properties[i + 1] + "</p:" + properties[i] + ">";
    return item + "</p:" + className + ">\n";
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// One scenario: a fresh script folder for the fake, the stylesheets installed, and a module handle.
class Scenario {
  public:
    explicit Scenario(const std::string& name) : folder_(FreshFolder("fake-" + name)) {
        SetEnvironmentVariableA("QN_FAKE_WSMAN_DIR", folder_.c_str());
        HKEY key = nullptr;
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, "Software\\Quillon\\Sentrel", 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, &key, nullptr);
        const std::string share = ShareFolder();
        RegSetValueExA(key, "ProgFilesFolder", 0, REG_SZ, reinterpret_cast<const BYTE*>(share.c_str()),
                       static_cast<DWORD>(share.size() + 1));
        RegCloseKey(key);
        Script("Win32_ComputerSystem.items",
               Instance("Win32_ComputerSystem", {"Name", "PC1", "DomainRole", "3", "Domain", "CORP"}));
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

    // Initialises the module and connects to "server1"; the connection's result and error text.
    uint32_t Connect(const char* user, const char* password, const char* wmiNamespace, std::string& error) {
        if (handle_ == nullptr && QN_EXPORT(dll_, WSManInitialize)("host", (folder_ + "\\trace.log").c_str(),
                                                                   &handle_) != QNSNWSM_OK)
            return QNSNWSM_FAILURE;
        char text[256];
        const uint32_t result = QN_EXPORT(dll_, WSManConnectToComputer)(
            handle_, "server1", user, password, wmiNamespace, 5985, 0, 0, text, sizeof text);
        error = text;
        return result;
    }
    // The service list, or the error text after "!".
    std::string ServiceList() {
        char list[256];
        char text[128];
        return QN_EXPORT(dll_, WSManGetServiceList)(handle_, list, sizeof list, text, sizeof text) ==
                       QNSNWSM_OK
                   ? std::string(list)
                   : "!" + std::string(text);
    }

    ModuleDll dll_;
    std::string folder_;
    QNSNWSM_HANDLE handle_ = nullptr;
};

}  // namespace

QN_TEST(FakeConnectPassesTheCredentialsValidatesAndReadsTheDomain) {
    Scenario scenario("domain");
    std::string error;
    QN_CHECK_EQ(scenario.Connect("CORP\\monitor", "secret", "", error), QNSNWSM_OK);
    QN_CHECK_EQ(error, "");
    QN_CHECK(
        Contains(scenario.Calls(),
                 "CreateSession http://server1:5985/wsman flags=4096 user=CORP\\monitor password=secret"));
    // Access validation on the default namespace, with the WQL dialect.
    QN_CHECK(Contains(scenario.Calls(), std::string("Enumerate ") + kCimv2Uri +
                                            "* | select * from Win32_ComputerSystem | "
                                            "http://schemas.microsoft.com/wbem/wsman/1/WQL | flags=0"));

    char domain[32];
    char text[64];
    uint32_t member = 9;
    QN_CHECK_EQ(QN_EXPORT(scenario.dll_, WSManGetDomain)(scenario.handle_, domain, sizeof domain, text,
                                                         sizeof text, &member),
                QNSNWSM_OK);
    QN_CHECK_EQ(domain, "CORP");
    QN_CHECK_EQ(member, 1u);
    QN_CHECK(Contains(scenario.Trace(), "WinRMGetDomain, result:[completed], error:[], domain:[CORP]."));

    // Without a user name the credentials stay unset; another namespace is not validated.
    QN_EXPORT(scenario.dll_, WSManDisconnectComputer)(scenario.handle_);
    Scenario other("nouser");
    QN_CHECK_EQ(other.Connect("", "ignored", "root\\other", error), QNSNWSM_OK);
    QN_CHECK(Contains(other.Calls(), "flags=4096 user=(unset) password=(unset)"));
    QN_CHECK(!Contains(other.Calls(), "Enumerate"));
}

QN_TEST(FakeServiceListThroughMsxmlInTheAnsiCodePage) {
    Scenario scenario("services");
    scenario.Script("Win32_Service.items",
                    Instance("Win32_Service", {"Name", "Spooler", "DisplayName", "Print Spooler"}) +
                        Instance("Win32_Service", {"Name", "WinRM", "DisplayName", "Remote &amp; more"}) +
                        Instance("Win32_Service", {"Name", "Zed", "DisplayName", "Caf\xC3\xA9"}));
    std::string error;
    QN_CHECK_EQ(scenario.Connect("u", "p", "root\\cimv2", error), QNSNWSM_OK);
    char cafe[8] = {};
    WideCharToMultiByte(CP_ACP, 0, L"Caf\u00e9", -1, cafe, sizeof cafe, nullptr, nullptr);
    QN_CHECK_EQ(std::string(cafe).size(), 4u);
    QN_CHECK_EQ(scenario.ServiceList(),
                "Spooler;;Print Spooler||WinRM;;Remote & more||Zed;;" + std::string(cafe));
}

QN_TEST(FakeWinRMFaultsBecomeTextsAndAFailedValidationClosesTheSession) {
    Scenario scenario("faults");
    scenario.Script("Win32_Service.fault", "80070005");
    std::string error;
    QN_CHECK_EQ(scenario.Connect("u", "p", "", error), QNSNWSM_OK);
    QN_CHECK_EQ(scenario.ServiceList(), "!WMI/WinRM Error 0x80070005: Access is denied");

    QN_EXPORT(scenario.dll_, WSManDisconnectComputer)(scenario.handle_);
    scenario.Script("Win32_ComputerSystem.fault", "80338000");
    QN_CHECK_EQ(scenario.Connect("u", "wrong", "root/cimv2", error), QNSNWSM_FAILURE);
    QN_CHECK_EQ(error, "WMI/WinRM Error 0x80338000: No items can be found at the selected URI.");
    QN_CHECK_EQ(scenario.ServiceList(),
                "!WSMan session has not been opened yet, please check connection properties");
}

QN_TEST(FakeRebootInvokesTheOperatingSystemMethod) {
    Scenario scenario("reboot");
    scenario.Script("Reboot.invoke",
                    "<p:Reboot_OUTPUT xmlns:p=\"" + std::string(kCimv2Uri) +
                        "Win32_OperatingSystem\"><p:ReturnValue>0</p:ReturnValue></p:Reboot_OUTPUT>");
    std::string error;
    QN_CHECK_EQ(scenario.Connect("u", "p", "", error), QNSNWSM_OK);
    char text[128];
    QN_CHECK_EQ(QN_EXPORT(scenario.dll_, WSManRebootComputer)(scenario.handle_, text, sizeof text),
                QNSNWSM_OK);
    QN_CHECK_EQ(text, "");
    QN_CHECK(Contains(scenario.Calls(), std::string("Invoke Reboot | ") + kCimv2Uri +
                                            "Win32_OperatingSystem | <p:Reboot_INPUT"));
    QN_CHECK(Contains(scenario.Trace(), "Invoke raw response: [<p:Reboot_OUTPUT"));

    scenario.Script("Reboot.invoke-fault", "80070005");
    QN_CHECK_EQ(QN_EXPORT(scenario.dll_, WSManRebootComputer)(scenario.handle_, text, sizeof text),
                QNSNWSM_FAILURE);
    QN_CHECK_EQ(text, "WMI/WinRM Error 0x80070005: Access is denied");
}

QN_TEST(FakeHandlesOnSeparateThreadsStayIndependent) {
    Scenario scenario("threads");
    scenario.Script("Win32_Service.items",
                    Instance("Win32_Service", {"Name", "Spooler", "DisplayName", "Print Spooler"}));
    const ModuleDll& dll = scenario.dll_;
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
                    QNSNWSM_OK)
                    results[worker] += std::string(list) + "|";
                QN_EXPORT(dll, WSManDisconnectComputer)(handle);
            }
            QN_EXPORT(dll, WSManShutdown)(handle);
        });
    }
    for (std::thread& worker : workers) worker.join();
    std::string expected;
    for (int round = 0; round < 5; ++round) expected += "Spooler;;Print Spooler|";
    for (const std::string& result : results) QN_CHECK_EQ(result, expected);
}
