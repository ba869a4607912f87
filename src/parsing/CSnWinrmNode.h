// CSnWinrmNode: the record parser. Turns one WinRM item (the XML of one WMI instance) into a record of
// "Name:=value" lines with a stylesheet of the installation, and reads properties from that record.
#pragma once

#include "base/QncBase.h"
#include "parsing/CQncXmlDoc.h"

// The installation's stylesheets, in the folder "Sys\\Wsman" under the program folder.
inline constexpr const char* kInstanceStylesheet = "WsmTxtEx.xsl";
inline constexpr const char* kPropertyNamesStylesheet = "WsmProps.xsl";

class CSnWinrmNode : public CQncBase {
  public:
    // Starts with the instance stylesheet; the document is initialised on the first Transform.
    explicit CSnWinrmNode(const char* objectName = "");
    ~CSnWinrmNode() override;

    // stylesheetPath := program folder + "\\" + "Sys\\Wsman" + "\\" + fileName.
    void SetStylesheet(const char* fileName);

    // Transforms one item into the record. 0, or 25700 (document unavailable), 25701 (stylesheet missing),
    // 25702 (item not well-formed), 25703 (stylesheet failed). A failure keeps the previous record.
    int Transform(const char* itemXml);
    // The same for an item of an enumeration, read from the tree it carries where it has one (the text form
    // above is an item without a tree).
    int Transform(const qn::platform::EnumeratedItem& item);

    // value := the property's value in the record; with `asBoolDigit` "true"/"false" become "1"/"0".
    // 0, or 25704 when the record has no line for the property (value empty).
    int GetValue(const char* propertyName, int asBoolDigit, CQncString& value) const;

    // The record: the text of the last successful transformation.
    const CQncString& GetOutput() const { return output_; }
    const CQncString& GetStylesheetPath() const { return stylesheetPath_; }

  private:
    CQncXmlDoc xmlDoc_;
    CQncString stylesheetPath_;
    CQncString output_;
};
