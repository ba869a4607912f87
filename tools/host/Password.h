// Where the password comes from: a file, an environment variable or the terminal, never the command line.
#pragma once

#include <optional>
#include <string>

#include "ConnectionOptions.h"

namespace qnhost {

// Returns the password, or nullopt with `error` set. An empty user name needs no password. A password taken
// from the environment is removed from it (and blanked in the process's initial environment block).
std::optional<std::string> ResolvePassword(const ConnectionOptions& options, std::string& error);

}  // namespace qnhost
