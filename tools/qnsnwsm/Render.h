// Printing results: a readable table for people, JSON for scripts.
#pragma once

#include <ostream>
#include <vector>

#include "CheckResult.h"

namespace qncli {

void RenderTable(const qnhost::CheckResult& result, std::ostream& out);
void RenderJson(const qnhost::CheckResult& result, std::ostream& out);
// Several results (the `all` and `demo` commands): a summary line per check and the details.
void RenderTableReport(const std::vector<qnhost::CheckResult>& results, std::ostream& out);
void RenderJsonReport(const std::vector<qnhost::CheckResult>& results, std::ostream& out);

}  // namespace qncli
