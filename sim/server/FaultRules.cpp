#include "server/FaultRules.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <fstream>
#include <sstream>

namespace qnsim {
namespace {

bool EqualsIgnoreCase(const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

template <typename T>
std::optional<T> Number(const std::string& text) {
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// Applies one key[=value] word to the rule; false with `problem` set when it is not understood.
bool ApplyWord(const std::string& word, FaultRule& rule, std::string& problem) {
    const std::size_t equals = word.find('=');
    const std::string key = word.substr(0, equals);
    const std::string value = equals == std::string::npos ? std::string{} : word.substr(equals + 1);
    const bool hasValue = equals != std::string::npos && !value.empty();
    const auto needValue = [&]() {
        problem = "'" + key + "' needs a value";
        return false;
    };
    const auto badValue = [&]() {
        problem = "bad value '" + value + "' for '" + key + "'";
        return false;
    };
    if (key == "request") {
        if (!hasValue) return needValue();
        const std::size_t dash = value.find('-');
        const auto first = Number<std::uint64_t>(value.substr(0, dash));
        const auto last = dash == std::string::npos ? first : Number<std::uint64_t>(value.substr(dash + 1));
        if (!first || !last || *first == 0 || *last < *first) return badValue();
        rule.firstRequest = first;
        rule.lastRequest = last;
    } else if (key == "action" || key == "class" || key == "content-type") {
        if (!hasValue) return needValue();
        (key == "action" ? rule.action : key == "class" ? rule.className : rule.effect.contentType) = value;
    } else if (key == "times") {
        if (!hasValue) return needValue();
        if (!(rule.times = Number<std::uint32_t>(value))) return badValue();
    } else if (key == "status") {
        if (!hasValue) return needValue();
        const auto status = Number<unsigned>(value);
        if (!status || *status < 100 || *status > 599) return badValue();
        rule.effect.httpStatus = status;
    } else if (key == "fault") {
        if (!hasValue) return needValue();
        if (!(rule.effect.fault = FaultKindByName(value))) return badValue();
    } else if (key == "delay") {
        if (!hasValue) return needValue();
        const auto milliseconds = Number<std::uint32_t>(value);
        if (!milliseconds) return badValue();
        rule.effect.delay = std::chrono::milliseconds(*milliseconds);
    } else if (key == "truncate" || key == "oversize") {
        if (!hasValue) return needValue();
        const auto bytes = Number<std::size_t>(value);
        if (!bytes) return badValue();
        (key == "truncate" ? rule.effect.truncateAt : rule.effect.oversizeBy) = bytes;
    } else if (key == "drop" && !hasValue) {
        rule.effect.dropConnection = true;
    } else if (key == "malformed" && !hasValue) {
        rule.effect.malformedBody = true;
    } else if (key == "bad-signature" && !hasValue) {
        rule.effect.badSignature = true;
    } else {
        problem = "unknown word '" + word + "'";
        return false;
    }
    return true;
}

}  // namespace

std::unique_ptr<FaultRules> FaultRules::Parse(const std::string& text, const std::string& sourceName,
                                              std::string& error) {
    auto rules = std::make_unique<FaultRules>();
    std::istringstream in(text);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (const std::size_t hash = line.find('#'); hash != std::string::npos) line.erase(hash);
        std::istringstream words(line);
        FaultRule rule;
        rule.line = number;
        bool any = false;
        for (std::string word; words >> word; any = true) {
            std::string problem;
            if (!ApplyWord(word, rule, problem)) {
                error = sourceName + ":" + std::to_string(number) + ": " + problem;
                return nullptr;
            }
        }
        if (any) rules->rules_.push_back(std::move(rule));
    }
    rules->used_.assign(rules->rules_.size(), 0);
    return rules;
}

std::unique_ptr<FaultRules> FaultRules::Load(const std::string& path, std::string& error) {
    std::ifstream in(path);
    if (!in) {
        error = path + ": cannot be read";
        return nullptr;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return Parse(text.str(), path, error);
}

std::optional<FaultEffect> FaultRules::Match(std::uint64_t requestNumber, const std::string& shortAction,
                                             const std::string& className) {
    std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < rules_.size(); ++i) {
        const FaultRule& rule = rules_[i];
        if (rule.firstRequest && (requestNumber < *rule.firstRequest || requestNumber > *rule.lastRequest))
            continue;
        if (rule.action && !EqualsIgnoreCase(*rule.action, shortAction)) continue;
        if (rule.className && !EqualsIgnoreCase(*rule.className, className)) continue;
        if (rule.times && used_[i] >= *rule.times) continue;
        ++used_[i];
        return rule.effect;
    }
    return std::nullopt;
}

}  // namespace qnsim
