#include "array/VaVssArrayWrapper.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "array/IscsiTargets.h"
#include "array/RestCallLogMessageToGMD.h"
#include "array/RestCallSnapshot.h"
#include "array/RestCallVolume.h"
#include "array/VantorArray.h"
#include "discovery/ConfigurationValues.h"
#include "logger/EventReporter.h"
#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "messages/VantorVssMessages.h"
#include "provider/SnapshotSetInfo.h"
#include "wincompat/VssTypes.h"
#include "wincompat/WideString.h"

namespace {

static constexpr const wchar_t* kLogSource = L"VaVssArrayWrapper";

// Exception texts go into "%s" conversions, which take wide strings.
std::wstring Why(const std::exception& e) { return wincompat::ToWide(e.what()); }

std::string ToLower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

VaVssArrayWrapper::VaVssArrayWrapper() = default;

VaVssArrayWrapper::VaVssArrayWrapper(const std::string& groupAddress, const Vantor::LoginInfo& loginInfo) {
  Vantor::Array::InitRest(kVssAgentName);
  mArray = std::make_unique<Vantor::Array>(groupAddress, loginInfo);
}

VaVssArrayWrapper::~VaVssArrayWrapper() = default;

Vantor::Array& VaVssArrayWrapper::TheArray() const {
  if (!mArray) throw std::logic_error("the wrapper has no array connection");
  return *mArray;
}

const std::string& VaVssArrayWrapper::GetGroupUid() const {
  static const std::string none;
  return mArray ? mArray->GetGroupId() : none;
}

const Vantor::LoginInfo& VaVssArrayWrapper::GetLoginInfo() const {
  static const Vantor::LoginInfo none;
  return mArray ? mArray->GetLoginInfo() : none;
}

void VaVssArrayWrapper::SetLoginInfo(const Vantor::LoginInfo& loginInfo) {
  if (!mArray) return;
  // A stored credential goes only to the address it was stored for, never to another address
  // of the group that this session happens to talk to.
  if (!loginInfo.IsEmpty() && mConfiguredAddress != mArray->GetGroupMgmtIp()) {
    VA_LOG(MSG_ERROR, L"The credential stored for %S is not given to the session with %S; it keeps the default credentials.",
           mConfiguredAddress, mArray->GetGroupMgmtIp());
    mArray->SetLoginInfo(Vantor::LoginInfo());
    return;
  }
  mArray->SetLoginInfo(loginInfo);
}

std::string VaVssArrayWrapper::GetGroupAddress() const { return mArray ? mArray->GetGroupMgmtIp() : std::string(); }

void VaVssArrayWrapper::SetExchangeDeadline(std::optional<std::chrono::steady_clock::time_point> deadline) {
  if (mArray) mArray->setExchangeDeadline(deadline);
}

bool VaVssArrayWrapper::FindVolume(const std::string& serialNumber, bool deepDiscovery,
                                   std::shared_ptr<Vantor::VolumeRecord>& volume) {
  bool found = false;
  if (!deepDiscovery) {
    const auto cached = mRecordCache.find(serialNumber);
    if (cached != mRecordCache.end() && cached->second.mVolume) {
      volume = cached->second.mVolume;
      found = true;
    }
  } else {
    try {
      Vantor::RestCallFindVolBySerial call(TheArray(), serialNumber);
      call.Execute();
      volume = std::make_shared<Vantor::VolumeRecord>(call.GetVolume());
      mRecordCache[serialNumber] = CachedObject{volume, nullptr};
      found = true;
    } catch (const std::exception& e) {
      VA_LOG(MSG_ERROR, L"Could not find volume %S on array %S. Error: %s", serialNumber, GetGroupAddress(), Why(e));
    }
  }
  VA_LOG(MSG_INFO, L"Serial# %S: found = %d, deep discovery = %d", serialNumber, found ? 1 : 0, deepDiscovery ? 1 : 0);
  return found;
}

bool VaVssArrayWrapper::FindSnapshot(const std::string& serialNumber, bool deepDiscovery,
                                     std::shared_ptr<Vantor::SnapshotRecord>& snapshot) {
  bool found = false;
  if (!deepDiscovery) {
    const auto cached = mRecordCache.find(serialNumber);
    if (cached != mRecordCache.end() && cached->second.mSnapshot) {
      snapshot = cached->second.mSnapshot;
      found = true;
    }
  } else {
    try {
      auto record = std::make_shared<Vantor::SnapshotRecord>();
      SetSnapshotTargetScope(serialNumber, *record);
      snapshot = record;
      mRecordCache[serialNumber] = CachedObject{nullptr, record};
      found = true;
    } catch (const std::exception& e) {
      VA_LOG(MSG_ERROR, L"Could not find snapshot %S on array %S. Error: %s", serialNumber, GetGroupAddress(), Why(e));
    }
  }
  VA_LOG(MSG_INFO, L"Serial# %S: found = %d, deep discovery = %d", serialNumber, found ? 1 : 0, deepDiscovery ? 1 : 0);
  return found;
}

void VaVssArrayWrapper::SetSnapshotTargetScope(const std::string& serialNumber, Vantor::SnapshotRecord& snapshot) {
  Vantor::RestCallFindSnapBySerial findSnapshot(TheArray(), serialNumber);
  findSnapshot.Execute();
  snapshot = findSnapshot.GetSnapshot();
  if (snapshot.mVolId.empty()) {
    snapshot.mTargetScope = Vantor::TARGET_SCOPE_VOLUME;
    VA_LOG(MSG_ERROR,
           L"Parent vol id is missing for the given snapshot = %S. Thus Target Scope Type is unknown. Setting it as a "
           L"'Volume Target Scope' by default",
           snapshot.mName);
    return;
  }
  Vantor::RestCallFindVolById findParent(TheArray(), snapshot.mVolId);
  findParent.Execute();
  const Vantor::VolumeRecord& parent = findParent.GetVolume();
  snapshot.mTargetScope = parent.mTargetScope;
  if (parent.mIsVirtualVolume) {
    // Snapshots of virtual volumes are reached through their parent's target.
    snapshot.mParentIsVirtualVolume = true;
    snapshot.mTargetName = parent.mTargetName;
  }
}

bool VaVssArrayWrapper::FindSerial(const std::string& serialNumber, std::shared_ptr<Vantor::VolumeRecord>& volume) {
  return FindVolume(serialNumber, false, volume) || FindVolume(serialNumber, true, volume);
}

bool VaVssArrayWrapper::FindSerial(const std::string& serialNumber, std::shared_ptr<Vantor::SnapshotRecord>& snapshot) {
  return FindSnapshot(serialNumber, false, snapshot) || FindSnapshot(serialNumber, true, snapshot);
}

bool VaVssArrayWrapper::FindVirtualVolume(const std::string& deviceSerialNumber, bool deepDiscovery,
                                          std::shared_ptr<Vantor::VolumeRecord>& volume) {
  const std::string key = ToLower(deviceSerialNumber);
  bool found = false;
  if (!deepDiscovery) {
    const auto cached = mVirtualVolumeCache.find(key);
    if (cached != mVirtualVolumeCache.end()) {
      volume = cached->second;
      found = true;
    }
  } else {
    try {
      Vantor::RestCallFindVvolBySerial call(TheArray(), key);
      call.Execute();
      volume = std::make_shared<Vantor::VolumeRecord>(call.GetVolume());
      mVirtualVolumeCache[key] = volume;
      found = true;
    } catch (const std::exception& e) {
      VA_LOG(MSG_ERROR, L"Could not find volume %S on array %S. Error: %s", deviceSerialNumber, GetGroupAddress(),
             Why(e));
    }
  }
  VA_LOG(MSG_INFO, L"Serial# %S: found = %d, deep discovery = %d", deviceSerialNumber, found ? 1 : 0,
         deepDiscovery ? 1 : 0);
  return found;
}

void VaVssArrayWrapper::BuildVolumeIdSet(const std::vector<std::shared_ptr<VaSnapshotInfo>>& luns,
                                         std::set<std::string>& volumeIds) {
  // A LUN whose volume was never found names no volume.
  const auto volumeOf = [](const std::shared_ptr<VaSnapshotInfo>& lun) -> const Vantor::VolumeRecord* {
    return lun && lun->mVolume ? lun->mVolume.get() : nullptr;
  };
  const auto collectionOf = [&](const std::shared_ptr<VaSnapshotInfo>& lun) {
    const Vantor::VolumeRecord* volume = volumeOf(lun);
    return volume ? volume->mVolumeCollectionId : std::string();
  };

  bool collectionInvolved = false;
  bool oneCollection = !luns.empty();
  for (const auto& lun : luns) {
    if (!collectionOf(lun).empty()) collectionInvolved = true;
    if (collectionOf(lun) != collectionOf(luns.front())) oneCollection = false;
  }

  std::string listText;
  if (collectionInvolved && oneCollection && discovery::ReadNoAdditionalVolumeInSnapshot() == 0) {
    Vantor::RestCallGetVolumeIdsOfVolumeCollection call(TheArray(), collectionOf(luns.front()));
    call.Execute();
    const auto& ids = call.GetVolumeCollection().mVolumeIds;
    if (ids.size() > luns.size()) {
      VA_LOG(MSG_INFO,
             L"vVol based volume collection is found. Number of volumes in the snapshot set is greater than input "
             L"set.");
    }
    for (const auto& id : ids) {
      if (volumeIds.insert(id).second) {
        VA_LOG(MSG_INFO, L"Adding volume %S", id);
        listText += id + ", ";
      }
    }
  } else {
    for (const auto& lun : luns) {
      const Vantor::VolumeRecord* volume = volumeOf(lun);
      if (!volume || volume->mId.empty()) continue;
      if (volumeIds.insert(volume->mId).second) {
        VA_LOG(MSG_INFO, L"Adding volume %S", lun->mVolumeName);
        listText += lun->mVolumeName + ", ";
      }
    }
  }
  if (listText.size() >= 2) listText.resize(listText.size() - 2);
  const std::wstring wideList = wincompat::ToWide(listText);
  logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_CREATING_SNAPSHOT, wideList.c_str());
}

