#include <gtest/gtest.h>

#include "CliOptions.h"

namespace qncli {
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

}  // namespace
}  // namespace qncli
