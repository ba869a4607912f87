// The front end's pure parts: its command line, the module's joined texts and the JSON report.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "CliOptions.h"
#include "ListText.h"
#include "Render.h"

namespace qncli {
using qnhost::CheckResult;
using qnhost::SplitBracketList;
using qnhost::SplitRows;
using qnhost::SplitText;
namespace {

std::optional<CliOptions> Parse(std::vector<std::string> args, std::string* error = nullptr) {
    std::string ignored;
    return ParseCommandLine(args, error ? *error : ignored);
}

TEST(CliOptions, GlobalOptionsBeforeAndAfterTheCommand) {
    auto options = Parse({"-c", "srv01", "--user=CORP\\mon", "--ssl", "service", "Spooler", "--json", "-p",
                          "6000", "--cpu-threshold", "-1"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->computer, "srv01");
    EXPECT_EQ(options->user, "CORP\\mon");
    EXPECT_TRUE(options->ssl && options->json);
    EXPECT_EQ(options->command, "service");
    EXPECT_EQ(options->arguments, std::vector<std::string>{"Spooler"});
    EXPECT_EQ(options->EffectivePort(), 6000);
    EXPECT_EQ(options->cpuThreshold, -1) << "a negative threshold switches the measure off";
    // Without --port the port follows the scheme.
    EXPECT_EQ(Parse({"memory"})->EffectivePort(), 5985);
    EXPECT_EQ(Parse({"--ssl", "memory"})->EffectivePort(), 5986);
}

TEST(CliOptions, RefusesPasswordsOnTheCommandLineAndBadValues) {
    std::string error;
    EXPECT_FALSE(Parse({"--password", "secret", "memory"}, &error));
    EXPECT_NE(error.find("--password-file"), std::string::npos) << error;
    EXPECT_FALSE(Parse({"--port", "70000", "memory"}, &error));
    EXPECT_NE(error.find("--port"), std::string::npos) << error;
    EXPECT_FALSE(Parse({"--computer"}, &error));
    EXPECT_NE(error.find("needs a value"), std::string::npos) << error;
    EXPECT_FALSE(Parse({"--sleep-ms", "-1", "cpu"}));
    EXPECT_FALSE(Parse({"--bogus", "memory"}));
    EXPECT_FALSE(Parse({}));
    EXPECT_TRUE(Parse({"--help"}));
}

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
