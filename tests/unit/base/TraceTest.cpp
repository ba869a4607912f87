#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "TestFiles.h"
#include "base/QncBase.h"
#include "platform/Clock.h"
#include "platform/ProfileFile.h"

namespace {

using qntest::ReadFile;

// Stands still at 01:02:03 so that lines can be compared whole.
class FixedClock final : public qn::platform::Clock {
  public:
    FixedClock() { qn::platform::SetClock(this); }
    ~FixedClock() override { qn::platform::SetClock(nullptr); }
    qn::platform::TimeOfDay LocalTimeOfDay() override { return {1, 2, 3}; }
    std::uint32_t TickCount() override { return 4242; }
    void Sleep(std::uint32_t) override {}
};

class TraceTest : public ::testing::Test {
  protected:
    void SetUp() override {
        traced_.SetTraceFile(traceFile_.c_str());
        traced_.SetEventLogFile(eventLog_.c_str());
    }

    std::vector<std::string> EventLogEntries() {
        std::vector<char> buffer(70000);
        qn::platform::ProfileGetSection("Log", buffer.data(), static_cast<std::uint32_t>(buffer.size()),
                                        eventLog_.c_str());
        std::vector<std::string> entries;
        for (const char* entry = buffer.data(); *entry != '\0'; entry += std::strlen(entry) + 1)
            entries.emplace_back(entry);
        return entries;
    }

