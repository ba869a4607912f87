#include "base/QncBaseObject.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "base/QncDiagnostics.h"
#include "base/QncRegistry.h"
#include "platform/Clock.h"
#include "platform/FileSystem.h"
#include "platform/ProfileFile.h"

namespace {

using qn::platform::CriticalSectionGuard;

constexpr const char* kTraceSizedSource = "..\\..\\common\\VisualC\\Source\\QncBase";
constexpr long kTraceSizedSourceLine = 582;
constexpr int kTraceSizedMinimum = 9;
// "[hh:mm:ss]  ": the message is printed over the second blank.
constexpr std::size_t kMessageOffset = 11;

// Prints the time stamp at the start of `buffer` and returns where the message goes.
char* StartTraceLine(char* buffer, std::size_t size) {
    const qn::platform::TimeOfDay now = qn::platform::LocalTimeOfDay();
    std::snprintf(buffer, size, "[%02d:%02d:%02d]  ", now.hour % 100, now.minute % 100, now.second % 100);
    return buffer + kMessageOffset;
}

// Makes a multi-line message one line: trailing breaks go, inner ones become visible markers.
void EscapeLineBreaks(CQncString& line) {
    std::string text = line.GetText();
    while (!text.empty() && (text.back() == '\r' || text.back() == '\n')) text.pop_back();
    line.Assign(text.c_str());
    line.ReplaceAll("\r\n", " <CRLF> ");
    line.ReplaceAll("\r", " <CR> ");
    line.ReplaceAll("\n", " <LF> ");
}

}  // namespace

CQncBase::CQncBase(const char* objectName) : eventLogEntries_(1, '\0') {
    if (objectName != nullptr) objectName_.Assign(objectName);
}

CQncBase::~CQncBase() = default;

int CQncBase::IsEqual(const CQncBase&, int) const {
    return 0;
}
int CQncBase::IsGreater(const CQncBase&, int) const {
    return 0;
}
int CQncBase::IsLess(const CQncBase&, int) const {
    return 0;
}
std::unique_ptr<CQncBase> CQncBase::Clone() const {
    return std::make_unique<CQncBase>();
}

void CQncBase::SetTraceFile(const char* path) {
    CriticalSectionGuard guard(traceLock_);
    traceFile_.Assign(path);
}

void CQncBase::SetEventLogFile(const char* path) {
    CriticalSectionGuard guard(traceLock_);
    eventLogFile_.Assign(path);
}

CQncString CQncBase::GetTraceFile() {
    CriticalSectionGuard guard(traceLock_);
    return traceFile_;
}

CQncString CQncBase::GetEventLogFile() {
    CriticalSectionGuard guard(traceLock_);
    return eventLogFile_;
}

void CQncBase::Trace(int level, const char* format, ...) {
    CriticalSectionGuard guard(traceLock_);
    if (traceFile_.IsEmpty() && eventLogFile_.IsEmpty()) return;
    if (level == 0 || format == nullptr || *format == '\0') return;
    if (!formatBuffer_) {
        formatBuffer_.reset(new (std::nothrow) char[kTraceBufferSize]);
        if (!formatBuffer_) return;
    }
    char* message = StartTraceLine(formatBuffer_.get(), kTraceBufferSize);
    std::va_list args;
    va_start(args, format);
    // Bounded: a longer message is cut at kTraceBufferSize - 1 characters of line.
    std::vsnprintf(message, kTraceBufferSize - kMessageOffset, format, args);
    va_end(args);

    CQncString line(formatBuffer_.get());
    if ((level & kTraceBanner) != 0) {
        line.ReplaceAll("\r\n", "\n");
    } else {
        EscapeLineBreaks(line);
    }
    WriteTraceLine(level, line.GetText());
}

void CQncBase::TraceSized(int level, int maxLength, const char* format, ...) {
    CriticalSectionGuard guard(traceLock_);
    if (maxLength < kTraceSizedMinimum) Assert(kTraceSizedSource, kTraceSizedSourceLine);
    if (traceFile_.IsEmpty() && eventLogFile_.IsEmpty()) return;
    if (level == 0 || format == nullptr || *format == '\0') return;
    const std::size_t size = static_cast<std::size_t>(maxLength > 0 ? maxLength : 0) + 2047;
    std::unique_ptr<char[]> buffer(new (std::nothrow) char[size]);
    if (!buffer) return;
    char* message = StartTraceLine(buffer.get(), size);
    std::va_list args;
    va_start(args, format);
    std::vsnprintf(message, size - kMessageOffset, format, args);
    va_end(args);

    CQncString line(buffer.get());
    if ((level & kTraceBanner) == 0) EscapeLineBreaks(line);
    WriteTraceLine(level, line.GetText());
}

void CQncBase::WriteTraceLine(int level, const char* line) {
    if (!traceFile_.IsEmpty() && (level & (kTraceToFile | kTraceBanner)) != 0) {
        if (qn::platform::UniqueFile file = qn::platform::OpenForAppending(traceFile_.GetText())) {
            qn::platform::WriteWhole(file.get(), std::string(line) + "\n");
        }
    }
    if (!eventLogFile_.IsEmpty() && (level & kTraceToEventLog) != 0) AddEventLogEntry(line);
}

void CQncBase::AddEventLogEntry(const char* line) {
    std::string entryText = line;
    if (entryText.size() > kEventLogLineMax) entryText = entryText.substr(0, kEventLogLineMax - 3) + "...";

    const char* file = eventLogFile_.GetText();
    const std::uint32_t entryNumber = qn::platform::ProfileGetInt("Init", "NextEntry", 0, file);

    if (!formatBuffer_) {
        formatBuffer_.reset(new (std::nothrow) char[kTraceBufferSize]);
        if (!formatBuffer_) return;
    }
    char* section = formatBuffer_.get();
    std::memset(section, 0, kTraceBufferSize);
    qn::platform::ProfileGetSection("Log", section, kTraceBufferSize - 1, file);

    std::vector<std::string> entries;
    for (const char* entry = section; *entry != '\0'; entry += std::strlen(entry) + 1)
        entries.emplace_back(entry);
    char number[16];
    std::snprintf(number, sizeof(number), "%08lX", static_cast<unsigned long>(entryNumber));
    entries.push_back(std::string(number) + "|" + entryText);
    if (entries.size() > kEventLogEntriesMax)
        entries.erase(entries.begin(), entries.end() - kEventLogEntriesMax);

    eventLogEntries_.clear();
    for (const std::string& entry : entries)
        eventLogEntries_.insert(eventLogEntries_.end(), entry.c_str(), entry.c_str() + entry.size() + 1);
    eventLogEntries_.push_back('\0');
    eventLogEntriesSize_ = static_cast<std::uint32_t>(eventLogEntries_.size());

    DeleteProfileSection(file);
    qn::platform::ProfileWriteSection("Log", eventLogEntries_.data(), file);
    WriteProfileInt("Init", "NextEntry", static_cast<int>(entryNumber + 1), file);
}
