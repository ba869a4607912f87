#include "Progress.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace qncli {

Progress::Progress(std::string label, bool enabled) : label_(std::move(label)) {
    if (!enabled || !isatty(STDERR_FILENO)) return;
    thread_ = std::thread([this] {
        static const char kFrames[] = {'|', '/', '-', '\\'};
        const auto start = std::chrono::steady_clock::now();
        for (unsigned frame = 0; !stop_.load(); ++frame) {
            const auto seconds =
                std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start)
                    .count();
            std::fprintf(stderr, "\r%c %s (%llds)", kFrames[frame % 4], label_.c_str(),
                         static_cast<long long>(seconds));
            std::fflush(stderr);
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
        }
        std::fprintf(stderr, "\r\033[K");
        std::fflush(stderr);
    });
}

Progress::~Progress() {
    stop_.store(true);
    if (thread_.joinable()) thread_.join();
}

}  // namespace qncli
