// One module handle connected to one computer, through the library's exported functions only.
#pragma once

#include <cstdint>
#include <string>

#include "qnsnwsm.h"

namespace qncli {

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

class ModuleSession {
  public:
    ModuleSession() = default;
    ~ModuleSession();
    ModuleSession(const ModuleSession&) = delete;
    ModuleSession& operator=(const ModuleSession&) = delete;

    // WSManInitialize; false when the module could not be initialised.
    bool Initialize(const std::string& traceFile);
    // WSManConnectToComputer; returns its result and fills `error`.
    std::uint32_t Connect(const ConnectSettings& settings, std::string& error);
    void Disconnect();

    ModuleHandle Handle() const { return handle_; }

  private:
    ModuleHandle handle_{};
    bool connected_ = false;
};

}  // namespace qncli
