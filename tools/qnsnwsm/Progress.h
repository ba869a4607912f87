// A spinner on the terminal while a slow (sampling) check runs; silent when stderr is not a terminal.
#pragma once

#include <atomic>
#include <string>
#include <thread>

namespace qncli {

class Progress {
  public:
    Progress(std::string label, bool enabled);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

  private:
    std::string label_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace qncli