HRESULT VaVssArrayWrapper::CreateSnapshotSet(const GUID& snapshotSetId,
                                             const std::vector<std::shared_ptr<VaSnapshotInfo>>& luns) {
  CLogger scope(L"VaVssArrayWrapper::CreateSnapshotSet");
  try {
    std::set<std::string> volumeIds;
    BuildVolumeIdSet(luns, volumeIds);
    if (volumeIds.empty()) {
      VA_LOG(MSG_ERROR, L"  ** No volume IDs are added to the snapshot list.. ");
      return VSS_E_PROVIDER_VETO;
    }
    std::vector<Vantor::SnapshotRecord> snapshots;
    // One set has one context and one maker: the first LUN's tag speaks for all.
    const auto first = std::find_if(luns.begin(), luns.end(), [](const auto& lun) { return lun != nullptr; });
    const std::string ownerTag = first != luns.end() ? (*first)->mOwnerTag : std::string();
    const HRESULT hr = CreateSnapshotSetForVolumes(snapshotSetId, volumeIds, ownerTag, snapshots);
    if (FAILED(hr)) return hr;
    if (snapshots.size() != volumeIds.size()) {
      VA_LOG(MSG_ERROR, L"  ** Invalid number of snapshots returned .. ");
      // The LUN records stay untouched, so nothing else tells an abort what was made.
      RememberMadeSnapshots(wincompat::GuidToString(snapshotSetId), snapshots);
      return VSS_E_PROVIDER_VETO;
    }
    for (const auto& lun : luns) {
      if (!lun) continue;
      const auto match = std::find_if(snapshots.begin(), snapshots.end(), [&](const Vantor::SnapshotRecord& s) {
        return s.mVolName == lun->mVolumeName;
      });
      if (match == snapshots.end()) continue;
      lun->mSnapshotId = match->mId;
      lun->mSnapshotName = match->mName;
      lun->mSnapshotSerialNumber = match->mSerialNumber;
      VA_LOG(MSG_INFO, L"Org Serial # %S Snap Serial # %S ", lun->mSourceSerialNumber, lun->mSnapshotSerialNumber);
      static_assert(sizeof(lun->mSnapshotVendorId) == Vantor::kVpdT10Size);
      static_assert(sizeof(lun->mSnapshotEui64) == 2 * Vantor::kVpdIeeeSize);
      std::memcpy(lun->mSnapshotVendorId.data(), match->mVpdT10.data(), Vantor::kVpdT10Size);
      std::memcpy(lun->mSnapshotEui64.data(), match->mVpdIeee0.data(), Vantor::kVpdIeeeSize);
      std::memcpy(lun->mSnapshotEui64.data() + Vantor::kVpdIeeeSize, match->mVpdIeee1.data(), Vantor::kVpdIeeeSize);
      lun->mSnapshotTargetName = match->mTargetName;
      lun->mSnapshotExists = true;
      VA_LOG(MSG_INFO, L"Creating snapshot %S with SN %S ", lun->mSnapshotName, lun->mSnapshotSerialNumber);
    }
    return hr;
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"** CreateSnapshotSet() (createSnapshotSet()) failed, '%s'", Why(e));
    return VSS_E_PROVIDER_VETO;
  }
}