    FixedClock clock_;
    qntest::ScratchFolder folder_;
    std::string traceFile_ = folder_.File("trace.log");
    std::string eventLog_ = folder_.File("events.ini");
    CQncBase traced_{"Traced"};
};

// A line is the time, a blank and the message with its breaks escaped; a banner (which needs no file bit)
// keeps them.
TEST_F(TraceTest, LineIsTimeBlankMessageWithBreaksEscapedExceptInBanners) {
    traced_.Trace(kTraceToFile, "Calling %s (%d).\n", "CQnWSMan::WinRMGetDomain", 7);
    traced_.Trace(kTraceToFile, "a\r\nb\rc\nd\r\n\r\n");
    traced_.Trace(kTraceToFile, "%s", "100% done");
    traced_.Trace(kTraceBanner, "----\r\nModule: [%s]\r\n----\r", "qnsnwsm.dll");
    traced_.TraceSized(kTraceBanner, 100, "a\r\nb\n");  // the sized form keeps the text as it is
    EXPECT_EQ(ReadFile(traceFile_),
              "[01:02:03] Calling CQnWSMan::WinRMGetDomain (7).\n"
              "[01:02:03] a <CRLF> b <CR> c <LF> d\n"
              "[01:02:03] 100% done\n"
              "[01:02:03] ----\nModule: [qnsnwsm.dll]\n----\r\n[01:02:03] a\r\nb\n\n");

    // Nothing is written without a level or a path, and a deleted file comes back.
    std::remove(traceFile_.c_str());
    traced_.Trace(0, "level zero");
    traced_.Trace(kTraceToFile, "%s", "");  // an empty message still makes a line
    EXPECT_EQ(ReadFile(traceFile_), "[01:02:03] \n");
    traced_.SetTraceFile("");
    traced_.Trace(kTraceToFile | kTraceBanner, "tracing is off");
    EXPECT_EQ(ReadFile(traceFile_), "[01:02:03] \n");
}

TEST_F(TraceTest, NewFileIsTheOwnersAloneAndAnExistingFileKeepsItsMode) {
    using std::filesystem::perms;
    const auto mode = [&] { return std::filesystem::status(traceFile_).permissions() & perms::all; };
    const mode_t previous = umask(022);
    traced_.Trace(kTraceToFile, "new");
    EXPECT_EQ(mode(), perms::owner_read | perms::owner_write);
    std::filesystem::permissions(traceFile_, perms::owner_read | perms::owner_write | perms::group_read);
    traced_.Trace(kTraceToFile, "appended");
    umask(previous);
    EXPECT_EQ(mode(), perms::owner_read | perms::owner_write | perms::group_read);
    EXPECT_EQ(ReadFile(traceFile_), "[01:02:03] new\n[01:02:03] appended\n");
}

// An overlong message is cut at the buffer's end unless traced with a size of its own.
TEST_F(TraceTest, OverlongMessageIsCutUnlessSizedAndTinyBoundsAssert) {
    traced_.Trace(kTraceToFile, "%s", std::string(20000, 'x').c_str());
    const std::string cut = "[01:02:03] " + std::string(CQncBase::kTraceBufferSize - 1 - 11, 'x') + "\n";
    EXPECT_EQ(ReadFile(traceFile_), cut);
    const std::string assertFile = folder_.File("assert.txt");
    SetAssertFilePath(assertFile.c_str());
    traced_.TraceSized(kTraceToFile, 30000, "%s\r\n", std::string(25000, 'y').c_str());
    EXPECT_EQ(ReadFile(traceFile_), cut + "[01:02:03] " + std::string(25000, 'y') + "\n");

    traced_.TraceSized(kTraceToFile, 8, "short\nline");
    SetAssertFilePath(folder_.File("qndebug/assert.txt").c_str());
    traced_.TraceSized(kTraceToFile, 8, "x");  // no folder, no file, no fuss
    SetAssertFilePath(nullptr);
    EXPECT_NE(ReadFile(traceFile_).find("[01:02:03] short <LF> line\n"), std::string::npos);
    EXPECT_EQ(ReadFile(assertFile),
              "[01:02:03] QUILLON ASSERTION FAILURE, MODULE: [base_tests], FILE: "
              "[..\\..\\common\\VisualC\\Source\\QncBase]; LINE: 582\n");
    EXPECT_FALSE(std::filesystem::exists(folder_.File("qndebug")));
}

TEST_F(TraceTest, ObjectsAndThreadsSharingAFileWriteWholeLines) {
    constexpr int kLinesPerThread = 30;
    CQncBase other;
    other.SetTraceFile(traceFile_.c_str());
    // Two threads on one object (serialised by its lock) and one on another object (only the file is shared).
    const auto writeLines = [](CQncBase& object, char letter) {
        const std::string text(9000, letter);
        for (int i = 0; i < kLinesPerThread; ++i) object.Trace(kTraceToFile, "%s", text.c_str());
    };
    std::vector<std::thread> threads;
    threads.emplace_back(writeLines, std::ref(traced_), 'a');
    threads.emplace_back(writeLines, std::ref(traced_), 'b');
    threads.emplace_back(writeLines, std::ref(other), 'c');
    for (std::thread& thread : threads) thread.join();

    const std::string written = ReadFile(traceFile_);
    std::size_t lines = 0;
    for (std::size_t start = 0; start < written.size(); ++lines) {
        const std::size_t end = written.find('\n', start);
        ASSERT_NE(end, std::string::npos);
        const std::string line = written.substr(start, end - start);
        ASSERT_EQ(line.size(), 11u + 9000u);
        EXPECT_EQ(line.find_first_not_of(line[11], 11), std::string::npos) << "line " << lines << " is mixed";
        start = end + 1;
    }
    EXPECT_EQ(lines, 3u * kLinesPerThread);
}

// An entry is cut to 1020 characters and dots.
TEST_F(TraceTest, EventLogKeepsTheNewestHundredEntriesNumberedOnFromTheStoredNumber) {
    qntest::WriteFile(eventLog_, "[Init]\nNextEntry=255\n[Log]\n000000FE|[00:00:00] older\n");
    for (int i = 0; i < 100; ++i) traced_.Trace(kTraceToEventLog, "entry %d\n", i);
    const std::vector<std::string> entries = EventLogEntries();
    ASSERT_EQ(entries.size(), 100u);
    EXPECT_EQ(entries.front(), "000000FF|[01:02:03] entry 0");
    EXPECT_EQ(entries.back(), "00000162|[01:02:03] entry 99");
    EXPECT_EQ(qn::platform::ProfileGetInt("Init", "NextEntry", 0, eventLog_.c_str()), 355u);

    traced_.Trace(kTraceToEventLog | kTraceToFile, "%s", std::string(2000, 'z').c_str());
    EXPECT_EQ(EventLogEntries().back(), "00000163|[01:02:03] " + std::string(1020 - 11, 'z') + "...");
    EXPECT_EQ(EventLogEntries().front(), "00000100|[01:02:03] entry 1");
}

}  // namespace
