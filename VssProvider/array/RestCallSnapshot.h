#pragma once
// The requests on the group's snapshots: finding one by serial number or several by id,
// taking a consistent set of snapshots of several volumes in one request, onlining or
// offlining a snapshot and deleting one.
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "array/ArrayRecords.h"
#include "array/RestCall.h"
#include "restsdk/v1/GetParams.h"
#include "restsdk/v1/Snapshot.h"
#include "restsdk/v1/SnapshotObjectSet.h"
#include "restsdk/v1/VsSnapVol.h"
#include "restsdk/v1/VsSnapVolListReturn.h"

namespace Vantor {

// Shared ground of the snapshot requests: the snapshot object set of the connection's session.
class RestCallSnapshotBase : public RestCall {
 public:
  using RestCall::RestCall;

 protected:
  void Initialize() override;
  std::shared_ptr<VantorStorage::WS::v1::SnapshotObjectSet> mSnapshotSet;
  std::shared_ptr<VantorStorage::WS::v1::GetParams> mParams;
};

class RestCallFindSnapBySerial final : public RestCallSnapshotBase {
 public:
  RestCallFindSnapBySerial(RestConnection& restConn, std::string serialNumber)
      : RestCallSnapshotBase(restConn), mSerialNumber(std::move(serialNumber)) {}
  const SnapshotRecord& GetSnapshot() const { return mRecord; }

 protected:
  void Initialize() override;
  void Call() override;
  bool IsResultValid() const override { return mSnapshot != nullptr; }
  std::string GetInputDescription() const override { return "SerialNumber: " + mSerialNumber; }
  std::string GetName() const override { return "Get Snap by Serial Number"; }
  std::string GetFailureMessage() const override { return "No snapshot found."; }
  void ProcessResult() override;

 private:
  std::string mSerialNumber;
  std::shared_ptr<VantorStorage::WS::v1::Snapshot> mSnapshot;
  SnapshotRecord mRecord;
};

// Reads the complete records of the snapshots a bulk create made; all of them must come back.
class RestCallFindSnapshotsByIDs final : public RestCallSnapshotBase {
 public:
  RestCallFindSnapshotsByIDs(RestConnection& restConn, std::vector<std::string> snapshotIds)
      : RestCallSnapshotBase(restConn), mSnapshotIds(std::move(snapshotIds)) {}
  // In the order the array answered; handed over, so asked once.
  std::vector<SnapshotRecord> TakeSnapshots() { return std::move(mRecords); }

 protected:
  void Initialize() override;
  void Call() override;
  bool IsResultValid() const override;
  std::string GetInputDescription() const override;
  std::string GetName() const override { return "Get Snap List by their IDs"; }
  std::string GetFailureMessage() const override;
  void ProcessResult() override;

 private:
  std::vector<std::string> mSnapshotIds;
  VantorStorage::WS::v1::SnapshotListPtr mSnapshots;
  std::vector<SnapshotRecord> mRecords;
};

// One snapshot of each volume, taken by the array at one instant (all or nothing). Every
// snapshot is named after the snapshot set and carries the set's id in its metadata, so the
// snapshots of one set can be told apart on the array; with an owner tag (SnapshotOwner.h) a
// second pair names the host that made it and the set's context. A failed create is never repeated, not
// even after a 503: a create that the array gave up answering may still have taken its
// snapshots, and a second one would make a second set under the same names.
class RestCallSnapVolList final : public RestCallSnapshotBase {
 public:
  RestCallSnapVolList(RestConnection& restConn, std::string snapshotSetIdText, std::set<std::string> volumeIds,
                      std::string ownerTag = {})
      : RestCallSnapshotBase(restConn),
        mSnapshotSetIdText(std::move(snapshotSetIdText)),
        mVolumeIds(std::move(volumeIds)),
        mOwnerTag(std::move(ownerTag)) {}
  // Ids of the created snapshots, in the order the array answered.
  std::vector<std::string> GetCreatedSnapshotIds() const;
  // What the answer says about each snapshot made (id, name and parent volume name as far as
  // the array sent them), also when the answer failed its check; entries without an id are
  // left out. Empty when no answer came.
  std::vector<SnapshotRecord> GetCreatedSnapshots() const;
  // Whether the array said it is busy (HTTP 503). Never asked by the request framework: a bulk
  // create is not repeated, since a repeated one may take a second set of snapshots.
  bool IsServiceUnavailable(const VantorStorage::WS::GroupMgmtServerException& e) const;
  int GetMaxRetryCount() const override { return 3; }

 protected:
  void Initialize() override;
  void Call() override;
  bool IsResultValid() const override;
  std::string GetInputDescription() const override;
  std::string GetName() const override { return "SnapVolList"; }
  std::string GetFailureMessage() const override;
  void ProcessResult() override;

 private:
  std::size_t CreatedCount() const;

  std::string mSnapshotSetIdText;
  std::set<std::string> mVolumeIds;
  std::string mOwnerTag;  // empty: no owner pair
  VantorStorage::WS::v1::VsSnapVolList mRequest;
  std::shared_ptr<VantorStorage::WS::v1::VsSnapVolListReturn> mResult;
};

// Every snapshot that carries one name. A snapshot set's snapshots all carry the set's name,
// so this finds what a bulk create of the set left on the array, whether or not its answer
// ever came back. Only snapshots that really carry the name count, whatever else the array
// answered.
class RestCallFindSnapshotsByName final : public RestCallSnapshotBase {
 public:
  RestCallFindSnapshotsByName(RestConnection& restConn, std::string name)
      : RestCallSnapshotBase(restConn), mName(std::move(name)) {}
  // Id, name and parent volume name of each, in the order the array answered, once each.
  const std::vector<SnapshotRecord>& GetSnapshots() const { return mRecords; }

 protected:
  void Initialize() override;
  void Call() override;
  bool IsResultValid() const override { return mSnapshots != nullptr; }
  std::string GetInputDescription() const override { return "Snap name: " + mName; }
  std::string GetName() const override { return "Get Snap List by Name"; }
  std::string GetFailureMessage() const override { return "No snapshot list returned."; }
  void ProcessResult() override;

 private:
  std::string mName;
  VantorStorage::WS::v1::SnapshotListPtr mSnapshots;
  std::vector<SnapshotRecord> mRecords;
};

class RestCallDeleteSnapBySnapId final : public RestCallSnapshotBase {
 public:
  RestCallDeleteSnapBySnapId(RestConnection& restConn, std::string snapshotId)
      : RestCallSnapshotBase(restConn), mSnapshotId(std::move(snapshotId)) {}

 protected:
  void Call() override;
  std::string GetInputDescription() const override { return "Snap Id: " + mSnapshotId; }
  std::string GetName() const override { return "Delete Snapshot by Id"; }

 private:
  std::string mSnapshotId;
};

// A snapshot that already is in the asked state ("SM_ealready") counts as done.
class RestCallOnlineSnap final : public RestCallSnapshotBase {
 public:
  RestCallOnlineSnap(RestConnection& restConn, std::string snapshotId, bool online)
      : RestCallSnapshotBase(restConn), mSnapshotId(std::move(snapshotId)), mOnline(online) {}

 protected:
  void Call() override;
  std::string GetInputDescription() const override { return "Snap Id: " + mSnapshotId; }
  std::string GetName() const override;
  bool IsExceptionIgnorable(const VantorStorage::WS::GroupMgmtServerException& e) const override {
    return HasErrorCode(e, kAlreadyInStateErrorCode);
  }

 private:
  std::string mSnapshotId;
  bool mOnline;
};

}  // namespace Vantor
