#include "base/QncDiagnostics.h"

#include <cstdio>
#include <string>

#include "platform/Clock.h"
#include "platform/FileSystem.h"
#include "platform/ProcessInfo.h"

namespace {

// GetModuleFileNameA's buffer in these writers holds 255 bytes.
constexpr std::size_t kModuleNameMax = 254;

CQncString& AssertFilePath() {
    static CQncString path(kQncAssertFile);
    return path;
}

}  // namespace

CQncString GetExecutableName() {
    std::string path = qn::platform::ExecutableFilePath();
    if (path.size() > kModuleNameMax) path.resize(kModuleNameMax);
    // Windows paths use '\\'; POSIX ones '/'.
    const std::size_t separator = path.find_last_of("\\/");
    return CQncString(separator == std::string::npos ? path.c_str() : path.c_str() + separator + 1);
}

void SetAssertFilePath(const char* modulePath) {
    AssertFilePath().Assign(modulePath != nullptr ? modulePath : kQncAssertFile);
}

void Assert(const char* sourceFile, long line) {
    const CQncString module = GetExecutableName();
    const qn::platform::TimeOfDay now = qn::platform::LocalTimeOfDay();
    char text[1024];
    std::snprintf(text, sizeof(text),
                  "[%02d:%02d:%02d] QUILLON ASSERTION FAILURE, MODULE: [%s], FILE: [%s]; LINE: %ld", now.hour,
                  now.minute, now.second, module.GetText(), sourceFile != nullptr ? sourceFile : "(null)",
                  line);
    // The folder is never created: without it the line is dropped.
    if (qn::platform::UniqueFile file = qn::platform::OpenFile(AssertFilePath().GetText(), "at")) {
        qn::platform::WriteWhole(file.get(), std::string(text) + "\n");
    }
}

void WriteDebugLine(const CQncString& debugFile, const char* text) {
    if (debugFile.IsEmpty()) return;
    qn::platform::UniqueFile file = qn::platform::OpenForAppending(debugFile.GetText());
    if (!file) return;
    const qn::platform::TimeOfDay now = qn::platform::LocalTimeOfDay();
    const unsigned ticks = qn::platform::GetTickCount();
    const CQncString module = GetExecutableName();
    const int length = std::snprintf(nullptr, 0, "[%02d:%02d:%02d %u] [%s] [%s]\n", now.hour, now.minute,
                                     now.second, ticks, module.GetText(), text != nullptr ? text : "");
    if (length <= 0) return;
    std::string line(static_cast<std::size_t>(length) + 1, '\0');
    std::snprintf(line.data(), line.size(), "[%02d:%02d:%02d %u] [%s] [%s]\n", now.hour, now.minute,
                  now.second, ticks, module.GetText(), text != nullptr ? text : "");
    qn::platform::WriteWhole(file.get(), std::string_view(line.data(), static_cast<std::size_t>(length)));
}
