#include "Range.h"

#include <cmath>
#include <cstdlib>

namespace qncheck {

namespace {

std::optional<double> ParseNumber(const std::string& text) {
    if (text.empty()) return std::nullopt;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || !std::isfinite(value)) return std::nullopt;
    return value;
}

}  // namespace

std::optional<Range> Range::Parse(const std::string& text, std::string& error) {
    Range range;
    range.text_ = text;
    std::string body = text;
    if (!body.empty() && body.front() == '@') {
        range.inverted_ = true;
        body.erase(0, 1);
    }
    const auto fail = [&]() -> std::optional<Range> {
        error = "'" + text + "' is not a range (use N, N:, ~:N, N:M or @N:M)";
        return std::nullopt;
    };
    const std::size_t colon = body.find(':');
    if (colon == std::string::npos) {
        // "N": from 0 to N.
        range.start_ = 0.0;
        range.end_ = ParseNumber(body);
        if (!range.end_) return fail();
    } else {
        const std::string start = body.substr(0, colon);
        const std::string end = body.substr(colon + 1);
        if (start != "~") {
            range.start_ = start.empty() ? std::optional<double>(0.0) : ParseNumber(start);
            if (!range.start_) return fail();
        }
        if (!end.empty()) {
            range.end_ = ParseNumber(end);
            if (!range.end_) return fail();
        }
        if (start == "~" && end.empty()) return fail();
    }
    if (range.start_ && range.end_ && *range.start_ > *range.end_) {
        error = "'" + text + "' is not a range: its start is above its end";
        return std::nullopt;
    }
    return range;
}

bool Range::Alerts(double value) const {
    const bool inside = (!start_ || value >= *start_) && (!end_ || value <= *end_);
    return inverted_ ? inside : !inside;
}

State Thresholds::Evaluate(double value) const {
    if (critical && critical->Alerts(value)) return State::Critical;
    if (warning && warning->Alerts(value)) return State::Warning;
    return State::Ok;
}

}  // namespace qncheck
