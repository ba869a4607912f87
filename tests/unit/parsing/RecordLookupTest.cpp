// Reading properties from record text.
#include <gtest/gtest.h>

#include <string>

#include "parsing/RecordLookup.h"

namespace {

TEST(RecordLookupTest, FindsTheFirstLineOfTheNameUpToTheEmptyLine) {
    // The last line needs no line end.
    const char* record = "__CLASS:=Win32_Service\r\n  name:=Spooler\r\nState:= Running ";
    const struct {
        const char* record;
        const char* name;
        const char* value;
    } cases[] = {
        {record, "__CLASS", "Win32_Service"},
        {record, "NAME", "Spooler"},  // names without regard to case, values trimmed
        {record, "state", "Running"},
        {record, "Status", "VALUEMISSING"},
        {record, "Nam", "VALUEMISSING"},  // a prefix of a name is not the name
        {"Name:=first\r\nNAME:=second\r\n", "name", "first"},
        // An empty line, also one of blanks, ends the record.
        {"A:=1\r\n \t \r\nB:=2", "B", "VALUEMISSING"},
        {nullptr, "A", "VALUEMISSING"},
        // The separator is removed only right after the name.
        {"Name := x\r\n", "Name", ":= x"},
        {"Formula:=a:=b\r\n", "Formula", "a:=b"},
        // Only CR LF separates lines: a bare line feed stays inside the line and its value.
        {"A:=1\nB:=2\r\nC:=3", "A", "1\nB:=2"},
        {"A:=1\nB:=2\r\nC:=3", "B", "VALUEMISSING"},
    };
    for (const auto& c : cases)
        EXPECT_STREQ(LookupRecordValue(c.record, c.name, "VALUEMISSING").GetText(), c.value)
            << (c.record ? c.record : "(null)") << " / " << c.name;
}

}  // namespace
