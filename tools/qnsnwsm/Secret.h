// Where the password comes from: a file, an environment variable or the terminal, never the command line.
#pragma once

#include <optional>
#include <string>

#include "CliOptions.h"

namespace qncli {

// Returns the password, or nullopt with `error` set. An empty user name needs no password.
std::optional<std::string> ResolvePassword(const CliOptions& options, std::string& error);

}  // namespace qncli
