#pragma once
// vantor-vss snapshots [--group ADDRESS]: every snapshot that a shadow copy made on this host's
// groups, and whether a shadow copy still refers to it.
#include <memory>
#include <optional>
#include <string>

#include "Report.h"
#include "SnapshotSetReferences.h"

namespace vantorvss {

struct ShadowCopySnapshot;

// One snapshot as the JSON list shows it, and as one line of the text table.
nlohmann::json SnapshotJson(const ShadowCopySnapshot& s);
std::string SnapshotTableLine(const ShadowCopySnapshot& s);

// 0 when every group could be read, 1 otherwise. Throws std::invalid_argument for a group
// that is not configured.
int RunSnapshots(const std::optional<std::string>& group, const SnapshotSetReferences& references, Report& report);

struct CommandContext;
// Who says which sets are referred to on the host the command runs on.
std::unique_ptr<SnapshotSetReferences> HostReferences(const CommandContext& where);

}  // namespace vantorvss