HRESULT VaVssArrayWrapper::CreateSnapshotSetForVolumes(const GUID& snapshotSetId,
                                                       const std::set<std::string>& volumeIds,
                                                       const std::string& ownerTag,
                                                       std::vector<Vantor::SnapshotRecord>& snapshots) {
  CLogger scope(L"VaVssArrayWrapper::CreateSnapshotSetForVolumes");
  VA_LOG(MSG_INFO, L"Creating snapshot for %d volumes", static_cast<int>(volumeIds.size()));
  try {
    const std::string setIdText = wincompat::GuidToString(snapshotSetId);
    snapshots.clear();
    Vantor::RestCallSnapVolList create(TheArray(), setIdText, volumeIds, ownerTag);
    try {
      create.Execute();
      Vantor::RestCallFindSnapshotsByIDs read(TheArray(), create.GetCreatedSnapshotIds());
      read.Execute();
      snapshots = read.TakeSnapshots();
    } catch (const std::exception&) {
      // A create whose answer failed its check, or whose snapshots could not be read back,
      // still made them: its answer names them.
      RememberMadeSnapshots(setIdText, create.GetCreatedSnapshots());
      throw;
    }
    VA_LOG(MSG_INFO, L"Successfully created snapshot set.");
    return S_OK;
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"** CreateSnapshotSet() (createSnapshotSet()) failed, '%s'", Why(e));
    return VSS_E_PROVIDER_VETO;
  }
}

