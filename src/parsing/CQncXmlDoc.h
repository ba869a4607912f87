// CQncXmlDoc: one XML item and one stylesheet document of the platform's parser; loads an item, applies a
// stylesheet file to it and hands back the result text.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/QncBase.h"
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
    // Applies the stylesheet file to the current item; output := the result. 0 or -1 (output unchanged).
    int TransformWith(const char* stylesheetPath, CQncString& output);

    bool IsInitialized() const { return initialized_ != 0; }

  private:
    // Where a stylesheet cache (keyed by path, size and modification time) would go; today the file is read
    // and compiled on every call.
    bool LoadStylesheet(const char* stylesheetPath);

    std::unique_ptr<qn::platform::XmlDocument> xmlDoc_;
    std::unique_ptr<qn::platform::XmlDocument> xslDoc_;
    // The document element of the last item that loaded; kept when a later load fails.
    std::optional<std::string> rootElement_;
    std::int32_t initialized_ = 0;
    std::int32_t comInitialized_ = 0;
};
