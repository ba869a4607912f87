// CQncBase: the root of every object of the module, with its name and its trace log.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/QncString.h"
#include "platform/CriticalSection.h"

// Trace level bits.
inline constexpr int kTraceToFile = 1;
inline constexpr int kTraceToEventLog = 2;
inline constexpr int kTraceBanner = 4;

class CQncBase {
  public:
    explicit CQncBase(const char* objectName = nullptr);
    virtual ~CQncBase();
    CQncBase(const CQncBase&) = delete;
    CQncBase& operator=(const CQncBase&) = delete;

    // Comparisons for lists: 1 for true, 0 otherwise. The root class never matches and has no order.
    virtual int IsEqual(const CQncBase& other, int flag = 0) const;
    virtual int IsGreater(const CQncBase& other, int flag = 0) const;
    virtual int IsLess(const CQncBase& other, int flag = 0) const;
    // A new object of the same class with an empty name.
    virtual std::unique_ptr<CQncBase> Clone() const;

    // Writes one line to the targets the level bits select. Thread-safe per object.
    void Trace(int level, const char* format, ...) QNC_PRINTF_FORMAT(3, 4);
    // As Trace, for messages that may exceed the fixed buffer; `maxLength` bounds the formatted message.
    void TraceSized(int level, int maxLength, const char* format, ...) QNC_PRINTF_FORMAT(4, 5);

    // Both set under the trace lock; an empty or null path turns that target off.
    void SetTraceFile(const char* path);
    void SetEventLogFile(const char* path);
    CQncString GetTraceFile();
    CQncString GetEventLogFile();

    const CQncString& GetObjectName() const { return objectName_; }

    static constexpr std::size_t kTraceBufferSize = 16385;
    static constexpr std::size_t kEventLogLineMax = 1023;
    static constexpr std::size_t kEventLogEntriesMax = 100;

  protected:
    qn::platform::CriticalSection& TraceLock() { return traceLock_; }

    // A word of flags for derived classes; 0 after construction.
    std::uint32_t baseFlags_ = 0;

  private:
    void WriteTraceLine(int level, const char* line);
    void AddEventLogEntry(const char* line);

    CQncString traceFile_;
    CQncString eventLogFile_;
    std::uint32_t eventLogEntriesSize_ = 1;
    std::vector<char> eventLogEntries_;     // multi-string
    std::unique_ptr<char[]> formatBuffer_;  // kTraceBufferSize bytes once needed
    qn::platform::CriticalSection traceLock_;
    CQncString objectName_;
};
