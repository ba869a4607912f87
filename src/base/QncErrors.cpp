#include "base/QncErrors.h"

#include <algorithm>
#include <iterator>

namespace {

struct ErrorRow {
    int code;
    const char* text;
};

// Sorted by code. Besides the rows this module raises, the first row of some other families of the shared
// table, so that their codes read sensibly when they turn up.
constexpr ErrorRow kErrorRows[] = {
    {0, "Success"},
    {10004, "A blocking operation was interrupted by a call to WSACancelBlockingCall"},
    {11001, "No such host is known"},
    {11999, "General WSA error"},
    {15000, "Registry entry 'ServerRoot' missing"},
    {22530, "Invalid FtpFile object passed to function"},
    {22800, "No session established to remote host"},
    {25000, "Creation of MDAC/ADO object failed"},
    {25370, "Invalid parameters supplied"},
    {kQncErrorXmlDocumentInit, "Failed to initialize MSXML::XMLDOMDocument"},
    {kQncErrorXslStylesheetMissing, "XSL Stylesheet missing"},
    {kQncErrorXmlLoad, "Load XML data failed"},
    {kQncErrorXmlTransform, "Tranform XML data failed"},
    {kQncErrorXmlAttributeMissing, "XML attribute missing"},
    {29101, "Internal error"},
    {30100, "Generic port error"},
    {30350, "No response from modem"},
    {37400, "Invalid hostname"},
    {37700, "Querying SChannel security context failed"},
};

}  // namespace

CQncString& GetErrorDescription(int code, CQncString& text) {
    const auto row =
        std::lower_bound(std::begin(kErrorRows), std::end(kErrorRows), code,
                         [](const ErrorRow& candidate, int wanted) { return candidate.code < wanted; });
    text.Assign(row != std::end(kErrorRows) && row->code == code ? row->text : "Generic Error");
    return text;
}
