#include "ReliabilitySupport.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace qn::reliability {
namespace {

using Properties = std::vector<std::pair<std::string, std::string>>;

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string Rendered(const std::string& className, const Properties& properties) {
    std::string xml = "<p:" + className +
                      " xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/" + className +
                      "\" xmlns:cim=\"http://schemas.dmtf.org/wbem/wscim/1/common\" "
                      "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:type=\"p:" +
                      className + "_Type\">";
    for (const auto& [name, value] : properties) xml += "<p:" + name + ">" + value + "</p:" + name + ">";
    return xml + "</p:" + className + ">";
}

std::string TwoDigits(int i) {
    std::string digits = std::to_string(i);
    if (i < 10) digits.insert(digits.begin(), '0');
    return digits;
}

qnsim::Result<std::vector<qnsim::RenderedItem>> QueryError(qnsim::WmiError::Kind kind, std::uint32_t code,
                                                           const char* message) {
    qnsim::Result<std::vector<qnsim::RenderedItem>> result;
    result.error = {kind, code, message};
    return result;
}

// The values between single quotes of an ASSOCIATORS OF path must pair up.
bool QuotesBalance(const std::string& wql) {
    return std::count(wql.begin(), wql.end(), '\'') % 2 == 0;
}

}  // namespace

std::string ExpectedServiceList() {
    std::string list;
    for (int i = 0; i < kServiceCount; ++i) {
        if (i > 0) list += "||";
        list += "svc" + TwoDigits(i) + ";;Service " + TwoDigits(i);
    }
    return list;
}

bool SmallComputer::HasNamespace(const std::string& wmiNamespace) const {
    return Lower(wmiNamespace) == "root/cimv2";
}

qnsim::Result<std::vector<qnsim::RenderedItem>> SmallComputer::ExecQuery(
    const std::string& wmiNamespace, const std::string& wql, std::chrono::steady_clock::time_point) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        lastQuery_ = wql;
    }
    using Kind = qnsim::WmiError::Kind;
    if (!HasNamespace(wmiNamespace))
        return QueryError(Kind::InvalidNamespace, 0x8004100E, "Invalid namespace ");
    const std::string lower = Lower(wql);
    if (lower.rfind("associators of {", 0) == 0) {
        if (!QuotesBalance(wql)) return QueryError(Kind::InvalidQuery, 0x80041017, "Invalid query ");
        qnsim::Result<std::vector<qnsim::RenderedItem>> none;
        none.ok = true;
        return none;
    }
    const std::size_t from = lower.find(" from ");
    if (lower.rfind("select ", 0) != 0 || from == std::string::npos)
        return QueryError(Kind::InvalidQuery, 0x80041017, "Invalid query ");
    std::string className = lower.substr(from + 6);
    className = className.substr(0, className.find(' '));

    qnsim::Result<std::vector<qnsim::RenderedItem>> result;
    result.ok = true;
    if (className == "win32_computersystem") {
        result.value.push_back(
            {Rendered("Win32_ComputerSystem", {{"Domain", "CORP"}, {"DomainRole", "1"}, {"Name", "PC1"}})});
    } else if (className == "win32_service") {
        for (int i = 0; i < kServiceCount; ++i)
            result.value.push_back({Rendered("Win32_Service", {{"DisplayName", "Service " + TwoDigits(i)},
                                                               {"Name", "svc" + TwoDigits(i)},
                                                               {"StartMode", "Auto"},
                                                               {"State", "Running"}})});
    } else if (className == "win32_perfformatteddata_perfos_memory") {
        result.value.push_back({Rendered(
            "Win32_PerfFormattedData_PerfOS_Memory",
            {{"AvailableBytes", "4294967296"}, {"CommittedBytes", "1073741824"}, {"PagesPerSec", "12"}})});
    } else if (className == "win32_process") {
        for (int i = 0; i < 5; ++i)
            result.value.push_back({Rendered("Win32_Process", {{"Name", "proc" + std::to_string(i) + ".exe"},
                                                               {"ProcessId", std::to_string(100 + i)}})});
    } else {
        return QueryError(Kind::InvalidClass, 0x80041010, "Invalid class ");
    }
    return result;
}

qnsim::Result<qnsim::RenderedItem> SmallComputer::Get(const std::string&, const std::string&,
                                                      const qnsim::Selectors&,
                                                      std::chrono::steady_clock::time_point) {
    qnsim::Result<qnsim::RenderedItem> result;
    result.error = {qnsim::WmiError::Kind::NotFound, 0x80041002, "Not found "};
    return result;
}

qnsim::Result<qnsim::RenderedItem> SmallComputer::Invoke(const std::string&, const std::string&,
                                                         const qnsim::Selectors&, const std::string&,
                                                         const std::string&,
                                                         std::chrono::steady_clock::time_point) {
    qnsim::Result<qnsim::RenderedItem> result;
    result.error = {qnsim::WmiError::Kind::InvalidMethod, 0x8004102E, "Invalid method "};
    return result;
}

