#pragma once
// vantor-vss prune [--older-than DURATION] [--group ADDRESS] [--include-unowned]
// [--include-transportable] [--apply]: the snapshots that shadow copies of this host left
// behind and nothing uses any more -- not referred to by a shadow copy, offline, without a
// session, older than DURATION (any age for a set in the provider's journal of abandoned sets).
// Without --apply it only lists them.
#include <chrono>
#include <optional>
#include <string>

#include "Report.h"
#include "ShadowCopyInventory.h"
#include "SnapshotSetReferences.h"

namespace vantorvss {

struct PruneOptions {
  std::optional<std::string> group;
  std::chrono::seconds olderThan = std::chrono::hours(24);
  PruneScope scope;
  bool apply = false;
  bool progress = false;  // progress lines on standard error
};

// 0 when everything it meant to do was done, 1 otherwise (a group that could not be read, a
// snapshot that could not be deleted). An array that fails outright stops the prune; what was
// deleted until then is reported.
int RunPrune(const PruneOptions& options, const SnapshotSetReferences& references, Report& report);

}  // namespace vantorvss
