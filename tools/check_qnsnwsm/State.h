// The four plugin states and their exit codes.
#pragma once

#include <optional>
#include <string>

namespace qncheck {

enum class State { Ok = 0, Warning = 1, Critical = 2, Unknown = 3 };

const char* StateName(State state);

// "OK", "warning", "2", ... in any letter case; nullopt for anything else.
std::optional<State> ParseState(const std::string& text);

// The more serious of two states: CRITICAL, then WARNING, then UNKNOWN, then OK.
State Worse(State a, State b);

}  // namespace qncheck
