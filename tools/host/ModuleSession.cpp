#include "ModuleSession.h"

#include <vector>

namespace qnhost {

ModuleSession::~ModuleSession() {
    Disconnect();
    if (handle_) WSManShutdown(handle_);
}

ConnectSettings SettingsFrom(const ConnectionOptions& options, const std::string& password) {
    ConnectSettings settings;
    settings.computer = options.computer;
    settings.user = options.user;
    settings.password = password;
    settings.wmiNamespace = options.wmiNamespace;
    settings.port = options.EffectivePort();
    settings.ssl = options.ssl;
    return settings;
}

bool ModuleSession::Initialize(const std::string& programName, const std::string& traceFile) {
    return WSManInitialize(programName.c_str(), traceFile.c_str(), &handle_) == 0 && handle_;
}

std::uint32_t ModuleSession::Connect(const ConnectSettings& settings, std::string& error) {
    Disconnect();
    std::vector<char> buffer(4096);
    const std::uint32_t code = WSManConnectToComputer(
        handle_, settings.computer.c_str(), settings.user.c_str(), settings.password.c_str(),
        settings.wmiNamespace.c_str(), settings.port, settings.ssl ? 1 : 0, 0, buffer.data(),
        static_cast<std::uint32_t>(buffer.size()));
    error = buffer.data();
    connected_ = code == 0;
    return code;
}

void ModuleSession::Disconnect() {
    if (connected_) WSManDisconnectComputer(handle_);
    connected_ = false;
}

}  // namespace qnhost
