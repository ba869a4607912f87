// Reading properties from record text.
#include <gtest/gtest.h>

#include <string>

#include "parsing/RecordLookup.h"

namespace {

std::string Lookup(const char* record, const char* name) {
    return LookupRecordValue(record, name, "VALUEMISSING").GetText();
}

TEST(RecordLookupTest, FindsValuesByNameWithoutRegardToCase) {
    const char* record = "__CLASS:=Win32_Service\r\nname:=Spooler\r\nState:= Running \r\nStartMode:=Auto";
    EXPECT_EQ(Lookup(record, "__CLASS"), "Win32_Service");
    EXPECT_EQ(Lookup(record, "NAME"), "Spooler");
    EXPECT_EQ(Lookup(record, "state"), "Running");
    EXPECT_EQ(Lookup(record, "StartMode"), "Auto");  // the last line needs no line end
    EXPECT_EQ(Lookup(record, "Status"), "VALUEMISSING");
    EXPECT_EQ(Lookup(record, "Nam"), "VALUEMISSING");  // a prefix of a name is not the name
}

TEST(RecordLookupTest, FirstMatchingLineWins) {
    EXPECT_EQ(Lookup("Name:=first\r\nNAME:=second\r\n", "name"), "first");
}

TEST(RecordLookupTest, EmptyLineEndsTheRecord) {
    const char* record = "A:=1\r\n\r\nB:=2\r\n";
    EXPECT_EQ(Lookup(record, "A"), "1");
    EXPECT_EQ(Lookup(record, "B"), "VALUEMISSING");
    // A line of blanks is empty once trimmed.
    EXPECT_EQ(Lookup("A:=1\r\n \t \r\nB:=2", "B"), "VALUEMISSING");
    EXPECT_EQ(Lookup("", "A"), "VALUEMISSING");
    EXPECT_EQ(Lookup(nullptr, "A"), "VALUEMISSING");
}

TEST(RecordLookupTest, SeparatorIsRemovedOnlyRightAfterTheName) {
    EXPECT_EQ(Lookup("Name := x\r\n", "Name"), ":= x");
    EXPECT_EQ(Lookup("  Name:=x  \r\n", "Name"), "x");
    EXPECT_EQ(Lookup("Formula:=a:=b\r\n", "Formula"), "a:=b");
    EXPECT_EQ(Lookup("Empty:=\r\nNext:=1", "Empty"), "");
    // A line without a separator is all name.
    EXPECT_EQ(Lookup("Flag\r\n", "Flag"), "");
}

TEST(RecordLookupTest, OnlyCrLfSeparatesLines) {
    // A bare line feed stays inside the line (and its value), as the record format allows no other break.
    EXPECT_EQ(Lookup("A:=1\nB:=2\r\nC:=3", "A"), "1\nB:=2");
    EXPECT_EQ(Lookup("A:=1\nB:=2\r\nC:=3", "B"), "VALUEMISSING");
    EXPECT_EQ(Lookup("A:=1\nB:=2\r\nC:=3", "C"), "3");
}

}  // namespace
