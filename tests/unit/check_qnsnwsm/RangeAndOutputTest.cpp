// Threshold ranges, the -t option, mode preparation and the status line, as a monitoring core reads them.
#include <gtest/gtest.h>

#include "Output.h"
#include "Plugin.h"
#include "PluginOptions.h"
#include "Range.h"

namespace qncheck {
namespace {

TEST(RangeTest, EachFormAlertsOutsideItsEdgesAndAtInvertsIt) {
    struct Case {
        const char* range;
        double value;
        bool alerts;
    };
    const Case cases[] = {
        {"10", -0.01, true},    {"10", 0, false},        {"10", 10, false},    {"10", 10.5, true},
        {"10:", 9.99, true},    {"10:", 10, false},      {"10:", 1e9, false},  {"~:10", -1e9, false},
        {"~:10", 10, false},    {"~:10", 10.01, true},   {"10:20", 9, true},   {"10:20", 10, false},
        {"10:20", 20, false},   {"10:20", 21, true},     {"@10:20", 10, true}, {"@10:20", 20, true},
        {"@10:20", 9.9, false}, {"@10:20", 20.1, false}, {"@5", 0, true},      {"-5:-1", -3, false},
        {"1.5:2.5", 2.6, true}, {":5", 6, true},
    };
    for (const Case& c : cases) {
        std::string error;
        const std::optional<Range> range = Range::Parse(c.range, error);
        ASSERT_TRUE(range) << c.range << ": " << error;
        EXPECT_EQ(range->Alerts(c.value), c.alerts) << c.range << " with " << c.value;
    }
}

TEST(RangeTest, TextThatIsNoRangeIsRefusedWithAReason) {
    for (const char* text : {"", "@", "abc", "10:5", "~:", "1:2:3", "10%", "~10", "5:x", "nan", "inf:"}) {
        std::string error;
        EXPECT_FALSE(Range::Parse(text, error)) << text;
        EXPECT_NE(error.find("not a range"), std::string::npos) << text << ": " << error;
    }
}

TEST(RangeTest, CriticalOutranksWarning) {
    std::string error;
    const Thresholds t{Range::Parse("80", error), Range::Parse("90", error)};
    EXPECT_EQ(t.Evaluate(50), State::Ok);
    EXPECT_EQ(t.Evaluate(85), State::Warning);
    EXPECT_EQ(t.Evaluate(95), State::Critical);
}

TEST(TimeoutOptionTest, SecondsAndAnOptionalState) {
    PluginOptions o;
    std::string error;
    ASSERT_TRUE(ParseTimeout("2.5:critical", o, error));
    EXPECT_EQ(o.timeoutSeconds, 2.5);
    EXPECT_EQ(o.timeoutState, State::Critical);
    for (const char* bad : {"0", "-1", "x", "5:maybe", ":2", "100000"})
        EXPECT_FALSE(ParseTimeout(bad, o, error)) << bad;
}

// PrepareMode on the options of a command line naming a computer.
std::optional<PreparedMode> Prepare(std::vector<const char*> args, std::string& error) {
    args.insert(args.begin(), {"check_qnsnwsm", "-H", "pc1"});
    const ParseOutcome parsed = ParseCommandLine(static_cast<int>(args.size()), args.data());
    EXPECT_EQ(parsed.status, ParseStatus::Run) << parsed.error;
    return PrepareMode(parsed.options, error);
}

TEST(PrepareModeTest, MisuseIsRefusedBeforeAnyConnection) {
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"-m", "bogus"}, "unknown mode"},
        {{"-m", "service"}, "takes -a NAME"},
        {{"-m", "cpu", "-a", "0", "-a", "1"}, "takes [-a CPU]"},
        {{"-m", "disks", "-w", "1"}, "takes no thresholds"},
        {{"-m", "memory", "--metric", "free"}, "no measurement 'free'"},
        {{"-m", "cpu", "-w", "10:5"}, "start is above its end"},
    };
    for (const auto& [args, reason] : cases) {
        std::string error;
        EXPECT_FALSE(Prepare(args, error)) << args[1];
        EXPECT_NE(error.find(reason), std::string::npos) << args[1] << ": " << error;
    }
}

TEST(PrepareModeTest, DefaultsApplyOnlyWithoutThresholdsOrMetric) {
    std::string error;
    auto prepared = Prepare({"-m", "disk-space"}, error);
    ASSERT_TRUE(prepared) << error;
    EXPECT_EQ(prepared->metric, "free_pct");
    EXPECT_EQ(prepared->thresholds.critical->Text(), "5:");
    prepared = Prepare({"-m", "disk-space", "-c", "2:"}, error);
    ASSERT_TRUE(prepared) << error;
    EXPECT_FALSE(prepared->thresholds.warning);
    EXPECT_EQ(prepared->thresholds.critical->Text(), "2:");
}

TEST(OutputTest, StatusLinePerfdataAndLongOutput) {
    Outcome outcome{State::Warning, "C: low | odd", {}, {"line one", "two\nparts"}};
    outcome.perfdata.push_back({"C: free", 12.5, "MB", "10:", "5:", 0.0, 100.0});
    outcome.perfdata.push_back({"it's", 3, "", "", "", std::nullopt, std::nullopt});
    EXPECT_EQ(Render("disk-space", outcome),
              "QNSNWSM DISK-SPACE WARNING - C: low / odd | 'C: free'=12.5MB;10:;5:;0;100 'it''s'=3\n"
              "line one\ntwo parts\n");
    EXPECT_EQ(Render("", {State::Unknown, "usage", {}, {}}), "QNSNWSM UNKNOWN - usage\n");
}

}  // namespace
}  // namespace qncheck
