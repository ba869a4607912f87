// One line per HTTP request to a log file: connection, authentication, action, resource, filter, status.
#pragma once

#include <cstdint>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>

namespace qnsim {

struct RequestLogEntry {
    std::uint64_t connection = 0;
    std::string scheme;  // "Negotiate/NTLM", "Negotiate/Kerberos", "Basic" or "-"
    std::string action;
    std::string resourceUri;
    std::string filter;
    unsigned status = 0;
};

class RequestLog {
  public:
    static std::unique_ptr<RequestLog> Open(const std::string& path, std::string& error);
    void Write(const RequestLogEntry& entry);

  private:
    std::mutex mutex_;
    std::ofstream out_;
};

}  // namespace qnsim
