#pragma once
// The snapshots that shadow copies left on this host's array groups, read group by group, and
// the rule that says which of them may be deleted. Shared by the snapshots and prune commands.
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SnapshotSetReferences.h"
#include "array/RestCallShadowCopySnapshots.h"
#include "discovery/GroupCredentials.h"
#include "provider/AbandonedSets.h"

namespace Vantor {
class Array;
}

namespace vantorvss {

// Whose a listed snapshot is, by its owner pair: this host's, another host's, one made by an
// earlier version (no owner pair), or one whose owner pair does not parse.
enum class Ownership { ThisHost, OtherHost, Unowned, Malformed };
Ownership OwnershipOf(const Vantor::ShadowCopySnapshotRecord& r, const std::string& thisHost);
// "this host", "other host", "none", "malformed".
const char* OwnershipText(Ownership ownership);

struct ShadowCopySnapshot {
  std::string group;  // management address
  Vantor::ShadowCopySnapshotRecord snapshot;
  bool referenced = false;
  bool abandoned = false;  // the provider gave its set up: no age threshold keeps it
  Ownership ownership = Ownership::Unowned;
};

// What prune may take beyond this host's own snapshots of sets that are not transportable.
// Another host's snapshot, or one with a malformed owner tag, is never taken.
struct PruneScope {
  bool includeUnowned = false;
  bool includeTransportable = false;
};

struct GroupFailure {
  std::string group;
  std::string reason;
};

// Why a listed snapshot must stay, or none when it may be deleted: it is this host's (or
// `scope` admits it), not referred to by a shadow copy, offline, without a session, and at
// least `olderThan` old at `now` (seconds since 1970 UTC). Anything the array did not say
// counts against deleting.
std::optional<std::string> ReasonToKeep(const ShadowCopySnapshot& s, std::int64_t now, std::chrono::seconds olderThan,
                                        const PruneScope& scope = {});

class ShadowCopyInventory {
 public:
  // The configured and discovered groups of this host, or only `group`; throws
  // std::invalid_argument when `group` is not one of them.
  explicit ShadowCopyInventory(const std::optional<std::string>& group);
  ~ShadowCopyInventory();
  ShadowCopyInventory(const ShadowCopyInventory&) = delete;
  ShadowCopyInventory& operator=(const ShadowCopyInventory&) = delete;

  // Lists every group in address order, each snapshot with its ownership as this computer's
  // name judges it; a group that cannot be read is reported in Failures() and the others are
  // still listed. Throws when `references` cannot answer.
  void Load(const SnapshotSetReferences& references);
  const std::vector<ShadowCopySnapshot>& Snapshots() const { return snapshots_; }
  const std::vector<GroupFailure>& Failures() const { return failures_; }
  // The provider's journal of abandoned sets as Load read it.
  const std::vector<provider::AbandonedSet>& AbandonedSets() const { return abandoned_; }

  // Deletes one listed snapshot on its array, with a trace line before and after. Throws with
  // the array's reason when the array refuses or fails.
  void Delete(const ShadowCopySnapshot& s);

 private:
  Vantor::Array& Connection(const std::string& group);

  GroupCredentialMap groups_;
  std::map<std::string, std::unique_ptr<Vantor::Array>> connections_;
  std::vector<ShadowCopySnapshot> snapshots_;
  std::vector<GroupFailure> failures_;
  std::vector<provider::AbandonedSet> abandoned_;
};

// "2026-11-23T20:15:00Z"
std::string UtcText(std::int64_t secondsSince1970);

}  // namespace vantorvss
