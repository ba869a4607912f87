#include <gtest/gtest.h>

#include <utility>

#include "base/QncErrors.h"

namespace {

TEST(ErrorTableTest, CodesHaveTheirExactTextsAndOthersAreGeneric) {
    const std::pair<int, const char*> rows[] = {
        {0, "Success"},
        {25700, "Failed to initialize MSXML::XMLDOMDocument"},
        {25701, "XSL Stylesheet missing"},
        {25702, "Load XML data failed"},
        {25703, "Tranform XML data failed"},
        {25704, "XML attribute missing"},
        {11001, "No such host is known"},
    };
    CQncString text;
    for (const auto& [code, expected] : rows)
        EXPECT_STREQ(GetErrorDescription(code, text).GetText(), expected);
    for (const int code : {25705, 25699, -1, -25700, 1, 2147483647})
        EXPECT_STREQ(GetErrorDescription(code, text).GetText(), "Generic Error") << code;
    EXPECT_EQ(&GetErrorDescription(1, text), &text);
}

}  // namespace
