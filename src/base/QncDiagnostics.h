// Stand-alone diagnostic writers: the assertion file and the debug-line file.
#pragma once

#include "base/QncString.h"

inline constexpr const char* kQncAssertFile = "c:\\qndebug\\assert.txt";

// Appends one "QUILLON ASSERTION FAILURE" line to the assertion file; silent when its folder is missing.
void Assert(const char* sourceFile, long line);
// Appends one time-stamped line with the tick count and the executable's name to `debugFile`; an empty
// path writes nothing.
void WriteDebugLine(const CQncString& debugFile, const char* text);
// The executable's file name: the part of its path after the last separator.
CQncString GetExecutableName();
// Sends assertion lines to another file (tests, hosts that keep diagnostics elsewhere); null restores the
// fixed path.
void SetAssertFilePath(const char* modulePath);
