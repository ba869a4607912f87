// The exporter's pure parts: configuration errors, exposition text, targets and the module store copy.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>

#include "ExporterConfig.h"
#include "MetricText.h"
#include "ModuleStore.h"
#include "Prober.h"

namespace qnexporter {
namespace {

std::optional<ExporterConfig> Load(const std::string& yaml, std::string& error) {
    const std::string path = testing::TempDir() + "exporter-test.yml";
    std::ofstream(path) << yaml;
    return LoadConfig(path, error);
}

const char* const kAuth = "auths:\n  a:\n    username: 'LAB\\u'\n    password_env: EXPORTER_TEST_PW\n";

TEST(ExporterConfig, ReadsTheDocumentedFormAndNamesEveryMistake) {
    setenv("EXPORTER_TEST_PW", "secret", 1);
    std::string error;
    const std::string module = std::string(kAuth) + "modules:\n  w:\n    auth: a\n    collectors: ";
    const auto config = Load(module + "[cpu, service]\n    services: [Spooler]\n", error);
    ASSERT_TRUE(config) << error;
    EXPECT_EQ(config->auths.at("a").password, "secret");
    EXPECT_EQ(config->auths.at("a").port, 5985);
    EXPECT_TRUE(config->modules.at("w").allDrives);
    EXPECT_EQ(config->passwordVariables.count("EXPORTER_TEST_PW"), 1u);

    const struct {
        std::string yaml;
        std::string message;
    } cases[] = {
        {"auths: [", "not valid YAML"},
        {std::string(kAuth) + "modules:\n  w:\n    auth: b\n    collectors: [cpu]\n", "unknown auth 'b'"},
        {module + "[gpu]\n", "unknown collector 'gpu'"},
        {module + "[service]\n", "needs its list"},
        {module + "[]\n", "at least one collector"},
        {module + "[pool, cpu]\n    pools: [p]\n", "module of its own"},
        {module + "[cpu]\n    cpu: [x]\n", "unknown key 'cpu'"},
        {"auths:\n  a:\n    username: u\n    password: x\nmodules: {}\n", "unknown key 'password'"},
        {"auths:\n  a:\n    username: u\nmodules: {}\n", "needs password_file or password_env"},
        {"auths:\n  a:\n    username: u\n    password_env: EXPORTER_TEST_UNSET\nmodules: {}\n", "is not set"},
        {"auths:\n  a:\n    username: u\n    password_file: /nonexistent\nmodules: {}\n", "/nonexistent"},
        {"auths:\n  a:\n    scheme: ntlm\n  b:\n    scheme: basic\nmodules: {}\n", "one scheme per process"},
        {"exporter:\n  default_timeout: soon\n" + std::string(kAuth), "not a duration"},
        {"exporter:\n  max_sessions: 0\n" + std::string(kAuth), "whole number"},
        {module + "[wmi]\n    counters:\n      - {metric: Bad-Name, class: c, property: p}\n", "lower-case"},
    };
    for (const auto& c : cases) {
        error.clear();
        EXPECT_FALSE(Load(c.yaml, error)) << c.yaml;
        EXPECT_NE(error.find(c.message), std::string::npos) << c.yaml << "\n" << error;
    }
}

TEST(MetricText, GroupsFamiliesEscapesLabelsAndDropsRepeatedSeries) {
    MetricSet set;
    set.Add("a", MetricType::Gauge, "help \\ with\nbreak", {{"name", "x\"y\\z\nw"}}, 0.25);
    set.Add("b_total", MetricType::Counter, "b", {}, 3);
    set.Add("a", MetricType::Gauge, "ignored", {{"name", "second"}}, 1e21);
    set.Add("a", MetricType::Gauge, "ignored", {{"name", "second"}}, 7);
    EXPECT_EQ(set.Text(),
              "# HELP a help \\\\ with\\nbreak\n# TYPE a gauge\na{name=\"x\\\"y\\\\z\\nw\"} 0.25\n"
              "a{name=\"second\"} 1e+21\n# HELP b_total b\n# TYPE b_total counter\nb_total 3\n");
}

TEST(ProbeTarget, AcceptsComputerNamesOnly) {
    const struct {
        const char* text;
        const char* host;
        int port;  // 0: refused
    } cases[] = {{"srv01", "srv01", 5985},
                 {"srv01.corp.example:5986", "srv01.corp.example", 5986},
                 {"10.0.0.1:15985", "10.0.0.1", 15985},
                 {"[fe80::1]:5985", "fe80::1", 5985},
                 {"[::1]", "::1", 5985},
                 {"", "", 0},
                 {"a@b", "", 0},
                 {"a/b", "", 0},
                 {"host:", "", 0},
                 {"host:70000", "", 0},
                 {"host:0", "", 0},
                 {"[::1", "", 0},
                 {"a b", "", 0}};
    for (const auto& c : cases) {
        const auto parsed = ParseTarget(c.text, 5985);
        ASSERT_EQ(parsed.has_value(), c.port != 0) << c.text;
        if (parsed) {
            EXPECT_EQ(*parsed, std::make_pair(std::string(c.host), static_cast<std::uint16_t>(c.port)));
        }
    }
}

TEST(ModuleStore, OverridesWinRmValuesAndKeepsTheRest) {
    const std::string section = "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]";
    const std::vector<std::pair<std::string, std::string>> values{{"OperationTimeoutMs", "900"}};
    EXPECT_EQ(
        WithWinRmValues("; note\n[hkey_local_machine\\software\\quillon\\sentrel\\server\\winrm]\n"
                        "operationtimeoutms=60000\nAuthScheme=NTLM\n",
                        values),
        "; note\n[hkey_local_machine\\software\\quillon\\sentrel\\server\\winrm]\nOperationTimeoutMs=900\n"
        "AuthScheme=NTLM\n");
    EXPECT_EQ(WithWinRmValues("[Other]\nOperationTimeoutMs=1\n", values),
              "[Other]\nOperationTimeoutMs=1\n\n" + section + "\nOperationTimeoutMs=900\n");
}

}  // namespace
}  // namespace qnexporter
