// The checks end to end: the shared library's exports, the WinRM client on the wire and the simulator's
// server, with a computer whose instances are canned per query. Basic over plain HTTP keeps the
// authentication out of the way; enumerations hand over one item per message, so every list is pulled.
#include <gtest/gtest.h>

#include "E2eSupport.h"
#include "qnsnwsm.h"

#if QN_HAVE_SIMULATOR

#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "model/ComputerModel.h"
#include "server/SimServer.h"

namespace qn::e2e {
namespace {

constexpr const char* kUser = "PC1\\monitor";
constexpr const char* kPassword = "Corr3ct-Horse";

using Properties = std::vector<std::pair<std::string, std::string>>;

std::string Rendered(const std::string& wmiNamespace, const std::string& className,
                     const Properties& properties) {
    std::string xml = "<p:" + className + " xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/" +
                      wmiNamespace + "/" + className +
                      "\" xmlns:cim=\"http://schemas.dmtf.org/wbem/wscim/1/common\" "
                      "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:type=\"p:" +
                      className + "_Type\">";
    for (const auto& [name, value] : properties) {
        xml += "<p:" + name + ">" + value + "</p:" + name + ">";
    }
    return xml + "</p:" + className + ">";
}

// Answers each WQL text with its canned instances and records the method calls it receives.
class CannedComputer final : public qnsim::ComputerModel {
  public:
    struct Call {
        std::string wmiNamespace, className, method, input;
        qnsim::Selectors selectors;
    };

    void Add(const std::string& className, const Properties& properties,
             const std::string& wmiNamespace = "root/cimv2") {
        std::lock_guard<std::mutex> lock(mutex_);
        queries_[wmiNamespace + "|select * from " + className].push_back(
            {Rendered(wmiNamespace, className, properties)});
    }
    void SetOutput(const std::string& method, const Properties& properties) {
        std::lock_guard<std::mutex> lock(mutex_);
        outputs_[method] = properties;
    }
    std::vector<Call> Calls() {
        std::lock_guard<std::mutex> lock(mutex_);
        return calls_;
    }

    std::string HostName() const override { return "PC1"; }
    bool HasNamespace(const std::string& wmiNamespace) const override {
        return wmiNamespace == "root/cimv2" || wmiNamespace == "root/WebAdministration";
    }
    qnsim::Result<std::vector<qnsim::RenderedItem>> ExecQuery(
        const std::string& wmiNamespace, const std::string& wql,
        std::chrono::steady_clock::time_point) override {
        std::lock_guard<std::mutex> lock(mutex_);
        qnsim::Result<std::vector<qnsim::RenderedItem>> result;
        const auto found = queries_.find(wmiNamespace + "|" + wql);
        if (found == queries_.end()) {
            result.error = {qnsim::WmiError::Kind::InvalidClass, 0x80041010, "Invalid class "};
            return result;
        }
        result.ok = true;
        result.value = found->second;
        return result;
    }
    qnsim::Result<qnsim::RenderedItem> Get(const std::string&, const std::string&, const qnsim::Selectors&,
                                           std::chrono::steady_clock::time_point) override {
        qnsim::Result<qnsim::RenderedItem> result;
        result.error = {qnsim::WmiError::Kind::NotFound, 0x80041002, "Not found "};
        return result;
    }
    qnsim::Result<qnsim::RenderedItem> Invoke(const std::string& wmiNamespace, const std::string& className,
                                              const qnsim::Selectors& selectors, const std::string& method,
                                              const std::string& inputXml,
                                              std::chrono::steady_clock::time_point) override {
        std::lock_guard<std::mutex> lock(mutex_);
        calls_.push_back({wmiNamespace, className, method, inputXml, selectors});
        qnsim::Result<qnsim::RenderedItem> result;
        const auto found = outputs_.find(method);
        if (found == outputs_.end()) {
            result.error = {qnsim::WmiError::Kind::InvalidMethod, 0x8004102E, "Invalid method "};
            return result;
        }
        result.ok = true;
        std::string body;
        for (const auto& [name, value] : found->second) {
            body += "<p:" + name + ">" + value + "</p:" + name + ">";
        }
        result.value.xml = "<p:" + method +
                           "_OUTPUT xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/" + wmiNamespace +
                           "/" + className + "\">" + body + "</p:" + method + "_OUTPUT>";
        return result;
    }

