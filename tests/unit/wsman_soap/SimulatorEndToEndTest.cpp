// The POSIX automation objects against the in-process simulator, the way the module drives them.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "model/ComputerModel.h"
#include "platform/WsmanAutomation.h"
#include "server/SimServer.h"

namespace qn::platform {
namespace {

constexpr const char* kUsersLine = "WORKGROUP:tester:Secret-1";

std::string ServiceUri() {
    return std::string(kWmiResourceUriPrefix) + "root/cimv2/Win32_Service";
}

// More services than fit into one 512000-byte envelope, so the enumeration needs several Pulls.
constexpr int kServiceCount = 2500;

std::string ServiceName(int index) {
    char name[32];
    std::snprintf(name, sizeof name, "Service%04d", index);
    return name;
}

qnsim::WmiError NotFound() {
    return {qnsim::WmiError::Kind::NotFound, 0x80041002, "Not found "};
}

// A computer with only Win32_Service, rendered the way Windows renders instances.
class ServicesComputer final : public qnsim::ComputerModel {
  public:
    std::string HostName() const override { return "SIMHOST"; }
    bool HasNamespace(const std::string& wmiNamespace) const override { return wmiNamespace == "root/cimv2"; }

    qnsim::Result<std::vector<qnsim::RenderedItem>> ExecQuery(
        const std::string&, const std::string& wql, std::chrono::steady_clock::time_point) override {
        qnsim::Result<std::vector<qnsim::RenderedItem>> result;
        if (wql != "select * from Win32_Service") {
            result.error = {qnsim::WmiError::Kind::InvalidClass, 0x80041010, "Invalid class "};
            return result;
        }
        result.ok = true;
        for (int i = 0; i < kServiceCount; ++i) {
            result.value.push_back(
                {"<p:Win32_Service xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:p=\"" +
                 ServiceUri() +
                 "\" xmlns:cim=\"http://schemas.dmtf.org/wbem/wscim/1/common\" "
                 "xsi:type=\"p:Win32_Service_Type\">"
                 "<p:Description>A service with a description long enough to fill envelopes</p:Description>"
                 "<p:Name>" +
                 ServiceName(i) + "</p:Name><p:State>Running</p:State></p:Win32_Service>"});
        }
        return result;
    }

    qnsim::Result<qnsim::RenderedItem> Get(const std::string&, const std::string&, const qnsim::Selectors&,
                                           std::chrono::steady_clock::time_point) override {
        qnsim::Result<qnsim::RenderedItem> result;
        result.error = NotFound();
        return result;
    }

