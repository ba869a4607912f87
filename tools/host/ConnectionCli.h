// The connection options every host program with a command line offers, registered once on a CLI11 parser.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "ConnectionOptions.h"

namespace qnhost {

// Registers the computer (under `computerFlags`, e.g. "-H,--hostname"), account, password source, namespace,
// port, SSL, trace and configuration options, writing into `options`. "--password" is refused with a text
// that says why and what to use instead.
void AddConnectionOptions(CLI::App& app, ConnectionOptions& options, const std::string& computerFlags);

}  // namespace qnhost
