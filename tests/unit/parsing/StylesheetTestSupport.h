// Records of the installation's stylesheets, made through the record parser with the source tree as the
// program folder.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "ParsingTestSupport.h"
#include "parsing/CSnWinrmNode.h"

namespace parsing_test {

class StylesheetTest : public ::testing::Test {
  protected:
    // The record of `item` under `stylesheet`; fails the test on a non-zero code.
    std::string Record(const std::string& item, const char* stylesheet = kInstanceStylesheet) {
        node_.SetStylesheet(stylesheet);
        const int code = node_.Transform(item.c_str());
        EXPECT_EQ(code, 0) << item;
        return node_.GetOutput().GetText();
    }

    // The value of a property in the current record, or "<25704>" when it has no line.
    std::string Value(const char* property) {
        CQncString value;
        return node_.GetValue(property, 0, value) == 0 ? value.GetText() : "<25704>";
    }

    // The single item that `xpath` selects in a captured reply; skips the test when the capture is absent.
    std::string FixtureItem(const std::string& fileName, const std::string& xpath) {
        const std::string reply = ReadFixture(fileName);
        if (reply.empty()) return "";
        auto items = ExtractItems(reply, xpath);
        EXPECT_EQ(items.size(), 1u) << fileName << " " << xpath;
        return items.empty() ? "" : items.front();
    }

    ProgramFolderSetting setting_{SourceDataFolder() + "/"};
    CSnWinrmNode node_;
};

#define SKIP_WITHOUT_FIXTURE(item) \
    if ((item).empty()) GTEST_SKIP() << "captured Windows replies not found in " QN_FIXTURES_DIR

}  // namespace parsing_test
