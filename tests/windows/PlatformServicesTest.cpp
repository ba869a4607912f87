// Files, profiles, the trace log and locks on their Win32 implementations.
#include <windows.h>

#include <string>
#include <thread>
#include <vector>

#include "TestFiles.h"
#include "TestRunner.h"
#include "base/QncBase.h"
#include "base/QncDiagnostics.h"
#include "platform/CriticalSection.h"
#include "platform/FileSystem.h"
#include "platform/ProcessInfo.h"
#include "platform/ProfileFile.h"

using namespace qn::wintest;

namespace {

// Wine's WritePrivateProfileSectionA drops lines without "=", so the trace's event-log section (whose lines
// have none) cannot be checked here; the module itself never writes an event log.
class TracedObject : public CQncBase {
  public:
    TracedObject() : CQncBase("TracedObject") {}
};

}  // namespace

QN_TEST(FilesExistOnlyWhenNotFolders) {
    const std::string folder = FreshFolder("files");
    const std::string file = folder + "\\present.txt";
    WriteWholeFile(file, "x");
    QN_CHECK(qn::platform::IsExistingFile(file.c_str()));
    QN_CHECK(!qn::platform::IsExistingFile(folder.c_str()));
    QN_CHECK(!qn::platform::IsExistingFile((folder + "\\absent.txt").c_str()));
    QN_CHECK(!qn::platform::IsExistingFile(""));
    QN_CHECK_EQ(qn::platform::MapModulePath("c:\\qndebug\\assert.txt"), "c:\\qndebug\\assert.txt");
}

QN_TEST(ExecutablePathNamesThisProgram) {
    const std::string path = qn::platform::ExecutableFilePath();
    QN_CHECK(path.ends_with("\\windows_platform_tests.exe"));
}

QN_TEST(AssertionLinesNameTheExecutable) {
    // The fixed path on drive C: of the prefix; its folder is never created by the module.
    RemoveFile(kQncAssertFile);
    RemoveDirectoryA("c:\\qndebug");
    Assert("Source.cpp", 12);
    QN_CHECK(!qn::platform::IsExistingFile(kQncAssertFile));

    QN_CHECK(CreateDirectoryA("c:\\qndebug", nullptr));
    Assert("Source.cpp", 12);
    const std::string line = ReadWholeFile(kQncAssertFile);
    QN_CHECK(
        line.find("] QUILLON ASSERTION FAILURE, MODULE: [windows_platform_tests.exe], FILE: [Source.cpp]; "
                  "LINE: 12\r\n") != std::string::npos);
    RemoveFile(kQncAssertFile);
    RemoveDirectoryA("c:\\qndebug");
}

QN_TEST(TraceFileLinesEndInCrLf) {
    const std::string trace = FreshFolder("trace") + "\\trace.log";
    TracedObject object;
    object.SetTraceFile(trace.c_str());
    object.Trace(kTraceToFile, "first\n");
    object.Trace(kTraceToFile, "two\r\nparts");
    const std::string log = ReadWholeFile(trace);
    QN_CHECK(log.find("] first\r\n[") != std::string::npos);
    QN_CHECK(log.find("] two <CRLF> parts\r\n") != std::string::npos);
    QN_CHECK(log.starts_with("["));
}

QN_TEST(ProfileSectionsRoundTripThroughWin32) {
    const std::string ini = FreshFolder("profile") + "\\events.ini";
    QN_CHECK(qn::platform::ProfileWriteSection("Log",
                                               "First=a\0"
                                               "Second=b\0",
                                               ini.c_str()) != 0);
    QN_CHECK(WriteProfileInt("Init", "NextEntry", 2, ini.c_str()) != 0);
    QN_CHECK_EQ(qn::platform::ProfileGetInt("Init", "NextEntry", 0, ini.c_str()), 2u);
    QN_CHECK_EQ(qn::platform::ProfileGetInt("Init", "Missing", 7, ini.c_str()), 7u);

    char section[64];
    const std::uint32_t length = qn::platform::ProfileGetSection("Log", section, sizeof section, ini.c_str());
    QN_CHECK_EQ(std::string(section, length), std::string("First=a\0"
                                                          "Second=b\0",
                                                          17));
    QN_CHECK_EQ(DeleteProfileSection(ini.c_str()), 1);
    QN_CHECK_EQ(qn::platform::ProfileGetSection("Log", section, sizeof section, ini.c_str()), 0u);
}

QN_TEST(CriticalSectionIsRecursiveAndExclusive) {
    qn::platform::CriticalSection section;
    {
        const qn::platform::CriticalSectionGuard outer(section);
        const qn::platform::CriticalSectionGuard inner(section);  // the owner may enter again
    }
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                const qn::platform::CriticalSectionGuard guard(section);
                const long seen = counter;
                SwitchToThread();
                counter = seen + 1;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    QN_CHECK_EQ(counter, 4000L);
}
