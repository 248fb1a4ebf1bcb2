#pragma once
// The requests on the group's volumes: finding a volume by serial number, a virtual volume by
// its device serial number, a volume by id, the volumes of a volume collection; onlining or
// offlining a volume and restoring it from one of its snapshots.
#include <memory>
#include <string>
#include <vector>

#include "array/ArrayRecords.h"
#include "array/RestCall.h"
#include "restsdk/v1/GetParams.h"
#include "restsdk/v1/Volume.h"
#include "restsdk/v1/VolumeObjectSet.h"

namespace Vantor {

// Shared ground of the volume requests: the volume object set of the connection's session.
class RestCallVolumeBase : public RestCall {
 public:
  using RestCall::RestCall;

 protected:
  void Initialize() override;
  std::shared_ptr<VantorStorage::WS::v1::VolumeObjectSet> mVolumeSet;
  std::shared_ptr<VantorStorage::WS::v1::GetParams> mParams;
};

class RestCallFindVolBySerial final : public RestCallVolumeBase {
 public:
  RestCallFindVolBySerial(RestConnection& restConn, std::string serialNumber)
      : RestCallVolumeBase(restConn), mSerialNumber(std::move(serialNumber)) {}
  // Valid after Execute returned.
  const VolumeRecord& GetVolume() const { return mRecord; }

 protected:
  void Initialize() override;
  void Call() override;
  bool IsResultValid() const override { return mVolume != nullptr; }
  std::string GetInputDescription() const override { return "SerialNumber: " + mSerialNumber; }
  std::string GetName() const override { return "Get Volume by Serial Number"; }
  std::string GetFailureMessage() const override { return "No volume found."; }
  void ProcessResult() override;

 private:
  std::string mSerialNumber;
  std::shared_ptr<VantorStorage::WS::v1::Volume> mVolume;
  VolumeRecord mRecord;
};

// A virtual volume is found through the device serial number that its virtual machine's disk
// shows, kept in the volume's metadata in lower case. Volumes being deleted are passed over.
class RestCallFindVvolBySerial final : public RestCallVolumeBase {
 public:
  RestCallFindVvolBySerial(RestConnection& restConn, std::string serialNumber)
      : RestCallVolumeBase(restConn), mSerialNumber(std::move(serialNumber)) {}
  const VolumeRecord& GetVolume() const { return mRecord; }

 protected:
  void Initialize() override;
  void Call() override;
  bool IsResultValid() const override { return mVolume != nullptr; }
  std::string GetInputDescription() const override { return "Vvol serial number: " + mSerialNumber; }
  std::string GetName() const override { return "Get Volume by Vvol Serial Number"; }
  std::string GetFailureMessage() const override { return mFailureMessage; }
  void ProcessResult() override;

 private:
  std::string mSerialNumber;
  std::string mFailureMessage = "No volume found.";
  std::shared_ptr<VantorStorage::WS::v1::Volume> mVolume;
  VolumeRecord mRecord;
};

// Fills only the target name, the target scope and the virtual-volume mark: what the target
// scope of a snapshot depends on.
class RestCallFindVolById final : public RestCallVolumeBase {
 public:
  RestCallFindVolById(RestConnection& restConn, std::string volumeId)
      : RestCallVolumeBase(restConn), mVolumeId(std::move(volumeId)) {}
  const VolumeRecord& GetVolume() const { return mRecord; }

 protected:
  void Initialize() override;
  void Call() override;
  bool IsResultValid() const override { return mVolume != nullptr; }
  std::string GetInputDescription() const override { return "VolumeId: " + mVolumeId; }
  std::string GetName() const override { return "Get Volume by Id"; }
  std::string GetFailureMessage() const override { return "No volume found."; }
  void ProcessResult() override;

 private:
  std::string mVolumeId;
  std::shared_ptr<VantorStorage::WS::v1::Volume> mVolume;
  VolumeRecord mRecord;
};

// Whether the array has the volume online now.
class RestCallGetVolumeOnline final : public RestCallVolumeBase {
 public:
  RestCallGetVolumeOnline(RestConnection& restConn, std::string volumeId)
      : RestCallVolumeBase(restConn), mVolumeId(std::move(volumeId)) {}
  bool IsOnline() const { return mOnline; }

 protected:
  void Initialize() override;
  void Call() override;
  bool IsResultValid() const override { return mVolume != nullptr; }
  std::string GetInputDescription() const override { return "VolumeId: " + mVolumeId; }
  std::string GetName() const override { return "Get Volume State"; }
  std::string GetFailureMessage() const override { return "No volume found."; }
  void ProcessResult() override { mOnline = mVolume->getOnline(); }

 private:
  std::string mVolumeId;
  std::shared_ptr<VantorStorage::WS::v1::Volume> mVolume;
  bool mOnline = false;
};

class RestCallGetVolumeIdsOfVolumeCollection final : public RestCallVolumeBase {
 public:
  RestCallGetVolumeIdsOfVolumeCollection(RestConnection& restConn, std::string volumeCollectionId)
      : RestCallVolumeBase(restConn), mVolumeCollectionId(std::move(volumeCollectionId)) {}
  const VolumeCollectionRecord& GetVolumeCollection() const { return mRecord; }

 protected:
  void Initialize() override;
  void Call() override;
  bool IsResultValid() const override { return mVolumes != nullptr; }
  std::string GetInputDescription() const override { return "VolumeCollectionId: " + mVolumeCollectionId; }
  std::string GetName() const override { return "Get Volume id's of a given volume collection."; }
  std::string GetFailureMessage() const override { return "No volume collection found."; }
  void ProcessResult() override;

 private:
  std::string mVolumeCollectionId;
  VantorStorage::WS::v1::VolumeListPtr mVolumes;
  VolumeCollectionRecord mRecord;
};

// Offlining forces the array to end the hosts' iSCSI sessions to the volume: an in-place
// restore needs the volume offline while this very host is still connected to it.
class RestCallOnlineVolume final : public RestCallVolumeBase {
 public:
  RestCallOnlineVolume(RestConnection& restConn, std::string volumeId, bool online)
      : RestCallVolumeBase(restConn), mVolumeId(std::move(volumeId)), mOnline(online) {}

 protected:
  void Call() override;
  std::string GetInputDescription() const override { return "Volume Id: " + mVolumeId; }
  std::string GetName() const override;

 private:
  std::string mVolumeId;
  bool mOnline;
};

// A volume that already is at that snapshot ("SM_ealready") counts as restored.
class RestCallRestoreVolume final : public RestCallVolumeBase {
 public:
  RestCallRestoreVolume(RestConnection& restConn, std::string volumeId, std::string snapshotId)
      : RestCallVolumeBase(restConn), mVolumeId(std::move(volumeId)), mSnapshotId(std::move(snapshotId)) {}

 protected:
  void Call() override;
  std::string GetInputDescription() const override { return "VolId: " + mVolumeId + "; SnapId: " + mSnapshotId; }
  std::string GetName() const override { return "Restore volume from a snapshot"; }
  bool IsExceptionIgnorable(const VantorStorage::WS::GroupMgmtServerException& e) const override {
    return HasErrorCode(e, kAlreadyInStateErrorCode);
  }

 private:
  std::string mVolumeId;
  std::string mSnapshotId;
};

}  // namespace Vantor
