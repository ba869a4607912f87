#include "parsing/CSnWinrmNode.h"

#include <cstring>

#include "parsing/RecordLookup.h"
#include "platform/FileSystem.h"

namespace {

constexpr const char* kStylesheetFolder = "Sys\\Wsman";
// What the lookup answers for a property without a line. A real value of this text reads as missing too.
constexpr const char* kValueMissing = "VALUEMISSING";

}  // namespace

CSnWinrmNode::CSnWinrmNode(const char* objectName) : CQncBase(objectName) {
    SetStylesheet(kInstanceStylesheet);
}

CSnWinrmNode::~CSnWinrmNode() {
    xmlDoc_.Uninitialize();
}

void CSnWinrmNode::SetStylesheet(const char* fileName) {
    GetProgFilesFolder(stylesheetPath_);
    // An empty folder yields "\\" alone: the path is then rooted, as on Windows at the current drive.
    stylesheetPath_.AppendCharIfMissing('\\');
    stylesheetPath_.Append(kStylesheetFolder);
    stylesheetPath_.AppendCharIfMissing('\\');
    stylesheetPath_.Append(fileName);
    // Only probed: Transform checks the file again when it is used.
    static_cast<void>(qn::platform::IsExistingFile(stylesheetPath_.GetText()));
}

int CSnWinrmNode::Transform(const char* itemXml) {
    return Transform(qn::platform::EnumeratedItem(itemXml != nullptr ? itemXml : ""));
}

int CSnWinrmNode::Transform(const qn::platform::EnumeratedItem& item) {
    if (!xmlDoc_.IsInitialized()) xmlDoc_.Initialize(0, "");
    if (!xmlDoc_.IsInitialized()) return kQncErrorXmlDocumentInit;
    const std::optional<qn::platform::FileStamp> stylesheet =
        qn::platform::StampOfExistingFile(stylesheetPath_.GetText());
    if (!stylesheet) return kQncErrorXslStylesheetMissing;
    if (xmlDoc_.LoadItem(item) != 0) return kQncErrorXmlLoad;
    const bool transformed = xmlDoc_.TransformWith(stylesheetPath_.GetText(), output_, &*stylesheet) == 0;
    // Every transformation loads its item, and the record is text of its own: the item is let go at once,
    // so that the parser, which outlives the check, holds nothing of the check's replies.
    xmlDoc_.ReleaseItem();
    return transformed ? 0 : kQncErrorXmlTransform;
}

int CSnWinrmNode::GetValue(const char* propertyName, int asBoolDigit, CQncString& value) const {
    value.Assign("");
    CQncString found = LookupRecordValue(output_.GetText(), propertyName, kValueMissing);
    if (std::strcmp(found.GetText(), kValueMissing) == 0) return kQncErrorXmlAttributeMissing;
    if (asBoolDigit != 0) {
        if (std::strcmp(found.GetText(), "true") == 0) {
            found.Assign("1");
        } else if (std::strcmp(found.GetText(), "false") == 0) {
            found.Assign("0");
        }
    }
    value = found;
    return 0;
}