void VaVssArrayWrapper::RememberMadeSnapshots(const std::string& setIdText,
                                              const std::vector<Vantor::SnapshotRecord>& made) {
  auto& known = mMadeByFailedCreates[setIdText];
  for (const auto& snapshot : made) {
    if (snapshot.mId.empty()) continue;
    const bool seen = std::any_of(known.begin(), known.end(),
                                  [&](const Vantor::SnapshotRecord& s) { return s.mId == snapshot.mId; });
    if (!seen) known.push_back(snapshot);
  }
  if (known.empty()) mMadeByFailedCreates.erase(setIdText);
}

HRESULT VaVssArrayWrapper::FindSnapshotsOfSet(const GUID& snapshotSetId,
                                              std::vector<Vantor::SnapshotRecord>& snapshots) {
  CLogger scope(L"VaVssArrayWrapper::FindSnapshotsOfSet");
  const std::string setIdText = wincompat::GuidToString(snapshotSetId);
  snapshots.clear();
  HRESULT hr = S_OK;
  try {
    Vantor::RestCallFindSnapshotsByName call(TheArray(), setIdText);
    call.Execute();
    snapshots = call.GetSnapshots();
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"** FindSnapshotsOfSet() (findSnapshotsByName) failed! '%s', snapshot set %S", Why(e),
           setIdText);
    hr = E_FAIL;
  }
  // What a failed create made is handed out once; the caller removes it now.
  if (const auto made = mMadeByFailedCreates.find(setIdText); made != mMadeByFailedCreates.end()) {
    for (const auto& snapshot : made->second) {
      const bool found = std::any_of(snapshots.begin(), snapshots.end(),
                                     [&](const Vantor::SnapshotRecord& s) { return s.mId == snapshot.mId; });
      // A search that answered knows better than the memory of a failed create: a snapshot it
      // did not find is gone already.
      if (!found && FAILED(hr)) snapshots.push_back(snapshot);
    }
    mMadeByFailedCreates.erase(made);
  }
  VA_LOG(MSG_INFO, L"Snapshot set %S: %d snapshots found on group %S", setIdText, static_cast<int>(snapshots.size()),
         GetGroupAddress());
  return hr;
}

HRESULT VaVssArrayWrapper::DeleteSnapshot(const std::string& snapshotId, const std::string& snapshotName,
                                          const std::string& volumeName) {
  VA_LOG(MSG_INFO, L"Deleting snapshot %S for volume %S", snapshotName, volumeName);
  try {
    Vantor::RestCallDeleteSnapBySnapId call(TheArray(), snapshotId);
    call.Execute();
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"** DeleteSnapshot() (deleteSnap) failed! '%s', volumeName %S,  snapshotName %S", Why(e),
           volumeName, snapshotName);
    return E_FAIL;
  }
  VA_LOG(MSG_INFO, L"Successfully deleted snapshot.");
  const std::wstring wideSnapshot = wincompat::ToWide(snapshotName);
  const std::wstring wideVolume = wincompat::ToWide(volumeName);
  logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_SNAPSHOT_DELETED, wideSnapshot.c_str(),
                              wideVolume.c_str());
  return S_OK;
}

