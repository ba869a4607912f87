#include "ModuleBench.h"

#include <cstdio>
#include <stdexcept>
#include <utility>
#include <vector>

namespace qntest {
namespace {

constexpr int kServiceCount = 40;

std::string TwoDigits(int i) {
    return (i < 10 ? "0" : "") + std::to_string(i);
}

// root/cimv2 with the validation class, kServiceCount services, memory counters and five processes, and an
// empty root/WebAdministration.
std::unique_ptr<CannedComputer> SmallComputer() {
    auto computer =
        std::make_unique<CannedComputer>(std::vector<std::string>{"root/cimv2", "root/WebAdministration"});
    computer->Add("Win32_ComputerSystem", {{"Domain", "CORP"}, {"DomainRole", "1"}, {"Name", "PC1"}});
    for (int i = 0; i < kServiceCount; ++i) {
        computer->Add("Win32_Service", {{"DisplayName", "Service " + TwoDigits(i)},
                                        {"Name", "svc" + TwoDigits(i)},
                                        {"StartMode", "Auto"},
                                        {"State", "Running"}});
    }
    computer->Add(
        "Win32_PerfFormattedData_PerfOS_Memory",
        {{"AvailableBytes", "4294967296"}, {"CommittedBytes", "1073741824"}, {"PagesPerSec", "12"}});
    for (int i = 0; i < 5; ++i) {
        computer->Add("Win32_Process", {{"Name", "proc" + std::to_string(i) + ".exe"},
                                        {"ProcessId", std::to_string(100 + i)}});
    }
    return computer;
}

}  // namespace

std::string ExpectedServiceList() {
    std::string list;
    for (int i = 0; i < kServiceCount; ++i) {
        list += (i > 0 ? "||svc" : "svc") + TwoDigits(i) + ";;Service " + TwoDigits(i);
    }
    return list;
}

std::string WinrmErrorText(std::uint32_t code) {
    static const std::pair<std::uint32_t, const char*> kSuffixes[] = {
        {0x80070005, ": Access is denied"},
        {0x80070523, ": The name provided is not a properly formed account name."},
        {0x80338000, ": No items can be found at the selected URI."},
        {0x80338012, ": The WS-Management service does not support the action specified in the request."},
        {0x8033801A, ": The service cannot find the resource identified by the resource URI and selectors."},
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

Bench::Bench(Transport transport, const std::string& clientSettings) : transport_(transport) {
    scratch_.Write("users", "PC1:monitor:" + std::string(kPassword) + "\n");
    const char* scheme = transport == Transport::BasicOverHttp ? "AuthScheme=Basic\nAllowUnencrypted=1\n"
                         : transport == Transport::SealedNtlm  ? "AuthScheme=NTLM\n"
                                                               : "";
    scratch_.WriteStore(StoreText(scheme + clientSettings));
    if (WSManInitialize("qntest", TraceFile().c_str(), &handle_) != QNSNWSM_OK)
        throw std::runtime_error("WSManInitialize failed");
}

Bench::~Bench() {
    WSManShutdown(handle_);
    StopSim();
}

bool Bench::StartSim(const SimSetup& setup) {
    StopSim();
    qnsim::SimOptions options;
    options.usersFile = scratch_.File("users");
    options.basic = options.allowUnencrypted = transport_ == Transport::BasicOverHttp;
    options.port = setup.port;
    options.enumerationTimeoutMs = setup.enumerationTimeoutMs;
    if (setup.maxItemsInEnumerateResponse > 0)
        options.maxItemsInEnumerateResponse = setup.maxItemsInEnumerateResponse;
    options.https = https_ = setup.https;
    options.certFile = setup.certFile;
    options.keyFile = setup.keyFile;
    if (!setup.faultRules.empty()) options.faultsFile = scratch_.Write("faults", setup.faultRules + "\n");
    if (!setup.profile.empty()) {
        options.profile = setup.profile;
        server_ = qnsim::StartSimServer(options, simError_);
    } else {
        auto computer = SmallComputer();
        CannedComputer* canned = computer.get();
        server_ = qnsim::StartSimServer(options, std::move(computer), simError_);
        if (server_) computer_ = canned;
    }
    return server_ != nullptr;
}

void Bench::StopSim() {
    if (server_) server_->Stop();
    server_.reset();
    computer_ = nullptr;
}

std::uint32_t Bench::Connect(const char* computer, std::uint16_t port, bool https, const char* wmiNamespace) {
    return WSManConnectToComputer(handle_, computer, kUser, kPassword, wmiNamespace, port, https ? 1 : 0, 0,
                                  error_, sizeof error_);
}

std::uint32_t Bench::ServiceList(std::string& list) {
    std::vector<char> buffer(64 * 1024);
    const std::uint32_t result = WSManGetServiceList(
        handle_, buffer.data(), static_cast<std::uint32_t>(buffer.size()), error_, sizeof error_);
    list = buffer.data();
    return result;
}

bool Bench::ReadsTheComputer() {
    std::string list;
    return ServiceList(list) == QNSNWSM_OK && list == ExpectedServiceList();
}

std::uint32_t Bench::Memory(std::uint32_t& availableMB) {
    std::uint32_t committed = 0, pages = 0;
    return WSManGetMemory(handle_, &availableMB, &committed, &pages, error_, sizeof error_);
}

}  // namespace qntest
