#include "server/RequestLog.h"

#include <chrono>
#include <ctime>

namespace qnsim {
namespace {

// Values are quoted so that blanks in a WQL filter keep the line splittable.
std::string Quoted(const std::string& text) {
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += (c == '\n' || c == '\r') ? ' ' : c;
    }
    return out + "\"";
}

}  // namespace

std::unique_ptr<RequestLog> RequestLog::Open(const std::string& path, std::string& error) {
    auto log = std::make_unique<RequestLog>();
    log->out_.open(path, std::ios::app);
    if (!log->out_) {
        error = path + ": cannot be opened for writing";
        return nullptr;
    }
    return log;
}

void RequestLog::Write(const RequestLogEntry& entry) {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm utc{};
    gmtime_r(&now, &utc);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ", &utc);
    std::lock_guard lock(mutex_);
    out_ << stamp << " conn=" << entry.connection << " auth=" << (entry.scheme.empty() ? "-" : entry.scheme)
         << " action=" << Quoted(entry.action) << " resource=" << Quoted(entry.resourceUri)
         << " filter=" << Quoted(entry.filter) << " status=" << entry.status << '\n';
    out_.flush();
}

}  // namespace qnsim
