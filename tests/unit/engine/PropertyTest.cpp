// The property read of the checks, without a parser (its creation may fail at initialisation).
#include "EngineTestSupport.h"

namespace qn::test {
namespace {

TEST(GetPropertyTest, WithoutParserEveryReadIsADocumentFailure) {
    CQnWSMan module("host");  // not initialised: no parser
    CQncString value("stale");
    CQncString error("stale");
    EXPECT_TRUE(module.GetProperty(value, "Name", error, 0).IsEmpty());
    EXPECT_STREQ(error.GetText(), "Failed to initialize MSXML::XMLDOMDocument");
}

}  // namespace
}  // namespace qn::test
