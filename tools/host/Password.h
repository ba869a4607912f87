// Where the password comes from: a file, an environment variable or the terminal, never the command line.
#pragma once

#include <optional>
#include <string>

#include "ConnectionOptions.h"

namespace qnhost {

// What happens to a password read from an environment variable: forgotten at once, or kept until the caller
// forgets it (a program that reads several settings naming one variable).
enum class EnvironmentPassword { kForget, kKeep };

// Returns the password, or nullopt with `error` set. An empty user name needs no password.
std::optional<std::string> ResolvePassword(const ConnectionOptions& options, std::string& error,
                                           EnvironmentPassword afterReading = EnvironmentPassword::kForget);

// Removes a password variable from the environment and blanks its text in the process's initial environment
// block, which /proc/<pid>/environ shows even after unsetenv.
void ForgetEnvironmentPassword(const std::string& variable);

}  // namespace qnhost
