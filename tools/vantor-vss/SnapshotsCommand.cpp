#include "SnapshotsCommand.h"

#include <cstdio>
#include <memory>

#include "Commands.h"
#include "ShadowCopyInventory.h"

namespace vantorvss {

nlohmann::json SnapshotJson(const ShadowCopySnapshot& s) {
  const auto& r = s.snapshot;
  nlohmann::json sessions = nlohmann::json::array();
  if (r.mNumConnections.value_or(0) > 0)
    for (const auto& initiator : r.mInitiators) sessions.push_back(initiator);
  return {{"group", s.group},
          {"owner", r.mOwner ? nlohmann::json(r.mOwner->host) : nlohmann::json()},
          {"ownership", OwnershipText(s.ownership)},
          {"transportable", r.mOwner ? nlohmann::json(r.mOwner->IsTransportable()) : nlohmann::json()},
          {"set_id", r.mSnapshotSetId},
          {"name", r.mName},
          {"serial_number", r.mSerialNumber},
          {"parent_volume", r.mVolName},
          {"creation_time", r.mCreationTime ? nlohmann::json(*r.mCreationTime) : nlohmann::json()},
          {"online", r.mOnline ? nlohmann::json(*r.mOnline) : nlohmann::json()},
          {"sessions", sessions},
          {"referenced", s.referenced},
          {"abandoned", s.abandoned}};
}

std::string SnapshotTableLine(const ShadowCopySnapshot& s) {
  const auto& r = s.snapshot;
  const std::string created = r.mCreationTime ? UtcText(*r.mCreationTime) : "(unknown)";
  const std::string state = !r.mOnline ? "?" : *r.mOnline ? "online" : "offline";
  const std::string sessions = !r.mNumConnections ? "?" : std::to_string(*r.mNumConnections);
  const std::string owner = r.mOwner ? r.mOwner->host + (r.mOwner->IsTransportable() ? " (transp.)" : "")
                                     : "(" + std::string(OwnershipText(s.ownership)) + ")";
  char line[512];
  std::snprintf(line, sizeof line, "%-16s %-24s %-32s %-20s %-20s %-7s %-8s %-3s", s.group.c_str(), owner.c_str(),
                r.mSerialNumber.c_str(), r.mVolName.c_str(), created.c_str(), state.c_str(), sessions.c_str(),
                s.referenced ? "yes" : "no");
  return std::string(line) + "  " + r.mSnapshotSetId + (s.abandoned ? " (abandoned)" : "");
}

int RunSnapshots(const std::optional<std::string>& group, const SnapshotSetReferences& references, Report& report) {
  ShadowCopyInventory inventory(group);
  inventory.Load(references);
  nlohmann::json list = nlohmann::json::array();
  char header[256];
  std::snprintf(header, sizeof header, "%-16s %-24s %-32s %-20s %-20s %-7s %-8s %-3s  %s", "group", "owner", "serial number",
                "parent volume", "created (UTC)", "state", "sessions", "ref", "snapshot set");
  report.notes.push_back(header);
  for (const auto& s : inventory.Snapshots()) {
    list.push_back(SnapshotJson(s));
    report.notes.push_back(SnapshotTableLine(s));
  }
  if (inventory.Snapshots().empty()) report.notes.push_back("no snapshot made by a shadow copy");
  for (const auto& failure : inventory.Failures())
    report.notes.push_back("cannot read group " + failure.group + ": " + failure.reason);
  report.extra["snapshots"] = list;
  nlohmann::json abandoned = nlohmann::json::array();
  for (const auto& entry : inventory.AbandonedSets()) {
    abandoned.push_back({{"set_id", entry.setId}, {"group_id", entry.groupUid}, {"given_up", UtcText(entry.givenUpAt)},
                         {"malformed", entry.malformed}});
    report.notes.push_back("abandoned set " + (entry.malformed ? "'" + entry.valueName + "' (malformed)" : entry.setId) +
                           " on group id " + entry.groupUid + ", given up " + UtcText(entry.givenUpAt));
  }
  report.extra["abandoned_sets"] = abandoned;
  return inventory.Failures().empty() ? 0 : 1;
}

std::unique_ptr<SnapshotSetReferences> HostReferences(const CommandContext& where) {
#ifdef _WIN32
  if (where.hostDir.empty()) return VssReferences();
#endif
  return DocumentReferences(where.documentFile);
}

void AddSnapshotsCommand(CLI::App& app, CommandAction& chosen) {
  auto group = std::make_shared<std::string>();
  auto* command = app.add_subcommand("snapshots", "the snapshots shadow copies made on the groups, and which are still used");
  command->add_option("--group", *group, "only this group (management address)");
  command->callback([group, &chosen] {
    chosen = [group](const CommandContext& where, Report& report) {
      return RunSnapshots(group->empty() ? std::nullopt : std::optional(*group), *HostReferences(where), report);
    };
  });
}

}  // namespace vantorvss
