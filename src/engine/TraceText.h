// Small helpers for the engine's trace lines.
#pragma once

namespace qn::engine {

// printf("%s") of a null pointer is undefined; the trace shows it the way the Windows CRT does.
inline const char* TraceText(const char* text) {
    return text != nullptr ? text : "(null)";
}

inline const char* ResultWord(bool ok) {
    return ok ? "completed" : "failed";
}

}  // namespace qn::engine
