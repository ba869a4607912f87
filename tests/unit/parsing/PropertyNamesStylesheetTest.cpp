// WsmProps.xsl: the property names of a class definition item.
#include <gtest/gtest.h>

#include <string>

#include "StylesheetTestSupport.h"

namespace {

using PropertyNamesStylesheetTest = parsing_test::StylesheetTest;

TEST_F(PropertyNamesStylesheetTest, ListsEachPropertyOnce) {
    const std::string definition =
        R"(<p:Win32_Share xmlns:p="http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Share" )"
        R"(xmlns:cim="http://schemas.dmtf.org/wbem/wscim/1/common" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" )"
        R"(xsi:type="p:Win32_Share_Type">
             <p:AccessMask xsi:nil="true"/>
             <p:AllowMaximum xsi:nil="true"/>
             <p:Caption xsi:nil="true"/>
             <p:Caption xsi:nil="true"/>
             <p:Name xsi:nil="true"/>
           </p:Win32_Share>)";
    EXPECT_EQ(Record(definition, kPropertyNamesStylesheet),
              "AccessMask\r\nAllowMaximum\r\nCaption\r\nName\r\n");
}

TEST_F(PropertyNamesStylesheetTest, RealInstanceGivesItsPropertyNames) {
    const std::string item = FixtureItem("get_response_Win32_LogicalDisk_real.xml", "//s:Body/*");
    SKIP_WITHOUT_FIXTURE(item);
    const std::string names = Record(item, kPropertyNamesStylesheet);
    EXPECT_EQ(names.rfind("Access\r\nAvailability\r\nBlockSize\r\n", 0), 0u) << names;
    const std::string tail = "VolumeName\r\nVolumeSerialNumber\r\n";
    ASSERT_GE(names.size(), tail.size());
    EXPECT_EQ(names.substr(names.size() - tail.size()), tail);
    int lines = 0;
    for (char c : names) lines += c == '\n' ? 1 : 0;
    EXPECT_EQ(lines, 39);
}

}  // namespace
