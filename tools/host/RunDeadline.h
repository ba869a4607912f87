// Bounds a host program's whole run: when the time is up, whatever the module is waiting for, the program
// says so and exits. Module calls cannot be cancelled from outside, so ending the process is the only bound
// that always holds.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace qnhost {

class RunDeadline {
  public:
    // `onExpiry` runs on the watchdog thread when `limit` passes before the deadline is destroyed; it must
    // end the process (print, then std::_Exit). A zero limit sets no deadline.
    RunDeadline(std::chrono::milliseconds limit, std::function<void()> onExpiry);
    ~RunDeadline();
    RunDeadline(const RunDeadline&) = delete;
    RunDeadline& operator=(const RunDeadline&) = delete;

  private:
    std::mutex mutex_;
    std::condition_variable finished_;
    bool done_ = false;
    std::thread watchdog_;
};

}  // namespace qnhost