  private:
    std::mutex mutex_;
    std::map<std::string, std::vector<qnsim::RenderedItem>> queries_;
    std::map<std::string, Properties> outputs_;
    std::vector<Call> calls_;
};

class CheckEndToEndTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::ofstream(scratch_.File("users")) << "PC1:monitor:" << kPassword << "\n";
        std::ofstream(scratch_.File("registry.conf"))
            << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=" << QN_SHARE_DIR << "/\n"
            << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\n"
            << "AuthScheme=Basic\nAllowUnencrypted=1\n";
        auto computer = std::make_unique<CannedComputer>();
        computer_ = computer.get();
        computer_->Add("Win32_ComputerSystem", {{"Domain", "CORP"}, {"DomainRole", "1"}, {"Name", "PC1"}});
        qnsim::SimOptions options;
        options.usersFile = scratch_.File("users").string();
        options.allowUnencrypted = true;
        options.basic = true;
        std::string error;
        server_ = qnsim::StartSimServer(options, std::move(computer), error);
        ASSERT_NE(server_, nullptr) << error;
        ASSERT_EQ(WSManInitialize("e2e-checks", scratch_.File("module.log").c_str(), &handle_), QNSNWSM_OK);
    }
    void TearDown() override {
        WSManShutdown(handle_);
        if (server_) server_->Stop();
    }
    uint32_t Connect(const char* wmiNamespace = "root\\cimv2") {
        char error[256] = {};
        const uint32_t result = WSManConnectToComputer(handle_, "127.0.0.1", kUser, kPassword, wmiNamespace,
                                                       server_->Port(), 0, 0, error, sizeof error);
        EXPECT_STREQ(error, "");
        return result;
    }

    ScratchFolder scratch_;
    CannedComputer* computer_ = nullptr;
    std::unique_ptr<qnsim::SimServer> server_;
    QNSNWSM_HANDLE handle_ = nullptr;
    char error_[256] = {};
};

TEST_F(CheckEndToEndTest, SystemChecksReadTheComputer) {
    computer_->Add("Win32_DiskDrive",
                   {{"Caption", "Disk 0"}, {"InterfaceType", "IDE"}, {"Model", "WDC"}, {"Status", "OK"}});
    computer_->Add(
        "Win32_DiskDrive",
        {{"Caption", "Disk 1"}, {"InterfaceType", "USB"}, {"Model", "SanDisk"}, {"Status", "Degraded"}});
    computer_->Add("Win32_LogicalDisk",
                   {{"FreeSpace", "840649814016"}, {"Name", "C:"}, {"Size", "999650488320"}});
    computer_->Add(
        "Win32_PerfFormattedData_PerfOS_Memory",
        {{"AvailableBytes", "4294967296"}, {"CommittedBytes", "1073741824"}, {"PagesPerSec", "12"}});
    ASSERT_EQ(Connect(), QNSNWSM_OK);

    char domain[32];
    uint32_t role = 0;
    EXPECT_EQ(WSManGetDomain(handle_, domain, sizeof domain, error_, sizeof error_, &role), QNSNWSM_OK)
        << error_;
    EXPECT_STREQ(domain, "CORP");
    EXPECT_EQ(role, 1u);

    uint32_t allOk = 1;
    char list[64], bad[32], status[32];
    EXPECT_EQ(WSManGetDisksState(handle_, &allOk, list, bad, status, 32, error_, sizeof error_), QNSNWSM_OK)
        << error_;
    EXPECT_EQ(allOk, 0u);
    EXPECT_STREQ(list, "[Disk 0]");
    EXPECT_STREQ(bad, "[Disk 1]");
    EXPECT_STREQ(status, "[Degraded]");

    EXPECT_EQ(WSManGetRemovableDrives(handle_, list, sizeof list, error_, sizeof error_), QNSNWSM_OK)
        << error_;
    EXPECT_STREQ(list, "SanDisk");

    uint32_t found = 0, freeMB = 0, usedMB = 0, sizeMB = 0;
    EXPECT_EQ(
        WSManGetLogicalDiskSpace(handle_, "c", &found, &freeMB, &usedMB, &sizeMB, error_, sizeof error_),
        QNSNWSM_FAILURE);
    EXPECT_EQ(
        WSManGetLogicalDiskSpace(handle_, "C", &found, &freeMB, &usedMB, &sizeMB, error_, sizeof error_),
        QNSNWSM_OK);
    EXPECT_EQ(freeMB, 801706u);
    EXPECT_EQ(sizeMB, 953340u);

    uint32_t available = 0, committed = 0, pages = 0;
    EXPECT_EQ(WSManGetMemory(handle_, &available, &committed, &pages, error_, sizeof error_), QNSNWSM_OK);
    EXPECT_EQ(available, 4096u);
    EXPECT_EQ(committed, 1024u);
    EXPECT_EQ(pages, 12u);
}

