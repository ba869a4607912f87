#include "State.h"

#include <algorithm>
#include <cctype>

namespace qncheck {

const char* StateName(State state) {
    switch (state) {
        case State::Ok:
            return "OK";
        case State::Warning:
            return "WARNING";
        case State::Critical:
            return "CRITICAL";
        case State::Unknown:
            break;
    }
    return "UNKNOWN";
}

std::optional<State> ParseState(const std::string& text) {
    std::string upper = text;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    for (State state : {State::Ok, State::Warning, State::Critical, State::Unknown})
        if (upper == StateName(state) || upper == std::to_string(static_cast<int>(state))) return state;
    return std::nullopt;
}

State Worse(State a, State b) {
    // A definite problem outranks not knowing; not knowing outranks OK.
    auto rank = [](State s) {
        switch (s) {
            case State::Ok:
                return 0;
            case State::Unknown:
                return 1;
            case State::Warning:
                return 2;
            case State::Critical:
                return 3;
        }
        return 1;
    };
    return rank(a) >= rank(b) ? a : b;
}

}  // namespace qncheck
