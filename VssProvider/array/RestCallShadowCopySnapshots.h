#pragma once
// The snapshots that shadow copies made on a group: every snapshot whose metadata carries the
// snapshot set id the commit wrote ("vss_vs_snapshot_set_id"), with what an administrator needs
// to decide whether it may go. A snapshot without that key, or whose key does not hold a set
// id, was made by someone else and is left out.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "array/RestCallSnapshot.h"
#include "array/SnapshotOwner.h"

namespace Vantor {

struct ShadowCopySnapshotRecord {
  std::string mId;
  std::string mName;
  std::string mSerialNumber;
  std::string mVolName;
  std::string mSnapshotSetId;  // "{...}", lower case
  // The owner pair's value as the array holds it (none: the snapshot names no owner, as those
  // of earlier versions do), and the owner it names when it is well formed.
  std::optional<std::string> mOwnerTag;
  std::optional<SnapshotOwner> mOwner;
  // Unknown when the array did not answer the attribute; an unknown value never counts as
  // safe to delete.
  std::optional<std::int64_t> mCreationTime;
  std::optional<bool> mOnline;
  std::optional<std::int64_t> mNumConnections;
  // The iSCSI initiators the snapshot's access list admits.
  std::vector<std::string> mInitiators;
};

// The snapshot set id in a snapshot's metadata, normalised; none when the snapshot has no
// metadata, no such key, or a value that is not a set id.
std::optional<std::string> ShadowCopySetIdOf(const VantorStorage::WS::v1::Snapshot& snapshot);
// The value of the owner pair, as it stands; none without one.
std::optional<std::string> OwnerTagOf(const VantorStorage::WS::v1::Snapshot& snapshot);

class RestCallFindShadowCopySnapshots final : public RestCallSnapshotBase {
 public:
  explicit RestCallFindShadowCopySnapshots(RestConnection& restConn) : RestCallSnapshotBase(restConn) {}
  // In the array's order (creation order).
  const std::vector<ShadowCopySnapshotRecord>& GetSnapshots() const { return mRecords; }

 protected:
  void Initialize() override;
  void Call() override;
  bool IsResultValid() const override { return mSnapshots != nullptr; }
  std::string GetInputDescription() const override { return "all snapshots"; }
  std::string GetName() const override { return "Get Shadow Copy Snapshots"; }
  std::string GetFailureMessage() const override { return "No snapshot list returned."; }
  void ProcessResult() override;

 private:
  VantorStorage::WS::v1::SnapshotListPtr mSnapshots;
  std::vector<ShadowCopySnapshotRecord> mRecords;
};

}  // namespace Vantor