    qnsim::Result<qnsim::RenderedItem> Invoke(const std::string&, const std::string& className,
                                              const qnsim::Selectors& selectors, const std::string& method,
                                              const std::string&,
                                              std::chrono::steady_clock::time_point) override {
        qnsim::Result<qnsim::RenderedItem> result;
        const auto name = selectors.find("Name");
        if (className != "Win32_Service" || method != "StopService" || name == selectors.end()) {
            result.error = NotFound();
            return result;
        }
        result.ok = true;
        result.value.xml = "<p:StopService_OUTPUT xmlns:p=\"" + ServiceUri() + "\"><p:ReturnValue>" +
                           std::string(name->second == ServiceName(7) ? "0" : "5") +
                           "</p:ReturnValue></p:StopService_OUTPUT>";
        return result;
    }
};

// Local name of the item's root element and the text of its first child named `property`.
std::pair<std::string, std::string> RootAndProperty(const std::string& item, const char* property) {
    std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> doc(
        xmlReadMemory(item.data(), static_cast<int>(item.size()), nullptr, nullptr, XML_PARSE_NONET),
        &xmlFreeDoc);
    const xmlNode* root = doc ? xmlDocGetRootElement(doc.get()) : nullptr;
    if (root == nullptr) return {};
    std::string value;
    for (const xmlNode* child = root->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE && xmlStrcmp(child->name, BAD_CAST property) == 0) {
            xmlChar* text = xmlNodeGetContent(child);
            value = reinterpret_cast<const char*>(text);
            xmlFree(text);
            break;
        }
    }
    return {reinterpret_cast<const char*>(root->name), value};
}

class SimulatorEndToEnd : public ::testing::Test {
  protected:
    void SetUp() override {
        folder_ = std::filesystem::temp_directory_path() / ("qn-soap-e2e-" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder_);
        std::ofstream(folder_ / "users") << kUsersLine << "\n";
    }
    void TearDown() override {
        ::unsetenv("QNSNWSM_REGISTRY");
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    // Client settings go through the machine-wide store, as in production.
    void WriteClientSettings(const std::string& values) {
        const auto path = folder_ / "registry.conf";
        std::ofstream(path) << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\n" << values;
        ::setenv("QNSNWSM_REGISTRY", path.c_str(), 1);
    }

    bool Start(bool allowUnencrypted, bool basic) {
        qnsim::SimOptions options;
        options.usersFile = (folder_ / "users").string();
        options.allowUnencrypted = allowUnencrypted;
        options.basic = basic;
        std::string error;
        server_ = qnsim::StartSimServer(options, std::make_unique<ServicesComputer>(), error);
        startError_ = error;
        return server_ != nullptr;
    }

    HResult OpenSession(const std::string& userName) {
        HResult result = CreatePlatformWsman(wsman_);
        if (Failed(result)) return result;
        std::unique_ptr<WsmanConnectionOptions> options;
        if (Failed(result = wsman_->CreateConnectionOptions(options))) return result;
        if (!userName.empty()) {
            options->SetUserName(userName);
            options->SetPassword("Secret-1");
        }
        const std::string url = "http://127.0.0.1:" + std::to_string(server_->Port()) + "/wsman";
        return wsman_->CreateSession(url, kWsmanFlagCredUsernamePassword, options.get(), session_);
    }

    std::vector<std::string> Query(const std::string& wql, HResult& result) {
        std::vector<std::string> items;
        std::unique_ptr<WsmanEnumerator> enumerator;
        result = session_->Enumerate(std::string(kWmiResourceUriPrefix) + "root/cimv2/*", wql, kWqlDialectUri,
                                     0, enumerator);
        if (Failed(result)) return items;
        bool atEnd = false;
        while (Succeeded(result = enumerator->AtEndOfStream(atEnd)) && !atEnd) {
            std::string item;
            if (Failed(result = enumerator->ReadItem(item))) break;
            items.push_back(item);
        }
        return items;
    }

    void RunQueriesAndInvoke() {
        HResult result = 0;
        const auto services = Query("select * from Win32_Service", result);
        ASSERT_EQ(result, kOk);
        ASSERT_EQ(services.size(), static_cast<std::size_t>(kServiceCount));
        for (const int index : {0, 1, kServiceCount / 2, kServiceCount - 1}) {
            const auto [root, name] = RootAndProperty(services[index], "Name");
            EXPECT_EQ(root, "Win32_Service");
            EXPECT_EQ(name, ServiceName(index));
        }

        Query("select * from Win32_NoSuchClass", result);
        EXPECT_EQ(static_cast<std::uint32_t>(result), 0x8033801Au);

        // An enumeration abandoned half-way is released, and the session goes on working.
        std::unique_ptr<WsmanEnumerator> abandoned;
        ASSERT_EQ(session_->Enumerate(std::string(kWmiResourceUriPrefix) + "root/cimv2/*",
                                      "select * from Win32_Service", kWqlDialectUri, 0, abandoned),
                  kOk);
        std::string first;
        ASSERT_EQ(abandoned->ReadItem(first), kOk);
        abandoned.reset();

        std::string response;
        ASSERT_EQ(
            session_->Invoke("StopService", ServiceUri() + "?Name=" + ServiceName(7),
                             "<p:StopService_INPUT xmlns:p=\"" + ServiceUri() + "\"></p:StopService_INPUT>",
                             0, response),
            kOk);
        const auto [outputRoot, returnValue] = RootAndProperty(response, "ReturnValue");
        EXPECT_EQ(outputRoot, "StopService_OUTPUT");
        EXPECT_EQ(returnValue, "0");
    }

    std::filesystem::path folder_;
    std::unique_ptr<qnsim::SimServer> server_;
    std::string startError_;
    std::unique_ptr<Wsman> wsman_;
    std::unique_ptr<WsmanSession> session_;
};

TEST_F(SimulatorEndToEnd, BasicOverPlainHttpWhenBothSidesAllowIt) {
    if (!Start(true, true)) GTEST_SKIP() << "simulator not available: " << startError_;
    WriteClientSettings("AuthScheme=Basic\nAllowUnencrypted=1\n");
    ASSERT_EQ(OpenSession("tester"), kOk);
    RunQueriesAndInvoke();
}

}  // namespace
}  // namespace qn::platform
