// Printing results: a readable table for people, JSON for scripts.
#pragma once

#include <ostream>
#include <vector>

#include "CheckResult.h"

namespace qncli {

void RenderTable(const CheckResult& result, std::ostream& out);
void RenderJson(const CheckResult& result, std::ostream& out);
// Several results (the `all` and `demo` commands): a summary line per check and the details.
void RenderTableReport(const std::vector<CheckResult>& results, std::ostream& out);
void RenderJsonReport(const std::vector<CheckResult>& results, std::ostream& out);

}  // namespace qncli