HRESULT VaVssArrayWrapper::OnlineSnapshot(const Vantor::SnapshotRecord& snapshot) {
  VA_LOG(MSG_INFO, L"About to online snapshot %S", snapshot.mName);
  try {
    Vantor::RestCallOnlineSnap call(TheArray(), snapshot.mId, true);
    call.Execute();
  } catch (const std::exception&) {
    VA_LOG(MSG_ERROR, L"** OnlineSnapshot (onlineSnap) failed! snapshot %S, parent %S", snapshot.mName,
           snapshot.mVolName);
    return E_FAIL;
  }
  VA_LOG(MSG_INFO, L"Online snapshot is successful.");
  return S_OK;
}

HRESULT VaVssArrayWrapper::OfflineSnapshot(const std::string& snapshotId, const std::string& snapshotName,
                                           const std::string& volumeName) {
  VA_LOG(MSG_INFO, L"About to offline snapshot %S", snapshotName);
  try {
    Vantor::RestCallOnlineSnap call(TheArray(), snapshotId, false);
    call.Execute();
  } catch (const std::exception&) {
    VA_LOG(MSG_ERROR, L"** OfflineSnapshot (onlineSnap) failed! snapshot %S, parent %S", snapshotName, volumeName);
    return E_FAIL;
  }
  VA_LOG(MSG_INFO, L"Offline snapshot is successful.");
  return S_OK;
}

HRESULT VaVssArrayWrapper::OnlineVolume(const Vantor::VolumeRecord& volume) {
  VA_LOG(MSG_INFO, L"About to Online Volume %S", volume.mName);
  try {
    Vantor::RestCallOnlineVolume call(TheArray(), volume.mId, true);
    call.Execute();
  } catch (const std::exception&) {
    VA_LOG(MSG_ERROR, L"*** Online Volume operation failed! volume %S", volume.mName);
    return E_FAIL;
  }
  VA_LOG(MSG_INFO, L"Online Volume is successful.");
  return S_OK;
}

HRESULT VaVssArrayWrapper::OfflineVolume(const Vantor::VolumeRecord& volume) {
  VA_LOG(MSG_INFO, L"About to Offline Volume %S", volume.mName);
  HRESULT hr = S_OK;
  try {
    Vantor::RestCallOnlineVolume call(TheArray(), volume.mId, false);
    call.Execute();
  } catch (const VantorStorage::WS::GroupMgmtServerException& e) {
    // Only an answer carrying the array's own messages says that it did not do it.
    hr = e.getMessages().empty() ? VA_E_OUTCOME_UNKNOWN : E_FAIL;
  } catch (const std::exception&) {
    hr = VA_E_OUTCOME_UNKNOWN;
  }
  if (FAILED(hr)) {
    VA_LOG(MSG_ERROR,
           L"*** OfflineVolume operation failed! for the volume %S. Either regsitry setting required for Restore "
           L"operation is not set or VSS service is not running under local administrators group privileges.",
           volume.mName);
    if (hr == VA_E_OUTCOME_UNKNOWN)
      VA_LOG(MSG_ERROR, L"The array's answer to the offline of volume %S never came; it may have taken it offline",
             volume.mName);
    return hr;
  }
  VA_LOG(MSG_INFO, L"Offline Volume is successful.");
  return S_OK;
}

HRESULT VaVssArrayWrapper::ReadVolumeOnline(const Vantor::VolumeRecord& volume, bool& online) {
  try {
    Vantor::RestCallGetVolumeOnline call(TheArray(), volume.mId);
    call.Execute();
    online = call.IsOnline();
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"Could not read the state of volume %S. Error: %s", volume.mName, Why(e));
    return E_FAIL;
  }
  VA_LOG(MSG_INFO, L"Volume %S is %S", volume.mName, online ? "online" : "offline");
  return S_OK;
}

HRESULT VaVssArrayWrapper::RestoreVolume(const Vantor::VolumeRecord& volume, const Vantor::SnapshotRecord& snapshot) {
  VA_LOG(MSG_INFO, L"About to restore volume name %S with id %S from snapshot name %S with id %S", volume.mName,
         volume.mId, snapshot.mName, snapshot.mId);
  try {
    Vantor::RestCallRestoreVolume call(TheArray(), volume.mId, snapshot.mId);
    call.Execute();
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"** Restore volume operation failed! reason=%s for snapshot %S, parent %S", Why(e),
           snapshot.mName, volume.mName);
    return E_FAIL;
  }
  VA_LOG(MSG_INFO, L"restore volume is successful.");
  return S_OK;
}

