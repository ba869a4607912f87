#include <gtest/gtest.h>

#include "base/QncErrors.h"

namespace {

TEST(ErrorTableTest, ParserCodesHaveTheirExactTexts) {
    CQncString text;
    EXPECT_STREQ(GetErrorDescription(0, text).GetText(), "Success");
    EXPECT_STREQ(GetErrorDescription(25700, text).GetText(), "Failed to initialize MSXML::XMLDOMDocument");
    EXPECT_STREQ(GetErrorDescription(25701, text).GetText(), "XSL Stylesheet missing");
    EXPECT_STREQ(GetErrorDescription(25702, text).GetText(), "Load XML data failed");
    EXPECT_STREQ(GetErrorDescription(25703, text).GetText(), "Tranform XML data failed");
    EXPECT_STREQ(GetErrorDescription(25704, text).GetText(), "XML attribute missing");
    EXPECT_EQ(&GetErrorDescription(1, text), &text);
}

TEST(ErrorTableTest, CodesWithoutARowAreGeneric) {
    CQncString text;
    for (const int code : {25705, 25699, -1, -25700, 1, 2147483647}) {
        EXPECT_STREQ(GetErrorDescription(code, text).GetText(), "Generic Error") << code;
    }
    EXPECT_STREQ(GetErrorDescription(11001, text).GetText(), "No such host is known");
}

}  // namespace
