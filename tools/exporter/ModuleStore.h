// The module reads its settings (timeouts, authentication scheme, TLS trust) from its configuration store.
// The exporter gives it a private copy of the machine's store with its own timeouts and scheme written in, so
// that no module call outlives a scrape by much and the administrator's file stays untouched.
#pragma once

#include <optional>
#include <string>

#include "ExporterConfig.h"

namespace qnexporter {

// Writes the copy into a new private folder and points QNSNWSM_REGISTRY at it (call before any thread
// starts). Returns the file's path, or nullopt with `error` set.
std::optional<std::string> UsePrivateModuleStore(const ExporterSettings& settings, std::string& error);

// `store` (the text of a store) with `values` set under the WinRM key; other lines are kept.
std::string WithWinRmValues(const std::string& store,
                            const std::vector<std::pair<std::string, std::string>>& values);

}  // namespace qnexporter
