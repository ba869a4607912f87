#include <gtest/gtest.h>

#include "CliOptions.h"
#include "Commands.h"

namespace qncli {
namespace {

std::optional<CliOptions> Parse(std::vector<std::string> args, std::string* error = nullptr) {
    std::string ignored;
    return ParseCommandLine(args, error ? *error : ignored);
}

TEST(CliOptions, GlobalOptionsBeforeAndAfterTheCommand) {
    auto options = Parse({"-c", "srv01", "--user=CORP\\mon", "--ssl", "service", "Spooler", "--json", "-p", "6000"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->computer, "srv01");
    EXPECT_EQ(options->user, "CORP\\mon");
    EXPECT_TRUE(options->ssl);
    EXPECT_TRUE(options->json);
    EXPECT_EQ(options->command, "service");
    EXPECT_EQ(options->arguments, std::vector<std::string>{"Spooler"});
    EXPECT_EQ(options->EffectivePort(), 6000);
}

TEST(CliOptions, PortFollowsTheScheme) {
    EXPECT_EQ(Parse({"memory"})->EffectivePort(), 5985);
    EXPECT_EQ(Parse({"--ssl", "memory"})->EffectivePort(), 5986);
}

TEST(CliOptions, RefusesPasswordsOnTheCommandLineAndBadValues) {
    std::string error;
    EXPECT_FALSE(Parse({"--password", "secret", "memory"}, &error));
    EXPECT_NE(error.find("--password-file"), std::string::npos);
    EXPECT_FALSE(Parse({"--port", "70000", "memory"}, &error));
    EXPECT_NE(error.find("--port"), std::string::npos);
    EXPECT_FALSE(Parse({"--sleep-ms", "-1", "cpu"}, &error));
    EXPECT_FALSE(Parse({"--computer"}, &error));
    EXPECT_NE(error.find("needs a value"), std::string::npos);
    EXPECT_FALSE(Parse({"--bogus", "memory"}, &error));
    EXPECT_FALSE(Parse({}, &error));
    EXPECT_TRUE(Parse({"--help"}));
}

TEST(CliOptions, NegativeThresholdsSwitchMeasuresOff) {
    auto options = Parse({"--cpu-threshold", "-1", "--memory-counter", "3", "process-usage", "sqlservr.exe"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->cpuThreshold, -1);
    EXPECT_EQ(options->memoryCounter, 3u);
}

TEST(Commands, EveryExportHasASubcommandAndActionsAskFirst) {
    const std::vector<std::string> expected = {
        "domain", "cpu", "disks", "disk-space", "memory", "printers", "printer", "processes", "process",
        "process-usage", "pools", "pool", "queues", "queue", "services", "service", "share", "sessions", "counter",
        "usb-drives", "users", "groups", "members", "nics", "nic", "restart-service", "reboot", "classes",
        "instances", "properties"};
    EXPECT_EQ(AllCommands().size(), expected.size());
    for (const std::string& name : expected) EXPECT_NE(FindCommand(name), nullptr) << name;
    EXPECT_TRUE(FindCommand("reboot")->changesComputer);
    EXPECT_TRUE(FindCommand("restart-service")->changesComputer);
    EXPECT_FALSE(FindCommand("services")->changesComputer);
    EXPECT_TRUE(FindCommand("pool")->webAdministration);
    EXPECT_EQ(FindCommand("counter")->minArgs, 2u);
    EXPECT_EQ(FindCommand("counter")->maxArgs, 3u);
}

}  // namespace
}  // namespace qncli
