// Construction, initialisation, shutdown and destruction of the module object.
#include <exception>
#include <string>

#include "engine/CQnWSMan.h"
#include "parsing/CSnWinrmNode.h"
#include "platform/ComRuntime.h"

namespace {

constexpr const char* kModuleName = "qnsnwsm.dll";  // the name hosts know the module by, on every platform
constexpr const char* kModuleBuild = "892.5061";
constexpr const char* kBannerRule =
    "-------------------------------------------------------------------------------------------------";
static_assert(std::char_traits<char>::length(kBannerRule) == 97);

}  // namespace

CQnWSMan::CQnWSMan(const char* baseSetting) : CQncBase(baseSetting) {}

CQnWSMan::~CQnWSMan() {
    Shutdown();
}

std::uint32_t CQnWSMan::Initialize(const char* traceSetting) {
    SetTraceFile(traceSetting);

    Trace(kTraceBanner, "%s\r\nModule: [%s], Build: [%s]\r\n%s", kBannerRule, kModuleName, kModuleBuild,
          kBannerRule);
    Trace(kTraceToFile, "Initializing...\n");

    if (initialized != 0) {
        Trace(kTraceToFile, "Already Initialized.");
        return 0;
    }

    // Failing here is normal when the thread already entered another apartment; the module works anyway.
    const qn::platform::HResult comResult = qn::platform::ComInitializeMultithreaded();
    if (qn::platform::Failed(comResult)) {
        Trace(kTraceToFile,
              "Initialization failed (error 0x%08lX), but this is what we expect in some situations.",
              static_cast<unsigned long>(static_cast<std::uint32_t>(comResult)));
    }

    // Without a parser the checks fail at their first record; the session itself still works.
    try {
        nodeParser = std::make_unique<CSnWinrmNode>("");
    } catch (const std::exception&) {
        Trace(kTraceToFile, "Initialization failed. Unable to create WinRM node parser object.");
    }

    const qn::platform::HResult createResult = qn::platform::CreateWsman(wsman);
    if (qn::platform::Failed(createResult)) {
        Trace(kTraceToFile, "CoCreateInstance failed (error 0x%08lX).",
              static_cast<unsigned long>(static_cast<std::uint32_t>(createResult)));
        qn::platform::ComUninitialize();
        return kFailure;
    }
    if (!wsman) {
        qn::platform::ComUninitialize();
        return kFailure;
    }

    initialized = 1;
    Trace(kTraceToFile, "Initialization completed.\n");
    return 0;
}

void CQnWSMan::Shutdown() {
    // All three or nothing: an object without a parser keeps its automation object until it is destroyed.
    if (initialized != 0 && nodeParser && wsman) {
        Trace(kTraceToFile, "Shutting down...\n");
        // Every COM object goes before COM does: a host that shuts down without disconnecting must not have
        // the sessions released after CoUninitialize has unloaded the automation DLL.
        replacedSessions.clear();
        session.reset();
        wsman.reset();
        nodeParser.reset();
        qn::platform::ComUninitialize();
        sessionOpen = 0;
        initialized = 0;
    }
    Trace(kTraceToFile, "Shutdown completed.\n");
}