TEST_F(CheckEndToEndTest, LongListsArePulledWholeAndCutAtTheBuffer) {
    for (int i = 0; i < 120; ++i) {
        const std::string name = "proc" + std::to_string(1000 + i) + ".exe";
        computer_->Add("Win32_Process", {{"Name", name}, {"ProcessId", std::to_string(i + 8)}});
    }
    ASSERT_EQ(Connect(), QNSNWSM_OK);
    std::vector<char> list(4096);
    EXPECT_EQ(
        WSManGetProcessList(handle_, list.data(), static_cast<uint32_t>(list.size()), error_, sizeof error_),
        QNSNWSM_OK);
    const std::string joined(list.data());
    EXPECT_EQ(joined.size(), 120u * 12u + 119u * 2u);
    EXPECT_EQ(joined.substr(0, 26), "proc1000.exe||proc1001.exe");

    char small[20];
    EXPECT_EQ(WSManGetProcessList(handle_, small, sizeof small, error_, sizeof error_), QNSNWSM_OK);
    EXPECT_STREQ(small, "proc1000.exe||proc1");

    uint32_t running = 0;
    EXPECT_EQ(WSManGetProcessState(handle_, "PROC1119.EXE", &running, error_, sizeof error_), QNSNWSM_OK);
    EXPECT_EQ(running, 1u);
}

TEST_F(CheckEndToEndTest, ServiceRestartStopsAndStartsTheInstance) {
    computer_->Add(
        "Win32_Service",
        {{"DisplayName", "Print Spooler"}, {"Name", "Spooler"}, {"StartMode", "Auto"}, {"State", "Stopped"}});
    computer_->SetOutput("StopService", {{"ReturnValue", "0"}});
    computer_->SetOutput("StartService", {{"ReturnValue", "0"}});
    ASSERT_EQ(Connect(), QNSNWSM_OK);

    char name[32], display[32], state[32], mode[32];
    uint32_t installed = 0;
    EXPECT_EQ(WSManGetServiceState(handle_, "print spooler", name, sizeof name, display, sizeof display,
                                   &installed, state, sizeof state, mode, sizeof mode, error_, sizeof error_),
              QNSNWSM_OK);
    EXPECT_STREQ(name, "Spooler");
    EXPECT_STREQ(state, "Stopped");

    EXPECT_EQ(WSManRestartService(handle_, "Spooler", error_, sizeof error_), QNSNWSM_OK) << error_;
    const auto calls = computer_->Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].method, "StopService");
    EXPECT_EQ(calls[0].className, "Win32_Service");
    EXPECT_EQ(calls[0].selectors.at("Name"), "Spooler");
    EXPECT_EQ(calls[1].method, "StartService");

    EXPECT_EQ(WSManRestartService(handle_, "NoSuchService", error_, sizeof error_), QNSNWSM_FAILURE);
    EXPECT_STREQ(error_, "Service not installed.");
}

TEST_F(CheckEndToEndTest, ApplicationPoolStateThroughItsMethod) {
    computer_->Add("ApplicationPool", {{"Name", "DefaultAppPool"}}, "root/WebAdministration");
    computer_->SetOutput("GetState", {{"ReturnValue", "1"}});
    ASSERT_EQ(Connect("root\\WebAdministration"), QNSNWSM_OK);

    char list[64];
    EXPECT_EQ(WSManGetApplicationPoolList(handle_, list, sizeof list, error_, sizeof error_), QNSNWSM_OK)
        << error_;
    EXPECT_STREQ(list, "DefaultAppPool");

    uint32_t started = 0;
    char state[16];
    EXPECT_EQ(WSManGetApplicationPoolState(handle_, "DefaultAppPool", &started, state, sizeof state, error_,
                                           sizeof error_),
              QNSNWSM_OK)
        << error_;
    EXPECT_EQ(started, 1u);
    EXPECT_STREQ(state, "Started");
    const auto calls = computer_->Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].className, "ApplicationPool");
    EXPECT_EQ(calls[0].selectors.at("Name"), "DefaultAppPool");
}

TEST_F(CheckEndToEndTest, RebootAndAClassTheComputerLacks) {
    computer_->SetOutput("Reboot", {{"ReturnValue", "0"}});
    ASSERT_EQ(Connect(), QNSNWSM_OK);
    EXPECT_EQ(WSManRebootComputer(handle_, error_, sizeof error_), QNSNWSM_OK) << error_;
    ASSERT_EQ(computer_->Calls().size(), 1u);
    EXPECT_EQ(computer_->Calls()[0].className, "Win32_OperatingSystem");

    uint32_t shareFound = 1;
    char text[8];
    EXPECT_EQ(WSManGetShareState(handle_, "C$", &shareFound, text, sizeof text, error_, sizeof error_),
              QNSNWSM_FAILURE);
    EXPECT_EQ(shareFound, 0u);
    EXPECT_EQ(std::strncmp(error_, "WMI/WinRM Error 0x", 18), 0) << error_;
}

}  // namespace
}  // namespace qn::e2e

#endif  // QN_HAVE_SIMULATOR
