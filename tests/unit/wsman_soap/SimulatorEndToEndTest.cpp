// The POSIX automation objects against the in-process simulator, the way the module drives them.
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "platform/WsmanAutomation.h"
#include "server/SimServer.h"

namespace qn::platform {
namespace {

constexpr const char* kUsersLine = "WORKGROUP:tester:Secret-1";

std::string ServiceUri() {
    return std::string(kWmiResourceUriPrefix) + "root/cimv2/Win32_Service";
}

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
        server_ = qnsim::StartSimServer(options, error);
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
        ASSERT_FALSE(services.empty());
        const auto [root, name] = RootAndProperty(services.front(), "Name");
        EXPECT_EQ(root, "Win32_Service");
        ASSERT_FALSE(name.empty());

        Query("select * from Win32_NoSuchClass", result);
        EXPECT_EQ(static_cast<std::uint32_t>(result), 0x8033801Au);

        std::string response;
        ASSERT_EQ(
            session_->Invoke("StopService", ServiceUri() + "?Name=" + name,
                             "<p:StopService_INPUT xmlns:p=\"" + ServiceUri() + "\"></p:StopService_INPUT>",
                             0, response),
            kOk);
        const auto [outputRoot, returnValue] = RootAndProperty(response, "ReturnValue");
        EXPECT_EQ(outputRoot, "StopService_OUTPUT");
        EXPECT_FALSE(returnValue.empty());
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

TEST_F(SimulatorEndToEnd, NegotiateWithMessageEncryption) {
    if (!Start(false, false)) GTEST_SKIP() << "simulator not available: " << startError_;
    WriteClientSettings("");
    ASSERT_EQ(OpenSession("WORKGROUP\\tester"), kOk);
    RunQueriesAndInvoke();
}

}  // namespace
}  // namespace qn::platform
