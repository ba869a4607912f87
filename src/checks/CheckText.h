// Small text and number helpers that every check family shares: the number conversions the checks apply to
// WMI property texts, the byte-to-MiB scaling, the result words of the exit lines and the name lists.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>

#include "base/QncList.h"
#include "base/QncString.h"

namespace qn::checks {

// The status words of every exit line.
inline const char* ResultWord(int status) {
    return status == 0 ? "completed" : "failed";
}

// _atoi64: leading white space skipped, an optional sign, decimal digits up to the first other character.
// Empty or unparsable text gives 0; values beyond the range saturate.
std::int64_t ParseInt64(const char* text);
// atol with a 32-bit long, as on Windows: the same rules, saturating at the 32-bit range.
std::int32_t ParseInt32(const char* text);

// Bytes to mebibytes: signed division by 2^20 truncating toward zero, kept in 32 bits.
std::uint32_t BytesToMiB(std::int64_t bytes);

// Appends "[name]" to a list of bracketed names, with a "," only when the list is not empty.
void AppendBracketed(CQncString& list, const char* name);

// Sets a list up the way every check that gathers names joins it: "||" between entries (counted as two
// characters) and ";;" as the field separator.
void UseCheckSeparators(CQncListString& list);

// Adds texts to a name list the way its AddString does (trimmed, once each without regard to case, the
// first spelling kept), but with a hash lookup: AddString compares every new name with every listed one,
// which large computers with thousands of processes or services would feel.
class UniqueNames {
  public:
    explicit UniqueNames(CQncListString& list);
    void Add(const char* text);

  private:
    CQncListString& list_;
    std::unordered_set<std::string> seen_;
    std::string key_;  // the folded name being added, its buffer kept from name to name
};

// Sorts the list and joins it into `out` with no length limit; the export truncates to the caller's buffer.
void SortAndJoin(CQncListString& list, CQncString& out);

// The resource URI of a WMI class (with an optional "?Key=value" selector) in a namespace: the WMI resource
// URI prefix, the namespace and `classAndSelector`, with "/" between them where missing and every
// backslash turned into "/" (a namespace written with backslashes works as well).
void BuildClassUri(const char* wmiNamespace, const char* classAndSelector, CQncString& uri);

// The empty input element of a WMI method: <p:{method}_INPUT
// xmlns:p="{prefix}{classPath}"></p:{method}_INPUT>. `classPath` is a fixed namespace and class such as
// "root/cimv2/Win32_Service".
void BuildMethodInput(const char* method, const char* classPath, CQncString& input);

}  // namespace qn::checks
