// Files, the trace log, assertions and locks on their Win32 implementations. (Profile files serve only the
// event log, which the module never writes.)
#include <windows.h>

#include <string>
#include <thread>
#include <vector>

#include "TestRunner.h"
#include "base/QncBase.h"
#include "base/QncDiagnostics.h"
#include "platform/CriticalSection.h"
#include "platform/FileSystem.h"

using namespace qn::wintest;

QN_TEST(FilesAssertionAndTraceLinesEndInCrLf) {
    // The fixed path on drive C: of the prefix; its folder is never created by the module. The module's name
    // comes from the executable's path.
    DeleteFileA(kQncAssertFile);
    RemoveDirectoryA("c:\\qndebug");
    Assert("Source.cpp", 12);
    QN_CHECK(!qn::platform::IsExistingFile(kQncAssertFile));
    QN_CHECK(CreateDirectoryA("c:\\qndebug", nullptr));
    QN_CHECK(!qn::platform::IsExistingFile("c:\\qndebug"));  // a folder is no file
    Assert("Source.cpp", 12);
    QN_CHECK(
        Contains(ReadWholeFile(kQncAssertFile),
                 "] QUILLON ASSERTION FAILURE, MODULE: [windows_platform_tests.exe], FILE: [Source.cpp]; "
                 "LINE: 12\r\n"));
    DeleteFileA(kQncAssertFile);
    RemoveDirectoryA("c:\\qndebug");

    const std::string trace = FreshFolder("trace") + "\\trace.log";
    CQncBase object("TracedObject");
    object.SetTraceFile(trace.c_str());
    object.Trace(kTraceToFile, "first\n");
    object.Trace(kTraceToFile, "two\r\nparts");
    const std::string log = ReadWholeFile(trace);
    QN_CHECK(log.starts_with("[") && Contains(log, "] first\r\n["));
    QN_CHECK(Contains(log, "] two <CRLF> parts\r\n"));
}

QN_TEST(CriticalSectionIsRecursiveAndExclusive) {
    qn::platform::CriticalSection section;
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                const qn::platform::CriticalSectionGuard guard(section);
                const qn::platform::CriticalSectionGuard inner(section);  // the owner may enter again
                const long seen = counter;
                SwitchToThread();
                counter = seen + 1;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    QN_CHECK_EQ(counter, 4000L);
}
