// A throwaway Kerberos realm on loopback for tests: its own database, a user and an HTTP service
// key, and a KDC process that lives as long as the object. Everything goes through KRB5_CONFIG and
// KRB5_KDC_PROFILE; no system file is touched.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "TestFiles.h"

namespace qntest {

class LoopbackKdc {
  public:
    static constexpr const char* kRealm = "TEST.LOCAL";
    static constexpr const char* kUser = "alice@TEST.LOCAL";
    static constexpr const char* kShortLivedUser = "bob@TEST.LOCAL";  // tickets last 2 seconds

    // Starts the KDC; `Ready()` tells whether it came up (false when the KDC tools are missing).
    LoopbackKdc(const ScratchFolder& folder, const std::string& password);
    ~LoopbackKdc();
    LoopbackKdc(const LoopbackKdc&) = delete;
    LoopbackKdc& operator=(const LoopbackKdc&) = delete;

    bool Ready() const { return ready_; }
    const std::string& Keytab() const { return keytab_; }
    const std::string& Problem() const { return problem_; }

  private:
    bool Run(const std::string& command);

    std::string keytab_;
    std::string problem_;
    std::optional<ScopedEnv> configEnv_;
    std::optional<ScopedEnv> profileEnv_;
    pid_t kdc_ = -1;
    bool ready_ = false;
};

}  // namespace qntest
