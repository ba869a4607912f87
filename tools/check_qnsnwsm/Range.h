// Threshold ranges in the Monitoring Plugins syntax: "10", "10:", "~:10", "10:20", "@10:20". A value outside
// the range (edges included in it) alerts; "@" alerts inside it instead.
#pragma once

#include <optional>
#include <string>

#include "State.h"

namespace qncheck {

class Range {
  public:
    // nullopt with `error` set for text that is not a range.
    static std::optional<Range> Parse(const std::string& text, std::string& error);

    bool Alerts(double value) const;
    const std::string& Text() const { return text_; }

  private:
    std::string text_;
    std::optional<double> start_;  // none: minus infinity
    std::optional<double> end_;    // none: infinity
    bool inverted_ = false;
};

struct Thresholds {
    std::optional<Range> warning;
    std::optional<Range> critical;

    State Evaluate(double value) const;
    bool Empty() const { return !warning && !critical; }
};

}  // namespace qncheck