std::string SmallComputer::LastQuery() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lastQuery_;
}

Bench::Bench(Transport transport, const std::string& extraClientSettings) : transport_(transport) {
    std::ofstream(scratch_.File("users")) << "PC1:monitor:" << kPassword << "\n";
    std::ofstream settings(scratch_.File("registry.conf"));
    settings << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=" << QN_SHARE_DIR << "/\n"
             << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\n"
             << "ConnectTimeoutMs=2000\nOperationTimeoutMs=1000\n";
    if (transport == Transport::BasicOverHttp) {
        settings << "AuthScheme=Basic\nAllowUnencrypted=1\n";
    } else {
        settings << "AuthScheme=NTLM\n";
    }
    settings << extraClientSettings;
    settings.close();
    if (WSManInitialize("reliability", scratch_.File("module.log").c_str(), &handle_) != QNSNWSM_OK)
        throw std::runtime_error("WSManInitialize failed");
}

Bench::~Bench() {
    WSManShutdown(handle_);
    StopSim();
}

bool Bench::StartSim(const SimSetup& setup, std::string& error) {
    StopSim();
    qnsim::SimOptions options;
    options.usersFile = scratch_.File("users").string();
    options.basic = transport_ == Transport::BasicOverHttp;
    options.allowUnencrypted = transport_ == Transport::BasicOverHttp;
    options.port = setup.port;
    options.enumerationTimeoutMs = setup.enumerationTimeoutMs;
    options.https = setup.https;
    options.certFile = setup.certFile;
    options.keyFile = setup.keyFile;
    if (!setup.faultRules.empty()) {
        std::ofstream(scratch_.File("faults")) << setup.faultRules << "\n";
        options.faultsFile = scratch_.File("faults").string();
    }
    https_ = setup.https;
    auto computer = std::make_unique<SmallComputer>();
    computer_ = computer.get();
    server_ = qnsim::StartSimServer(options, std::move(computer), error);
    if (!server_) computer_ = nullptr;
    return server_ != nullptr;
}

void Bench::StopSim() {
    if (server_) server_->Stop();
    server_.reset();
    computer_ = nullptr;
}

std::uint32_t Bench::Connect(const char* computer, std::uint16_t port, bool https) {
    return WSManConnectToComputer(handle_, computer, kUser, kPassword, "root\\cimv2", port, https ? 1 : 0, 0,
                                  error_, sizeof error_);
}

std::uint32_t Bench::ServiceList(std::string& list) {
    std::vector<char> buffer(64 * 1024);
    const std::uint32_t result = WSManGetServiceList(
        handle_, buffer.data(), static_cast<std::uint32_t>(buffer.size()), error_, sizeof error_);
    list = buffer.data();
    return result;
}

std::uint32_t Bench::Memory(std::uint32_t& availableMB) {
    std::uint32_t committed = 0;
    std::uint32_t pages = 0;
    return WSManGetMemory(handle_, &availableMB, &committed, &pages, error_, sizeof error_);
}

std::string WinrmErrorText(std::uint32_t code) {
    static const std::pair<std::uint32_t, const char*> kSuffixes[] = {
        {0x80070005, ": Access is denied"},
        {0x80338000, ": No items can be found at the selected URI."},
        {0x80338012, ": The WS-Management service does not support the action specified in the request."},
        {0x8033801A, ": The service cannot find the resource identified by the resource URI and selectors."},
        {0x8033803B, ": The resource URI is missing or it has an incorrect format."},
        {0x803380B2, ": Credentials are missing"},
        {0x80338113, ": The HTTP server does not support the WS-Management protocol selected (HTTP/HTTPS)."},
        {0x803381B9,
         ": The WinRM client cannot process the request because the server name cannot be resolved."},
    };
    char text[64];
    std::snprintf(text, sizeof text, "WMI/WinRM Error 0x%08X", code);
    std::string result = text;
    for (const auto& [known, suffix] : kSuffixes)
        if (known == code) result += suffix;
    return result;
}

namespace {

int BoundLoopbackSocket(std::uint16_t& port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) throw std::runtime_error("socket failed");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        close(fd);
        throw std::runtime_error("bind failed");
    }
    port = ntohs(address.sin_port);
    return fd;
}

}  // namespace

std::uint16_t ClosedPort() {
    std::uint16_t port = 0;
    close(BoundLoopbackSocket(port));
    return port;
}

SilentListener::SilentListener() {
    socket_ = BoundLoopbackSocket(port_);
    if (listen(socket_, 16) != 0) {
        close(socket_);
        throw std::runtime_error("listen failed");
    }
}

SilentListener::~SilentListener() {
    close(socket_);
}

std::chrono::milliseconds Timed(const std::function<void()>& call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

std::size_t OpenFileDescriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
    return count;
}

std::size_t ResidentKilobytes() {
    std::ifstream statm("/proc/self/statm");
    std::size_t pages = 0;
    std::size_t resident = 0;
    statm >> pages >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

}  // namespace qn::reliability
