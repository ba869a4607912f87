// The simulator with the tests' fake computer, as a process: lets independent clients (pywinrm) test the
// wire without depending on the profiles. Arguments: [--users F] [--allow-unencrypted] [--faults F] [--log
// F].
#include <csignal>
#include <iostream>
#include <string_view>

#include "FakeComputer.h"
#include "server/SimServer.h"

int main(int argc, char** argv) {
    qnsim::SimOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--users" && hasValue)
            options.usersFile = argv[++i];
        else if (arg == "--faults" && hasValue)
            options.faultsFile = argv[++i];
        else if (arg == "--log" && hasValue)
            options.logFile = argv[++i];
        else if (arg == "--allow-unencrypted")
            options.allowUnencrypted = true;
        else if (arg == "--basic")
            options.basic = true;
        else {
            std::cerr << "unknown argument " << arg << "\n";
            return 2;
        }
    }
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    std::string error;
    auto server = qnsim::StartSimServer(options, qnsim::test::FakeComputer(), error);
    if (!server) {
        std::cerr << error << "\n";
        return 1;
    }
    std::cout << "listening on 127.0.0.1:" << server->Port() << std::endl;
    int received = 0;
    sigwait(&stopSignals, &received);
    return 0;
}
