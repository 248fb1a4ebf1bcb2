#include "ShadowCopyInventory.h"

#include <ctime>
#include <stdexcept>

#include "array/RestCallSnapshot.h"
#include "array/VaVssArrayWrapper.h"
#include "array/VantorArray.h"
#include "discovery/VantorGroupFinder.h"
#include "logger/FileLog.h"

namespace vantorvss {
namespace {

static constexpr const wchar_t* kLogSource = L"vantor-vss";

}  // namespace

Ownership OwnershipOf(const Vantor::ShadowCopySnapshotRecord& r, const std::string& thisHost) {
  if (!r.mOwnerTag) return Ownership::Unowned;
  if (!r.mOwner) return Ownership::Malformed;
  return r.mOwner->IsHost(thisHost) ? Ownership::ThisHost : Ownership::OtherHost;
}

const char* OwnershipText(Ownership ownership) {
  switch (ownership) {
    case Ownership::ThisHost:
      return "this host";
    case Ownership::OtherHost:
      return "other host";
    case Ownership::Malformed:
      return "malformed";
    case Ownership::Unowned:
      break;
  }
  return "none";
}

std::optional<std::string> ReasonToKeep(const ShadowCopySnapshot& s, std::int64_t now, std::chrono::seconds olderThan,
                                        const PruneScope& scope) {
  const auto& r = s.snapshot;
  switch (s.ownership) {
    case Ownership::OtherHost:
      return "made by host " + (r.mOwner ? r.mOwner->host : std::string("(unknown)"));
    case Ownership::Malformed:
      return "its owner tag is malformed";
    case Ownership::Unowned:
      if (!scope.includeUnowned) return "it names no owner (an earlier version made it; see --include-unowned)";
      break;
    case Ownership::ThisHost:
      if (r.mOwner && r.mOwner->IsTransportable() && !scope.includeTransportable)
        return "transportable: its backup document is not on this host (see --include-transportable)";
      break;
  }
  if (s.referenced) return "a shadow copy still refers to it";
  if (!r.mOnline) return "the array did not say whether it is online";
  if (*r.mOnline) return "online";
  if (!r.mNumConnections) return "the array did not say whether it has sessions";
  if (*r.mNumConnections > 0) return "has " + std::to_string(*r.mNumConnections) + " iSCSI session(s)";
  if (!r.mCreationTime) return "the array did not say when it was made";
  // A creation time ahead of this host's clock makes a negative age: never old enough.
  if (now - *r.mCreationTime < olderThan.count()) return "newer than the threshold";
  return std::nullopt;
}

std::string UtcText(std::int64_t secondsSince1970) {
  const std::time_t time = static_cast<std::time_t>(secondsSince1970);
  std::tm utc{};
#ifdef _WIN32
  if (gmtime_s(&utc, &time) != 0) return std::to_string(secondsSince1970);
#else
  if (gmtime_r(&time, &utc) == nullptr) return std::to_string(secondsSince1970);
#endif
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

ShadowCopyInventory::ShadowCopyInventory(const std::optional<std::string>& group) {
  VantorGroupFinder finder;
  GroupCredentialMap all;
  finder.DiscoverGroups(all);
  if (!group) {
    groups_ = std::move(all);
    return;
  }
  const auto found = all.find(*group);
  if (found == all.end())
    throw std::invalid_argument("group " + *group + " is not configured on this host (see 'config show')");
  groups_.insert(*found);
}

ShadowCopyInventory::~ShadowCopyInventory() = default;

Vantor::Array& ShadowCopyInventory::Connection(const std::string& group) {
  auto& connection = connections_[group];
  if (!connection) {
    const GroupCredential& credential = groups_.at(group);
    Vantor::Array::InitRest(kVssAgentName);
    connection = std::make_unique<Vantor::Array>(group, Vantor::LoginInfo(credential.userName, credential.password));
  }
  return *connection;
}

void ShadowCopyInventory::Load(const SnapshotSetReferences& references) {
  const std::set<std::string> referenced = references.ReferencedSets();
  const std::string thisHost = Vantor::ThisHostName();
  snapshots_.clear();
  failures_.clear();
  abandoned_ = provider::ReadAbandonedSets().value_or(std::vector<provider::AbandonedSet>{});
  std::set<std::string> abandonedSets;
  for (const auto& entry : abandoned_) abandonedSets.insert(entry.setId);
  for (const auto& [address, credential] : groups_) {
    try {
      Vantor::RestCallFindShadowCopySnapshots call(Connection(address));
      call.Execute();
      for (const auto& record : call.GetSnapshots())
        snapshots_.push_back({address, record, referenced.count(record.mSnapshotSetId) != 0,
                              abandonedSets.count(record.mSnapshotSetId) != 0, OwnershipOf(record, thisHost)});
    } catch (const std::exception& e) {
      VA_LOG(MSG_ERROR, L"Cannot list the snapshots of group %S: %S", address, std::string(e.what()));
      failures_.push_back({address, e.what()});
    }
  }
}

void ShadowCopyInventory::Delete(const ShadowCopySnapshot& s) {
  const auto& r = s.snapshot;
  VA_LOG(MSG_INFO, L"Pruning snapshot %S (serial %S) of volume %S, snapshot set %S, on group %S", r.mName,
         r.mSerialNumber, r.mVolName, r.mSnapshotSetId, s.group);
  try {
    Vantor::RestCallDeleteSnapBySnapId call(Connection(s.group), r.mId);
    call.Execute();
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"** Pruning snapshot %S failed: %S", r.mSerialNumber, std::string(e.what()));
    throw;
  }
  VA_LOG(MSG_INFO, L"Pruned snapshot %S.", r.mSerialNumber);
}

}  // namespace vantorvss
