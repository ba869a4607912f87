// CQncXmlDoc: one XML item and one stylesheet document of the platform's parser; loads an item, applies a
// stylesheet file to it and hands back the result text.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/QncBase.h"
#include "platform/FileSystem.h"
#include "platform/XmlDocument.h"

class CQncXmlDoc : public CQncBase {
  public:
    CQncXmlDoc();
    ~CQncXmlDoc() override;

    // Creates both documents; `initCom` non-zero enters COM first. `traceFile` becomes this object's trace
    // file (empty turns tracing off). 0 on success (also when already initialised), 0xFFFFFFFF otherwise.
    virtual std::uint32_t Initialize(int initCom, const char* traceFile);
    // Releases both documents (and COM when Initialize entered it). Harmless when not initialised.
    virtual void Uninitialize();

    // 0 when `xmlText` is a well-formed document, now the current item; -1 otherwise.
    int LoadXml(const char* xmlText);
    // The same for an item of an enumeration (see XmlDocument::LoadItem).
    int LoadItem(const qn::platform::EnumeratedItem& item);
    // After the item's last transformation (see XmlDocument::ReleaseItem).
    void ReleaseItem();
    // Applies the stylesheet file to the current item; output := the result. 0 or -1 (output unchanged).
    // A caller that has just looked the file up for a check of its own passes what it found as
    // `checkedStamp`, so that one look-up serves both checks of the item; otherwise the file is looked up
    // here.
    int TransformWith(const char* stylesheetPath, CQncString& output,
                      const qn::platform::FileStamp* checkedStamp = nullptr);

    bool IsInitialized() const { return initialized_ != 0; }

  private:
    // Loads the stylesheet file into xslDoc_, unless xslDoc_ already holds that file unchanged: same path,
    // size and modification time, and a modification time older than the file system's timestamp resolution
    // could hide (see CQncXmlDoc.cpp). An unchanged file is not read again (the platform document compiles it
    // once per thread, see XmlDocument.h); a changed one is re-read at once.
    bool LoadStylesheet(const char* stylesheetPath, const qn::platform::FileStamp& stamp);

    std::unique_ptr<qn::platform::XmlDocument> xmlDoc_;
    std::unique_ptr<qn::platform::XmlDocument> xslDoc_;
    // What xslDoc_ holds: the file it was loaded from, as it was then. Empty path: nothing reusable.
    struct LoadedStylesheet {
        std::string path;
        qn::platform::FileStamp stamp;
    };
    LoadedStylesheet loadedStylesheet_;
    std::string slowStylesheetTraced_;  // the edited stylesheet file already named in the trace
    std::string transformed_;           // the last output, kept so that its buffer serves the next
    std::int32_t initialized_ = 0;
    std::int32_t comInitialized_ = 0;
};
