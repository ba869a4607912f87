// One module handle connected to one computer, through the library's exported functions only.
#pragma once

#include <cstdint>
#include <string>

#include "ConnectionOptions.h"
#include "qnsnwsm.h"

namespace qnhost {

namespace detail {
template <typename R, typename A>
A FirstParameter(R (*)(A));
}
// Whatever handle type the public header declares.
using ModuleHandle = decltype(detail::FirstParameter(&WSManShutdown));

struct ConnectSettings {
    std::string computer;
    std::string user;
    std::string password;
    std::string wmiNamespace;
    std::uint16_t port = 5985;
    bool ssl = false;
};

// The settings `options` give, with the password already resolved.
ConnectSettings SettingsFrom(const ConnectionOptions& options, const std::string& password);

class ModuleSession {
  public:
    ModuleSession() = default;
    ~ModuleSession();
    ModuleSession(const ModuleSession&) = delete;
    ModuleSession& operator=(const ModuleSession&) = delete;

    // WSManInitialize under the host program's name; false when the module could not be initialised.
    bool Initialize(const std::string& programName, const std::string& traceFile);
    // WSManConnectToComputer; returns its result and fills `error`.
    std::uint32_t Connect(const ConnectSettings& settings, std::string& error);
    void Disconnect();

    ModuleHandle Handle() const { return handle_; }

  private:
    ModuleHandle handle_{};
    bool connected_ = false;
};

}  // namespace qnhost
