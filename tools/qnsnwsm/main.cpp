// qnsnwsm: the command-line front end of the Windows-monitoring module.
#include <iostream>
#include <string>
#include <vector>

#include "CliOptions.h"
#include "Runner.h"

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    std::string error;
    const std::optional<qncli::CliOptions> options = qncli::ParseCommandLine(args, error);
    if (!options) {
        std::cerr << "qnsnwsm: " << error << '\n';
        return qncli::kExitUsage;
    }
    return qncli::RunCommandLine(*options, std::cout, std::cerr);
}
