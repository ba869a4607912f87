#include "checks/CheckText.h"

#include <limits>
#include <memory>
#include <string_view>

#include "base/QncText.h"
#include "platform/WsmanAutomation.h"

namespace qn::checks {

namespace {

bool IsCSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

}  // namespace

std::int64_t ParseInt64(const char* text) {
    if (text == nullptr) {
        return 0;
    }
    while (IsCSpace(*text)) {
        ++text;
    }
    bool negative = false;
    if (*text == '-' || *text == '+') {
        negative = *text == '-';
        ++text;
    }
    // Accumulate as a negative number so that the most negative value is reachable without overflow.
    constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
    std::int64_t value = 0;
    bool overflow = false;
    for (; *text >= '0' && *text <= '9'; ++text) {
        const int digit = *text - '0';
        if (overflow) {
            continue;
        }
        if (value < (kMin + digit) / 10) {
            overflow = true;
            continue;
        }
        value = value * 10 - digit;
    }
    if (overflow) {
        return negative ? kMin : std::numeric_limits<std::int64_t>::max();
    }
    if (negative) {
        return value;
    }
    return value == kMin ? std::numeric_limits<std::int64_t>::max() : -value;
}

std::int32_t ParseInt32(const char* text) {
    const std::int64_t value = ParseInt64(text);
    if (value > std::numeric_limits<std::int32_t>::max()) {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (value < std::numeric_limits<std::int32_t>::min()) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(value);
}

std::uint32_t BytesToMiB(std::int64_t bytes) {
    return static_cast<std::uint32_t>(bytes / (1LL << 20));
}

void AppendBracketed(CQncString& list, const char* name) {
    if (!list.IsEmpty()) {
        list.Append(",");
    }
    list.Append("[").Append(name).Append("]");
}

void UseCheckSeparators(CQncListString& list) {
    list.separator = "||";
    list.separatorLength = 2;
    list.altSeparator = ";;";
}

namespace {

void FoldInto(std::string_view text, std::string& key) {
    key.assign(text);
    for (char& c : key) {
        c = QncToUpperAscii(c);
    }
}

std::string FoldedKey(const char* text) {
    std::string key;
    FoldInto(text, key);
    return key;
}

}  // namespace

UniqueNames::UniqueNames(CQncListString& list) : list_(list) {
    for (CQncListNode* node = list_.GetHead(); node != nullptr; node = node->next) {
        seen_.insert(FoldedKey(static_cast<CQnsString*>(node->item)->text.GetText()));
    }
}

void UniqueNames::Add(const char* text) {
    // Most names of a large list are repeats: they are looked up before anything is allocated for them.
    FoldInto(QncTrimmed(text != nullptr ? text : ""), key_);
    if (seen_.contains(key_)) return;
    seen_.insert(key_);
    auto item = std::make_unique<CQnsString>(text);
    item->text.Trim();
    if (list_.Add(item.get(), 1) == 1) {
        item.release();  // the list owns it now
    }
}

void SortAndJoin(CQncListString& list, CQncString& out) {
    list.Sort();
    list.Join(out, -1);
}

void BuildClassUri(const char* wmiNamespace, const char* classAndSelector, CQncString& uri) {
    uri = qn::platform::kWmiResourceUriPrefix;
    uri.AppendCharIfMissing('/');
    uri.Append(wmiNamespace);
    uri.AppendCharIfMissing('/');
    uri.Append(classAndSelector);
    uri.ReplaceAll("\\", "/");
}

void BuildMethodInput(const char* method, const char* classPath, CQncString& input) {
    input = "<p:";
    input.Append(method)
        .Append("_INPUT xmlns:p=\"")
        .Append(qn::platform::kWmiResourceUriPrefix)
        .Append(classPath);
    input.Append("\"></p:").Append(method).Append("_INPUT>");
}

}  // namespace qn::checks
