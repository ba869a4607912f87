// qnsnwsm.dll as a host loads it (LoadLibrary, GetProcAddress by plain name): without WinRM ("Dll" tests),
// and end to end through the WSMan COM class -> MSXML with the installed stylesheets -> the caller's buffers,
// with our fake registered in the Wine prefix by regsvr32 ("Fake" tests).
#include <windows.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "TestRunner.h"
#include "qnsnwsm.h"

using namespace qn::wintest;

namespace {

// The loaded module, freed with the object; Get gives the export `name` as a pointer of the header's type.
struct ModuleDll {
    HMODULE module = LoadLibraryA(WinePath(QN_DLL_PATH).c_str());
    ~ModuleDll() {
        if (module != nullptr) FreeLibrary(module);
    }
    template <typename Function>
    Function* Get(const char* name) const {
        FARPROC found = module != nullptr ? GetProcAddress(module, name) : nullptr;
        if (found == nullptr) throw std::runtime_error(std::string("missing export ") + name);
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
    }
};

#define QN_EXPORT(dll, name) (dll).Get<decltype(name)>(#name)

constexpr const char* kCimv2Uri = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/";
constexpr const char* kSpooler = "<p:Name>Spooler</p:Name><p:DisplayName>Print Spooler</p:DisplayName>";

// An instance line of the fake's script.
std::string Instance(const std::string& className, const std::string& properties) {
    return "<p:" + className + " xmlns:p=\"" + kCimv2Uri + className + "\">" + properties +
           "</p:" + className + ">\n";
}

// One scenario: a fresh script folder for the fake, the stylesheets installed, and a module handle.
class Scenario {
  public:
    explicit Scenario(const std::string& name) : folder_(FreshFolder("fake-" + name)) {
        SetEnvironmentVariableA("QN_FAKE_WSMAN_DIR", folder_.c_str());
        const std::string share = ShareFolder();
        RegSetKeyValueA(HKEY_LOCAL_MACHINE, "Software\\Quillon\\Sentrel", "ProgFilesFolder", REG_SZ,
                        share.c_str(), static_cast<DWORD>(share.size() + 1));
        Script("Win32_ComputerSystem.items", Instance("Win32_ComputerSystem", "<p:Name>PC1</p:Name>"));
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

    // Initialises the module and connects to "server1"; the error text, after "!" when the connection failed.
    std::string Connect(const char* user, const char* password, const char* wmiNamespace) {
        if (handle_ == nullptr && QN_EXPORT(dll_, WSManInitialize)("host", (folder_ + "\\trace.log").c_str(),
                                                                   &handle_) != QNSNWSM_OK)
            return "!initialisation failed";
        char text[256];
        return QN_EXPORT(dll_, WSManConnectToComputer)(handle_, "server1", user, password, wmiNamespace, 5985,
                                                       0, 0, text, sizeof text) == QNSNWSM_OK
                   ? std::string(text)
                   : "!" + std::string(text);
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

QN_TEST(DllInitializeFailsWithoutTheWsmanClass) {
    const ModuleDll dll;
    const std::string trace = FreshFolder("unregistered") + "\\trace.log";
    QNSNWSM_HANDLE handle = reinterpret_cast<QNSNWSM_HANDLE>(1);
    QN_CHECK_EQ(QN_EXPORT(dll, WSManInitialize)("host", trace.c_str(), &handle), QNSNWSM_FAILURE);
    QN_CHECK(handle == nullptr);

    const std::string log = ReadWholeFile(trace);
    QN_CHECK(Contains(log, "] CoCreateInstance failed (error 0x80040154).\r\n"));
    // The banner keeps its breaks: lines of their own, written in text mode as CR LF.
    QN_CHECK(Contains(log, "\r\nModule: [qnsnwsm.dll], Build: [892.5061]"));
    QN_CHECK(!Contains(log, "\r\r\n"));
}

QN_TEST(FakeSessionPassesCredentialsListsServicesInTheAnsiCodePageAndReboots) {
    Scenario scenario("services");
    scenario.Script(
        "Win32_Service.items",
        Instance("Win32_Service", kSpooler) +
            Instance("Win32_Service", "<p:Name>Zed</p:Name><p:DisplayName>Caf\xC3\xA9</p:DisplayName>"));
    QN_CHECK_EQ(scenario.Connect("CORP\\monitor", "secret", "root\\cimv2"), "");
    QN_CHECK(
        Contains(scenario.Calls(),
                 "CreateSession http://server1:5985/wsman flags=4096 user=CORP\\monitor password=secret"));
    // Access validation on the standard namespace, with the WQL dialect.
    QN_CHECK(Contains(scenario.Calls(), std::string("Enumerate ") + kCimv2Uri +
                                            "* | select * from Win32_ComputerSystem | "
                                            "http://schemas.microsoft.com/wbem/wsman/1/WQL | flags=0"));
    char cafe[8] = {};
    WideCharToMultiByte(CP_ACP, 0, L"Caf\u00e9", -1, cafe, sizeof cafe, nullptr, nullptr);
    QN_CHECK_EQ(std::string(cafe).size(), 4u);
    QN_CHECK_EQ(scenario.ServiceList(), "Spooler;;Print Spooler||Zed;;" + std::string(cafe));
    scenario.Script("Reboot.invoke",
                    "<p:Reboot_OUTPUT xmlns:p=\"" + std::string(kCimv2Uri) +
                        "Win32_OperatingSystem\"><p:ReturnValue>0</p:ReturnValue></p:Reboot_OUTPUT>");
    char text[128];
    QN_CHECK_EQ(QN_EXPORT(scenario.dll_, WSManRebootComputer)(scenario.handle_, text, sizeof text),
                QNSNWSM_OK);
    QN_CHECK_EQ(text, "");
    QN_CHECK(Contains(scenario.Calls(), std::string("Invoke Reboot | ") + kCimv2Uri +
                                            "Win32_OperatingSystem | <p:Reboot_INPUT"));

    // Without a user name the credentials stay unset; another namespace is not validated.
    Scenario other("nouser");
    QN_CHECK_EQ(other.Connect("", "ignored", "root\\other"), "");
    QN_CHECK(Contains(other.Calls(), "flags=4096 user=(unset) password=(unset)"));
    QN_CHECK(!Contains(other.Calls(), "Enumerate"));
}

QN_TEST(FakeFailedValidationGivesTheFaultTextAndNoSession) {
    Scenario scenario("faults");
    scenario.Script("Win32_ComputerSystem.fault", "80338000");
    QN_CHECK_EQ(scenario.Connect("u", "wrong", "root/cimv2"),
                "!WMI/WinRM Error 0x80338000: No items can be found at the selected URI.");
    QN_CHECK_EQ(scenario.ServiceList(),
                "!WSMan session has not been opened yet, please check connection properties");
}

QN_TEST(FakeHandlesOnSeparateThreadsStayIndependent) {
    Scenario scenario("threads");
    scenario.Script("Win32_Service.items", Instance("Win32_Service", kSpooler));
    const ModuleDll& dll = scenario.dll_;
    // Each host thread owns its handle from initialisation to shutdown, as a monitor's workers do.
    std::vector<int> good(3, 0);
    std::vector<std::thread> workers;
    for (std::size_t worker = 0; worker < good.size(); ++worker) {
        workers.emplace_back([&dll, &good, worker] {
            QNSNWSM_HANDLE handle = nullptr;
            if (QN_EXPORT(dll, WSManInitialize)("host", "", &handle) != QNSNWSM_OK) return;
            char text[128];
            char list[128];
            for (int round = 0; round < 5; ++round) {
                QN_EXPORT(dll, WSManConnectToComputer)
                (handle, "server1", "u", "p", "", 5985, 0, 0, text, sizeof text);
                good[worker] += QN_EXPORT(dll, WSManGetServiceList)(handle, list, sizeof list, text,
                                                                    sizeof text) == QNSNWSM_OK &&
                                std::string(list) == "Spooler;;Print Spooler";
                QN_EXPORT(dll, WSManDisconnectComputer)(handle);
            }
            QN_EXPORT(dll, WSManShutdown)(handle);
        });
    }
    for (std::thread& worker : workers) worker.join();
    for (const int count : good) QN_CHECK_EQ(count, 5);
}

QN_TEST(FakeShutdownWithoutDisconnectReleasesEverySessionInsideCom) {
    Scenario scenario("shutdown");
    const ModuleDll& dll = scenario.dll_;
    // A host thread with no COM of its own: the module's CoInitializeEx is the thread's only one.
    std::thread host([&dll] {
        QNSNWSM_HANDLE handle = nullptr;
        if (QN_EXPORT(dll, WSManInitialize)("host", "", &handle) != QNSNWSM_OK) return;
        char text[128];
        for (int connect = 0; connect < 2; ++connect) {  // the second connect parks the first session
            QN_EXPORT(dll, WSManConnectToComputer)
            (handle, "server1", "u", "p", "", 5985, 0, 0, text, sizeof text);
        }
        QN_EXPORT(dll, WSManShutdown)(handle);
    });
    host.join();
    const std::string calls = scenario.Calls();
    std::size_t inside = 0;
    for (std::size_t at = calls.find("Release session inside COM"); at != std::string::npos;
         at = calls.find("Release session inside COM", at + 1))
        ++inside;
    QN_CHECK_EQ(inside, 2u);
    QN_CHECK(!Contains(calls, "outside COM"));
}
