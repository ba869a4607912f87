#include "parsing/CQncXmlDoc.h"

#include <chrono>

#include "platform/ComRuntime.h"
#include "platform/FileSystem.h"

namespace {

constexpr std::uint32_t kInitializeFailed = 0xFFFFFFFF;

// A file modified this recently may be written again within the same timestamp (file systems keep times
// in coarse ticks), so a load this close to its modification time is never reused.
constexpr auto kSettledAge = std::chrono::seconds(2);

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
    rootElement_.reset();
    loadedStylesheet_ = {};
    if (comInitialized_ != 0) {
        qn::platform::ComUninitialize();
        comInitialized_ = 0;
    }
    initialized_ = 0;
}

int CQncXmlDoc::LoadXml(const char* xmlText) {
    if (initialized_ == 0) return -1;
    if (!xmlDoc_->LoadText(xmlText != nullptr ? xmlText : "")) return -1;
    rootElement_ = xmlDoc_->DocumentElementName();
    return rootElement_.has_value() ? 0 : -1;
}

int CQncXmlDoc::TransformWith(const char* stylesheetPath, CQncString& output) {
    if (initialized_ == 0) return -1;
    if (!qn::platform::IsExistingFile(stylesheetPath)) return -1;
    if (!LoadStylesheet(stylesheetPath)) return -1;
    std::string result;
    if (!xmlDoc_->TransformNode(*xslDoc_, result)) return -1;
    output.Assign(result.c_str());
    return 0;
}

bool CQncXmlDoc::LoadStylesheet(const char* stylesheetPath) {
    namespace fs = std::filesystem;
    const fs::path file = qn::platform::MapModulePath(stylesheetPath);
    std::error_code sizeError, timeError;
    const std::uintmax_t size = fs::file_size(file, sizeError);
    const fs::file_time_type modified = fs::last_write_time(file, timeError);
    const bool known = !sizeError && !timeError;
    if (known && !loadedStylesheet_.path.empty() && loadedStylesheet_.path == stylesheetPath &&
        loadedStylesheet_.size == size && loadedStylesheet_.modified == modified) {
        return true;
    }

    loadedStylesheet_ = {};
    const fs::file_time_type loadedAt = fs::file_time_type::clock::now();
    if (!xslDoc_->LoadFile(stylesheetPath)) return false;
    if (known && modified + kSettledAge < loadedAt) loadedStylesheet_ = {stylesheetPath, size, modified};
    return true;
}
