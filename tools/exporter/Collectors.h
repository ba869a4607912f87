// The collectors: each turns a few check exports into metrics. They read through the host library's one call
// per export and stop between calls once the probe that asked has given up waiting.
#pragma once

#include <atomic>
#include <string>

#include "ExporterConfig.h"
#include "MetricText.h"
#include "ModuleSession.h"

namespace qnexporter {

struct CollectorOutcome {
    bool success = true;      // every call completed
    bool answered = false;    // at least one call completed: the computer is there
    bool callFailed = false;  // a call came back failed (not merely skipped once the probe gave up)
    std::string firstError;   // for the log
};

// Runs `collector` of `module` on a connected handle, adding its metrics to `out`.
CollectorOutcome RunCollector(const std::string& collector, const Module& module, qnhost::ModuleHandle handle,
                              MetricSet& out, const std::atomic<bool>& abandoned);

// The collectors a module may name.
const std::vector<std::string>& KnownCollectors();

// The namespace a module's session reads: the IIS pools live in their own.
std::string NamespaceFor(const Module& module, const Auth& auth);

}  // namespace qnexporter
