#include "parsing/CQncXmlDoc.h"

#include <chrono>

#include "platform/ComRuntime.h"

namespace {

constexpr std::uint32_t kInitializeFailed = 0xFFFFFFFF;

// A file modified this recently may be written again within the same timestamp (file systems keep times
// in coarse ticks), so a load this close to its modification time is never reused.
constexpr auto kSettledAge = std::chrono::seconds(2);

constexpr std::size_t kKeptOutputCapacity = 64 * 1024;

}  // namespace

CQncXmlDoc::CQncXmlDoc() : CQncBase("CQncXmlDoc") {}

CQncXmlDoc::~CQncXmlDoc() {
    CQncXmlDoc::Uninitialize();
}

std::uint32_t CQncXmlDoc::Initialize(int initCom, const char* traceFile) {
    if (initialized_ != 0) return 0;
    SetTraceFile(traceFile);

    if (initCom != 0) {
        if (qn::platform::ComInitializeMultithreaded() < 0) {
            Trace(kTraceToFile, "COM Interface failed to initialize\n");
            return kInitializeFailed;
        }
        Trace(kTraceToFile, "COM Interface initialized\n");
        comInitialized_ = 1;
    } else {
        Trace(kTraceToFile, "No CoInitialize required\n");
    }

    if (xmlDoc_ == nullptr) xmlDoc_ = qn::platform::CreateXmlDocument();
    if (xmlDoc_ != nullptr && xslDoc_ == nullptr) xslDoc_ = qn::platform::CreateXmlDocument();
    if (xmlDoc_ != nullptr && xslDoc_ != nullptr) {
        initialized_ = 1;
        return 0;
    }

    Trace(kTraceToFile, "CoCreateInstance failed\n");
    // Leaves COM even when this object did not enter it: long-standing behaviour that hosts are used to.
    qn::platform::ComUninitialize();
    return kInitializeFailed;
}

void CQncXmlDoc::Uninitialize() {
    if (initialized_ == 0) return;
    xmlDoc_.reset();
    xslDoc_.reset();
    loadedStylesheet_ = {};
    if (comInitialized_ != 0) {
        qn::platform::ComUninitialize();
        comInitialized_ = 0;
    }
    initialized_ = 0;
}

int CQncXmlDoc::LoadXml(const char* xmlText) {
    return LoadItem(qn::platform::EnumeratedItem(xmlText != nullptr ? xmlText : ""));
}

int CQncXmlDoc::LoadItem(const qn::platform::EnumeratedItem& item) {
    if (initialized_ == 0) return -1;
    if (!xmlDoc_->LoadItem(item)) return -1;
    return xmlDoc_->HasDocumentElement() ? 0 : -1;
}

void CQncXmlDoc::ReleaseItem() {
    if (initialized_ != 0) xmlDoc_->ReleaseItem();
}

int CQncXmlDoc::TransformWith(const char* stylesheetPath, CQncString& output,
                              const qn::platform::FileStamp* checkedStamp) {
    if (initialized_ == 0) return -1;
    // The "exists and is not a folder" test, which also tells whether the file changed since it was loaded.
    const std::optional<qn::platform::FileStamp> stamp =
        checkedStamp != nullptr ? std::optional(*checkedStamp)
                                : qn::platform::StampOfExistingFile(stylesheetPath);
    if (!stamp) return -1;
    if (!LoadStylesheet(stylesheetPath, *stamp)) return -1;
    if (!xmlDoc_->TransformNode(*xslDoc_, transformed_)) return -1;
    output.Assign(transformed_.c_str());
    // A handle keeps the buffer of an item's record, not that of a rare large output (a class schema).
    if (transformed_.capacity() > kKeptOutputCapacity) std::string().swap(transformed_);
    return 0;
}

bool CQncXmlDoc::LoadStylesheet(const char* stylesheetPath, const qn::platform::FileStamp& stamp) {
    if (!loadedStylesheet_.path.empty() && loadedStylesheet_.path == stylesheetPath &&
        loadedStylesheet_.stamp.SameVersion(stamp)) {
        return true;
    }
    loadedStylesheet_ = {};
    if (!xslDoc_->LoadFile(stylesheetPath)) return false;
    // An edited record stylesheet works but costs many times the time per item: say so once per file.
    if (xslDoc_->ReplacesNativeStylesheet() && slowStylesheetTraced_ != stylesheetPath) {
        Trace(kTraceToFile,
              "Stylesheet [%s] differs from the one installed; it is applied by the XSLT processor, which is "
              "much slower.\n",
              stylesheetPath);
        slowStylesheetTraced_ = stylesheetPath;
    }
    if (stamp.age > kSettledAge) loadedStylesheet_ = {stylesheetPath, stamp};
    return true;
}
