#include "array/RestCallVolume.h"

#include <cctype>

#include "array/RestConnection.h"
#include "array/RestSearch.h"
#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "restsdk/v1/ObjectSetFactory.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"RestCall";

namespace v1 = VantorStorage::WS::v1;

}  // namespace

void RestCallVolumeBase::Initialize() { mVolumeSet = mRestConn.getV1ObjectSetFactory()->getVolumeObjectSet(); }

void RestCallFindVolBySerial::Initialize() {
  RestCallVolumeBase::Initialize();
  mParams = MakeGetParams(MakeFilterGroup({{"serial_number", mSerialNumber}}, v1::OPERATOR_OR),
                          {"id", "size", "name", "serial_number", "description", "block_size", "target_name",
                           "parent_vol_name", "base_snap_name", "num_connections", "access_control_records",
                           "vpd_t10", "vpd_ieee0", "vpd_ieee1", "iscsi_target_scope"});
}

void RestCallFindVolBySerial::Call() { mVolume = SingleSearchResult(mVolumeSet->getObjectList(mParams), "volume"); }

void RestCallFindVolBySerial::ProcessResult() { mRecord = VolumeRecordFromVolume(*mVolume); }

void RestCallFindVvolBySerial::Initialize() {
  RestCallVolumeBase::Initialize();
  for (char& c : mSerialNumber) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  VA_LOG(MSG_INFO, L"vvol Serial number to compare = %S", mSerialNumber);
  mParams = MakeGetParams(
      MakeFilterGroup({{"agent_type", kVirtualVolumeAgentType},
                       {std::string("metadata.") + kVirtualDeviceIdKey, mSerialNumber}},
                      v1::OPERATOR_AND),
      {"id", "size", "name", "serial_number", "description", "block_size", "target_name", "parent_vol_name",
       "base_snap_name", "num_connections", "access_control_records", "vpd_t10", "vpd_ieee0", "vpd_ieee1",
       "agent_type", "metadata", "volcoll_id"});
}

void RestCallFindVvolBySerial::Call() {
  mVolume = nullptr;
  const auto volumes = mVolumeSet->getObjectList(mParams);
  for (const auto& volume : *volumes) {
    if (!volume) continue;
    const auto metadata = volume->getMetadata();
    if (!metadata) continue;
    bool pendingDeletion = false;
    for (const auto& pair : *metadata) {
      if (!pair) continue;
      const std::string& key = pair->getKey();
      const std::string& value = pair->getValue();
      VA_LOG(MSG_DEBUG, L"VolName = %S , Key = %S , Value = %S", volume->getName(), key, value);
      if (key == kPendingDeletionKey && value == kPendingDeletionValue) {
        VA_LOG(MSG_INFO,
               L"Vantor virtual volume with Serial Number %S has the  key = %S and Value = %S set. Hence ignoring the "
               L"volume discovery.\n",
               mSerialNumber, key, value);
        mFailureMessage = "Volume is set for pending deletion state. Hence ignoring the discovery.";
        pendingDeletion = true;
      }
    }
    if (!pendingDeletion) {
      mVolume = volume;
      return;
    }
  }
}

void RestCallFindVvolBySerial::ProcessResult() {
  CLogger scope(L"Vantor::RestCallFindVvolBySerial::ProcessResult");
  mRecord = VirtualVolumeRecordFromVolume(*mVolume);
}

void RestCallFindVolById::Initialize() {
  RestCallVolumeBase::Initialize();
  mParams = MakeGetParams(MakeFilterGroup({{"id", mVolumeId}}, v1::OPERATOR_OR),
                          {"target_name", "agent_type", "iscsi_target_scope"});
}

void RestCallFindVolById::Call() { mVolume = SingleSearchResult(mVolumeSet->getObjectList(mParams), "volume"); }

void RestCallFindVolById::ProcessResult() {
  mRecord = VolumeRecord{};
  mRecord.mId = mVolumeId;
  mRecord.mTargetName = mVolume->getTargetName();
  mRecord.mAgentType = mVolume->getAgentType();
  mRecord.mIsVirtualVolume = mRecord.mAgentType == kVirtualVolumeAgentType;
  mRecord.mTargetScope = TargetScopeFromName(mVolume->getIscsiTargetScope());
}

void RestCallGetVolumeOnline::Initialize() {
  RestCallVolumeBase::Initialize();
  mParams = MakeGetParams(MakeFilterGroup({{"id", mVolumeId}}, v1::OPERATOR_OR), {"online"});
}

void RestCallGetVolumeOnline::Call() { mVolume = SingleSearchResult(mVolumeSet->getObjectList(mParams), "volume"); }

void RestCallGetVolumeIdsOfVolumeCollection::Initialize() {
  RestCallVolumeBase::Initialize();
  mParams = MakeGetParams(MakeFilterGroup({{"volcoll_id", mVolumeCollectionId}}, v1::OPERATOR_OR), {"id", "name"});
}

void RestCallGetVolumeIdsOfVolumeCollection::Call() { mVolumes = mVolumeSet->getObjectList(mParams); }

void RestCallGetVolumeIdsOfVolumeCollection::ProcessResult() {
  CLogger scope(L"Vantor::RestCallGetVolumeIdsOfVolumeCollection::ProcessResult");
  mRecord = VolumeCollectionRecord{};
  mRecord.mId = mVolumeCollectionId;
  for (const auto& volume : *mVolumes) {
    if (!volume) continue;
    mRecord.mVolumeIds.push_back(volume->getId());
    mRecord.mVolumeNames.push_back(volume->getName());
  }
}

std::string RestCallOnlineVolume::GetName() const {
  return std::string("Set Volume ") + (mOnline ? "Online" : "Offline") + " - Update Object";
}

void RestCallOnlineVolume::Call() {
  v1::Volume changes;
  changes.setOnline(mOnline);
  VA_LOG(MSG_INFO, L"volume id = %S", mVolumeId);
  mVolumeSet->updateObject(mVolumeId, changes, true);
}

void RestCallRestoreVolume::Call() { mVolumeSet->restore(mVolumeId, mSnapshotId); }

}  // namespace Vantor
