#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>

#include "ListText.h"
#include "Render.h"

namespace qncli {
namespace {

TEST(ListText, SplitsTheModulesJoinedTexts) {
    EXPECT_TRUE(SplitText("", "||").empty());
    EXPECT_EQ(SplitText("a||b||", "||"), (std::vector<std::string>{"a", "b", ""}));
    const auto rows = SplitRows("PC1\\guest;;;;guest;;0;;1||PC1\\admin;;Admin;;admin;;0;;0", 5);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0], (std::vector<std::string>{"PC1\\guest", "", "guest", "0", "1"}));
    EXPECT_EQ(SplitRows("Spooler", 2).front(), (std::vector<std::string>{"Spooler", ""}));
    EXPECT_EQ(SplitBracketList("[Disk 0],[Disk 1]"), (std::vector<std::string>{"Disk 0", "Disk 1"}));
    EXPECT_TRUE(SplitBracketList("[unterminated").empty());
}

CheckResult Sample() {
    CheckResult result;
    result.command = "services";
    result.AddNumber("count", 2);
    result.AddFlag("installed", 1);
    result.AddText("note", "quote \" and byte \xff");
    result.columns = {"name", "displayName"};
    result.rows = {{"Spooler", "Print Spooler"}, {"W32Time"}};
    return result;
}

TEST(Render, JsonParsesAndKeepsTypesEvenForInvalidUtf8) {
    std::ostringstream out;
    RenderJson(Sample(), out);
    const auto json = nlohmann::json::parse(out.str());
    EXPECT_EQ(json["command"], "services");
    EXPECT_TRUE(json["ok"].get<bool>());
    EXPECT_EQ(json["values"]["count"], 2);
    EXPECT_EQ(json["values"]["installed"], true);
    ASSERT_EQ(json["items"].size(), 2u);
    EXPECT_EQ(json["items"][1]["displayName"], "");

    std::ostringstream report;
    CheckResult failed;
    failed.command = "memory";
    failed.code = 0xFFFFFFFFu;
    failed.error = "WMI/WinRM Error 0x80070005: Access is denied";
    RenderJsonReport({Sample(), failed}, report);
    const auto array = nlohmann::json::parse(report.str());
    ASSERT_EQ(array.size(), 2u);
    EXPECT_FALSE(array[1]["ok"].get<bool>());
    EXPECT_EQ(array[1]["code"], 0xFFFFFFFFu);
}

TEST(Render, TableShowsStatusErrorAndAlignedRows) {
    std::ostringstream out;
    CheckResult result = Sample();
    result.code = 0xFFFFFFFFu;
    result.error = "Service not installed.";
    RenderTable(result, out);
    const std::string text = out.str();
    EXPECT_NE(text.find("FAILED (code 4294967295)"), std::string::npos);
    EXPECT_NE(text.find("Service not installed."), std::string::npos);
    EXPECT_NE(text.find("  Spooler  Print Spooler"), std::string::npos);
    EXPECT_NE(text.find("(2 entries)"), std::string::npos);
}

}  // namespace
}  // namespace qncli
