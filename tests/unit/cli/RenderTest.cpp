#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "ListText.h"
#include "Render.h"

namespace qncli {
using qnhost::CheckResult;
using qnhost::SplitBracketList;
using qnhost::SplitRows;
using qnhost::SplitText;
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

TEST(Render, JsonParsesAndKeepsTypesEvenForInvalidUtf8) {
    CheckResult services;
    services.command = "services";
    services.AddNumber("count", 2);
    services.AddFlag("installed", 1);
    services.AddText("note", "quote \" and byte \xff");
    services.columns = {"name", "displayName"};
    services.rows = {{"Spooler", "Print Spooler"}, {"W32Time"}};
    CheckResult failed;
    failed.command = "memory";
    failed.code = 0xFFFFFFFFu;
    failed.error = "WMI/WinRM Error 0x80070005: Access is denied";
    std::ostringstream out;
    RenderJsonReport({services, failed}, out);
    const auto json = nlohmann::json::parse(out.str());
    ASSERT_EQ(json.size(), 2u);
    EXPECT_TRUE(json[0]["ok"].get<bool>());
    EXPECT_EQ(json[0]["values"]["count"], 2);
    EXPECT_EQ(json[0]["values"]["installed"], true);
    ASSERT_EQ(json[0]["items"].size(), 2u);
    EXPECT_EQ(json[0]["items"][1]["displayName"], "");
    EXPECT_FALSE(json[1]["ok"].get<bool>());
    EXPECT_EQ(json[1]["code"], 0xFFFFFFFFu);
}

}  // namespace
}  // namespace qncli
