// check_qnsnwsm: a Nagios/Icinga plugin that turns the readings of a Windows computer into states.
#include <iostream>

#include "Help.h"
#include "Plugin.h"

int main(int argc, char** argv) {
    const qncheck::ParseOutcome parsed = qncheck::ParseCommandLine(argc, argv);
    constexpr int kUnknown = static_cast<int>(qncheck::State::Unknown);
    switch (parsed.status) {
        case qncheck::ParseStatus::Help:
            std::cout << qncheck::HelpText(parsed.options.mode);
            return kUnknown;  // like every Monitoring Plugin: no check was made
        case qncheck::ParseStatus::Version:
            std::cout << "check_qnsnwsm " << QNSNWSM_VERSION << '\n';
            return kUnknown;
        case qncheck::ParseStatus::UsageError:
            std::cout << qncheck::UsageErrorLine(parsed.options.mode, parsed.error);
            return kUnknown;
        case qncheck::ParseStatus::Run:
            break;
    }
    return qncheck::RunPlugin(parsed.options, std::cout);
}
