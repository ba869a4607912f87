// Connecting through the exports to the in-process simulator: NTLM over HTTP with sealed messages, a wrong
// password, a host that does not resolve.
#include <gtest/gtest.h>

#include "E2eSupport.h"
#include "qnsnwsm.h"

#if QN_HAVE_SIMULATOR

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>

#include "model/ComputerModel.h"
#include "server/SimServer.h"

namespace qn::e2e {
namespace {

constexpr const char* kUser = "PC1\\monitor";
constexpr const char* kPassword = "Corr3ct-Horse";

// Just enough of a computer for the access check after connecting.
class ValidationOnlyComputer final : public qnsim::ComputerModel {
  public:
    std::string HostName() const override { return "PC1"; }
    bool HasNamespace(const std::string& wmiNamespace) const override { return wmiNamespace == "root/cimv2"; }

    qnsim::Result<std::vector<qnsim::RenderedItem>> ExecQuery(
        const std::string&, const std::string& wql, std::chrono::steady_clock::time_point) override {
        qnsim::Result<std::vector<qnsim::RenderedItem>> result;
        if (wql != "select * from Win32_ComputerSystem") {
            result.error = {qnsim::WmiError::Kind::InvalidClass, 0x80041010, "Invalid class "};
            return result;
        }
        const std::string uri =
            "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_ComputerSystem";
        result.ok = true;
        result.value.push_back({"<p:Win32_ComputerSystem xmlns:p=\"" + uri +
                                "\"><p:Domain>WORKGROUP</p:Domain><p:DomainRole>0</p:DomainRole>"
                                "<p:Name>PC1</p:Name></p:Win32_ComputerSystem>"});
        return result;
    }
    qnsim::Result<qnsim::RenderedItem> Get(const std::string&, const std::string&, const qnsim::Selectors&,
                                           std::chrono::steady_clock::time_point) override {
        return NotFound();
    }
    qnsim::Result<qnsim::RenderedItem> Invoke(const std::string&, const std::string&, const qnsim::Selectors&,
                                              const std::string&, const std::string&,
                                              std::chrono::steady_clock::time_point) override {
        return NotFound();
    }

  private:
    static qnsim::Result<qnsim::RenderedItem> NotFound() {
        qnsim::Result<qnsim::RenderedItem> result;
        result.error = {qnsim::WmiError::Kind::NotFound, 0x80041002, "Not found "};
        return result;
    }
};

class ConnectTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::ofstream(scratch_.File("users")) << "PC1:monitor:" << kPassword << "\n";
        qnsim::SimOptions options;
        options.usersFile = scratch_.File("users").string();
        options.allowUnencrypted = false;  // NTLM must seal every message over HTTP
        AdjustOptions(options);
        std::string error;
        server_ = qnsim::StartSimServer(options, std::make_unique<ValidationOnlyComputer>(), error);
        ASSERT_NE(server_, nullptr) << error;
        ASSERT_EQ(WSManInitialize("e2e", TraceFile().c_str(), &handle_), QNSNWSM_OK);
    }
    void TearDown() override {
        WSManShutdown(handle_);
        if (server_) server_->Stop();
    }

    virtual void AdjustOptions(qnsim::SimOptions&) {}

    uint32_t Connect(const char* computer, const char* password, std::uint16_t port) {
        return WSManConnectToComputer(handle_, computer, kUser, password, "root\\cimv2", port, 0, 0, error_,
                                      sizeof error_);
    }
    std::filesystem::path TraceFile() const { return scratch_.File("module.log"); }

    ScratchFolder scratch_;
    std::unique_ptr<qnsim::SimServer> server_;
    QNSNWSM_HANDLE handle_ = nullptr;
    char error_[512] = {};
};

TEST_F(ConnectTest, NtlmOverHttpWithSealingConnectsAndValidates) {
    EXPECT_EQ(Connect("127.0.0.1", kPassword, server_->Port()), QNSNWSM_OK) << error_;
    EXPECT_STREQ(error_, "");
    WSManDisconnectComputer(handle_);

    const auto trace = ReadWholeFile(TraceFile());
    EXPECT_NE(trace.find("WinRM UserName: [PC1\\monitor]"), std::string::npos);
    EXPECT_NE(trace.find("WinRMValidateAccess completed."), std::string::npos);
    EXPECT_NE(trace.find("OpenSession completed."), std::string::npos);
    EXPECT_EQ(trace.find(kPassword), std::string::npos);
}

TEST_F(ConnectTest, WrongPasswordIsAccessDenied) {
    EXPECT_EQ(Connect("127.0.0.1", "not-the-password", server_->Port()), QNSNWSM_FAILURE);
    EXPECT_STREQ(error_, "WMI/WinRM Error 0x80070005: Access is denied");
    EXPECT_EQ(ReadWholeFile(TraceFile()).find("not-the-password"), std::string::npos);
}

TEST_F(ConnectTest, UnresolvableHostIsReportedAsSuch) {
    EXPECT_EQ(Connect("qnsnwsm-no-such-host.invalid", kPassword, 5985), QNSNWSM_FAILURE);
    EXPECT_STREQ(
        error_,
        "WMI/WinRM Error 0x803381B9: The WinRM client cannot process the request because the server name "
        "cannot be resolved.");
}

// Basic over plain HTTP, which both sides must allow explicitly: the whole connect path with the real client.
class BasicConnectTest : public ConnectTest {
  protected:
    void AdjustOptions(qnsim::SimOptions& options) override {
        options.allowUnencrypted = true;
        options.basic = true;
        std::ofstream(scratch_.File("registry.conf"))
            << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\n"
            << "AuthScheme=Basic\nAllowUnencrypted=1\n";
    }
};

TEST_F(BasicConnectTest, ConnectsValidatesAndDisconnects) {
    ASSERT_EQ(Connect("127.0.0.1", kPassword, server_->Port()), QNSNWSM_OK) << error_;
    EXPECT_STREQ(error_, "");
    WSManDisconnectComputer(handle_);

    const auto lines = ReadTraceMessages(TraceFile());
    const std::string url =
        "WinRM URL:      [http://127.0.0.1:" + std::to_string(server_->Port()) + "/wsman]";
    EXPECT_NE(std::find(lines.begin(), lines.end(), url), lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "WinRMValidateAccess completed."), lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "OpenSession completed."), lines.end());
    EXPECT_EQ(lines.back(), "Session closed.");
    EXPECT_EQ(ReadWholeFile(TraceFile()).find(kPassword), std::string::npos);
}

TEST_F(BasicConnectTest, ClassTheComputerLacksFailsValidation) {
    std::ofstream(scratch_.File("registry.conf"))
        << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\n"
        << "AuthScheme=Basic\nAllowUnencrypted=1\nValidationClass=Win32_NoSuchClass\n";
    EXPECT_EQ(Connect("127.0.0.1", kPassword, server_->Port()), QNSNWSM_FAILURE);
    EXPECT_STREQ(
        error_,
        "WMI/WinRM Error 0x8033801A: The service cannot find the resource identified by the resource URI "
        "and selectors.");
}

}  // namespace
}  // namespace qn::e2e

#endif  // QN_HAVE_SIMULATOR