bool VaVssArrayWrapper::IsArraySupported(std::string& version) {
  try {
    return TheArray().CheckArrayVersion(version);
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"** IsArraySupported() (IsArraySupported) failed! %s. Array not supported", Why(e));
    return false;
  }
}

void VaVssArrayWrapper::LogMessageToGMD(const std::string& message, const std::string& level) {
  try {
    Vantor::RestCallLogMessageToGMD call(TheArray(), "QTK-VSS:" + message, level);
    call.Execute();
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"Could not log message to GMD. Error: %s", Why(e));
  }
}

HRESULT VaVssArrayWrapper::ExposeTarget(const Vantor::SnapshotRecord& snapshot, DWORD digestFlags) {
  return Expose(snapshot.mAccessProtocols, snapshot.mParentIsVirtualVolume, snapshot.mTargetScope,
                snapshot.mTargetName, digestFlags);
}

HRESULT VaVssArrayWrapper::ExposeTarget(const Vantor::VolumeRecord& volume, DWORD digestFlags) {
  return Expose(volume.mAccessProtocols, false, volume.mTargetScope, volume.mTargetName, digestFlags);
}

HRESULT VaVssArrayWrapper::Expose(const std::vector<std::uint32_t>& protocols, bool parentIsVirtualVolume,
                                  std::uint32_t targetScope, const std::string& targetName, DWORD digestFlags) {
  CLogger scope(L"VaVssArrayWrapper::ExposeTarget");
  if (std::find(protocols.begin(), protocols.end(), Vantor::ACCESS_PROTOCOL_ISCSI) == protocols.end()) {
    VA_LOG(MSG_INFO, L"The iSCSI protocol is not present in the snapshot's ACL list. Skipping expose snapshot...");
    return S_OK;
  }
  try {
    const bool groupScoped = targetScope == Vantor::TARGET_SCOPE_GROUP;
    if (parentIsVirtualVolume && Vantor::IsTargetConnected(targetName)) {
      VA_LOG(MSG_INFO,
             L"Snapshot's parent volume is Vvol and target %S is a GST. Already GST is connected hence not conecting it "
             L"again.",
             targetName);
      return S_OK;
    }
    if (groupScoped && Vantor::IsTargetConnected(targetName)) {
      VA_LOG(MSG_INFO, L"GST Target: %S is already connected.", targetName);
      return S_OK;
    }
    VA_LOG(MSG_INFO, L"Logging in to %S target: %S with digest policy flags: 0x%x", groupScoped ? "GST" : "VST",
           targetName, digestFlags);
    Vantor::LoginIScsiTarget(targetName, digestFlags);
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"** ExposeTarget() (loginIScsiTarget) failed! '%s', Target %S", Why(e), targetName);
    return E_FAIL;
  }
  return S_OK;
}

HRESULT VaVssArrayWrapper::UnexposeSnapshot(const Vantor::SnapshotRecord& snapshot) {
  CLogger scope(L"VaVssArrayWrapper::UnexposeSnapshot");
  if (!snapshot.HasAccessProtocol(Vantor::ACCESS_PROTOCOL_ISCSI)) {
    VA_LOG(MSG_INFO, L"The iSCSI protocol is not present in the snapshot's ACL list. Skipping unexpose snapshot...");
    return S_OK;
  }
  if (snapshot.mParentIsVirtualVolume) {
    VA_LOG(MSG_INFO,
           L"Logging out of target skipped for snapshot %S with target name: %S because snapshot's parent volume is vvol "
           L"and exposed under GST.",
           snapshot.mName, snapshot.mTargetName);
    return S_OK;
  }
  if (snapshot.mTargetScope == Vantor::TARGET_SCOPE_GROUP) {
    VA_LOG(MSG_INFO, L"Logging out of target skipped for snapshot %S with GST: %S", snapshot.mName,
           snapshot.mTargetName);
    return S_OK;
  }
  try {
    VA_LOG(MSG_INFO, L"Logging out of VST target: %S", snapshot.mTargetName);
    Vantor::LogoutTarget(snapshot.mTargetName);
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"** UnexposeSnapshot (logoutIScsiTarget) failed! snapshot '%s', parent %S", Why(e),
           snapshot.mVolName);
    return E_FAIL;
  }
  return S_OK;
}
