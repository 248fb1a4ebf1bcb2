// In-place restore: each target LUN must be the very volume its paired snapshot LUN was taken
// from, on the same group, presented to this host. The volume goes offline, is restored, comes
// online and is logged in to again; one consolidated report covers every pair.
//
// The report has one line per pair, in the order VSS passed them. The snapshots of one set all
// carry the set's name, so a report keyed by snapshot name would show only the first pair of a
// set and could answer S_OK for a set restored only in part.
#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <sstream>

#include "array/VaVssArrayWrapper.h"
#include "discovery/ConfigurationValues.h"
#include "logger/EventReporter.h"
#include "messages/VantorVssMessages.h"
#include "provider/HostInitiators.h"
#include "provider/LunInformation.h"
#include "provider/ProviderCall.h"
#include "provider/VaVssHwProvider.h"
#include "provider/VolumeOnline.h"
#include "provider/VssAsync.h"
#include "wincompat/WideString.h"

namespace {
constexpr const wchar_t* kLogSource = L"VaVssHwProvider";

struct RestoreResult {
  std::string key;  // the snapshot name, or the source serial number when a LUN was not found
  std::string target;
  HRESULT hr;
};

// A pair already worked on in this call, by target volume id.
struct RestoredVolume {
  std::size_t position;
  std::string snapshotId;
};

std::string JoinNames(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : ", ") + name;
  return text.empty() ? "none" : text;
}
}  // namespace

HRESULT CVaVssHwProvider::ResyncLuns(VDS_LUN_INFORMATION* pSourceLuns, VDS_LUN_INFORMATION* pTargetLuns, DWORD dwCount,
                                     IVssAsync** ppAsync) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::ResyncLuns");
  bool virtualDiskRefused = false;
  const HRESULT hr = provider::GuardedCall(L"CVaVssHwProvider::ResyncLuns", [&]() -> HRESULT {
    if (pSourceLuns == nullptr || pTargetLuns == nullptr || dwCount == 0) {
      VA_LOG(MSG_ERROR, L"Either Source Lun or the TargetLun parameter is empty or NULL.");
      return VSS_E_PROVIDER_VETO;
    }
    if (const HRESULT refreshed = RefreshArrays(); FAILED(refreshed)) {
      VA_LOG(MSG_ERROR, L"Refresh Array Operation failed with the error 0x%x", static_cast<unsigned>(refreshed));
      return VSS_E_PROVIDER_VETO;
    }
    std::vector<RestoreResult> results;  // one per pair, in the order of the pairs
    std::map<std::string, RestoredVolume> restoredVolumes;
    std::optional<std::vector<std::string>> hostInitiators;  // asked for once, when needed
    for (DWORD i = 0; i < dwCount; ++i) {
      const std::string sourceSerial = provider::LunString(pSourceLuns[i].m_szSerialNumber);
      const std::string targetSerial = provider::LunString(pTargetLuns[i].m_szSerialNumber);
      SerialLocation snapshot;
      const bool snapshotFound = FindSerialOnArrays(sourceSerial, true, snapshot) && snapshot.snapshot != nullptr;

      if (provider::IsVirtualDisk(pTargetLuns[i])) {
        logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_RESTORE_VVOL_UNSUPPORTED);
        VA_LOG(MSG_ERROR, L"Restore operation is not supported for Vvols");
        virtualDiskRefused = true;
        return VSS_E_NOT_SUPPORTED;
      }

      SerialLocation volume;
      const bool volumeFound = FindSerialOnArrays(targetSerial, false, volume) && volume.volume != nullptr;
      if (!snapshotFound || !volumeFound) {
        for (const auto& [missing, serial] : {std::pair{!volumeFound, targetSerial}, std::pair{!snapshotFound, sourceSerial}}) {
          if (!missing) continue;
          VA_LOG(MSG_ERROR, L"Could not find an Vantor Group which owns the LUN with Serial Number: %S.", serial);
          const std::wstring serialWide = wincompat::ToWide(serial);
          logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_NO_OWNING_ARRAY, serialWide.c_str());
        }
        results.push_back({sourceSerial, targetSerial, VSS_E_PROVIDER_VETO});
        continue;
      }

      const Vantor::SnapshotRecord& snap = *snapshot.snapshot;
      const Vantor::VolumeRecord& vol = *volume.volume;
      const std::wstring snapName = wincompat::ToWide(snap.mName);
      const std::wstring volName = wincompat::ToWide(vol.mName);
      if (snapshot.groupUid != volume.groupUid) {
        logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_RESTORE_ACROSS_GROUPS, snapName.c_str(), volName.c_str());
        VA_LOG(MSG_ERROR, L"Mismatch found between Snapshot Lun Group Id %ld and Target Lun Group Id =%ld.",
               snapshot.groupUid, volume.groupUid);
        results.push_back({snap.mName, vol.mName, VSS_E_PROVIDER_VETO});
        continue;
      }
      if (snap.mVolName != vol.mName) {
        const std::wstring parentName = wincompat::ToWide(snap.mVolName);
        logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_RESTORE_NOT_IN_PLACE, snapName.c_str(),
                                    parentName.c_str(), volName.c_str());
        VA_LOG(MSG_ERROR,
               L"The snpahsot Source Lun %S and Target Lun %S do not match. Provider does not support restoring the "
               L"snapshot to different volume other than to the volume on which snapshot was taken. We only support "
               L"in place Restore.",
               snap.mVolName, vol.mName);
        results.push_back({snap.mName, vol.mName, VSS_E_PROVIDER_VETO});
        continue;
      }
      if (!hostInitiators) hostInitiators = mRestoreSettings.hostInitiators ? mRestoreSettings.hostInitiators()
                                                                             : std::vector<std::string>{};
      if (!provider::IsPresentedTo(vol, *hostInitiators)) {
        VA_LOG(MSG_ERROR,
               L"Volume %S is not presented to this host: its access-control records (%S) name none of this host's "
               L"initiators (%S). Snapshot %S is not restored onto it; nothing is sent to the array for it.",
               vol.mName, JoinNames(vol.mAccessInitiators), JoinNames(*hostInitiators), snap.mName);
        results.push_back({snap.mName, vol.mName, VSS_E_PROVIDER_VETO});
        continue;
      }
      // A volume is restored once per call: a pair that names it again gets the first pair's
      // result when it names the same snapshot, and fails when it names another.
      if (const auto seen = restoredVolumes.find(vol.mId); seen != restoredVolumes.end()) {
        const bool sameSnapshot = seen->second.snapshotId == snap.mId;
        VA_LOG(MSG_ERROR, L"Volume %S is named again by pair %d (first by pair %d)%S; no request is sent for it again",
               vol.mName, static_cast<int>(i + 1), static_cast<int>(seen->second.position + 1),
               sameSnapshot ? "" : " with another snapshot");
        results.push_back({snap.mName, vol.mName,
                           sameSnapshot ? results[seen->second.position].hr : VSS_E_PROVIDER_VETO});
        continue;
      }
      restoredVolumes.emplace(vol.mId, RestoredVolume{results.size(), snap.mId});
      const auto array = mArrays.find(volume.groupUid);
      const HRESULT restored = array == mArrays.end() ? VSS_E_PROVIDER_VETO : RestoreVol(*array->second, snap, vol);
      results.push_back({snap.mName, vol.mName, restored});
    }

    HRESULT result = S_OK;
    std::ostringstream report;
    for (const auto& entry : results) {
      const bool ok = SUCCEEDED(entry.hr);
      if (!ok) result = VSS_E_PROVIDER_VETO;
      report << "Snapshot Name :" << entry.key << " Target Vol Name: " << entry.target
             << (ok ? " Restore Operation Result : SUCCESS" : " Restore Operation Result : FAILED") << "\r\n";
    }
    VA_LOG(MSG_INFO, L"******* Consolidated Retore Operation result ******");
    VA_LOG(MSG_INFO, L"%S", report.str());
    return result;
  });
  // The virtual-disk refusal leaves *ppAsync as it was; every other answer carries an async
  // object that has nothing left to do.
  if (!virtualDiskRefused && ppAsync != nullptr) *ppAsync = CVssAsync::CreateFinished();
  return hr;
}

HRESULT CVaVssHwProvider::RestoreVol(VaVssArrayWrapper& array, const Vantor::SnapshotRecord& snapshot,
                                     const Vantor::VolumeRecord& volume) {
  CLogger scope(L"CVaVssHwProvider::RestoreVol");
  VA_LOG(MSG_INFO, L"begin Restore Vol operation sequence for snapshot: %S, parent: %S", snapshot.mName, volume.mName);
  const auto offlineSent = std::chrono::steady_clock::now();
  const HRESULT offline = array.OfflineVolume(volume);
  const auto offlineWaited =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - offlineSent);
  HRESULT restored = VSS_E_PROVIDER_VETO;
  if (offline != S_OK) {
    // Nothing is restored onto a volume whose offline failed or may have failed: the array may
    // still be carrying that offline out, and the restore would meet a volume in use.
    VA_LOG(MSG_ERROR, L"OfflineVolume operation for Snapshot's parent LUN %S failed.", volume.mName);
  } else {
    restored = array.RestoreVolume(volume, snapshot);
    if (restored != S_OK) VA_LOG(MSG_ERROR, L"Restore Volume operation failed on the LUN=%S", volume.mName);
  }
  // Whatever came back, the volume ends online: an offline volume is an outage for every host
  // that uses it. After an offline of unknown outcome the array may still carry it out, so the
  // state is watched for twice as long as that request waited (at least twice its timeout).
  std::chrono::milliseconds watch{0};
  if (offline == VA_E_OUTCOME_UNKNOWN)
    watch = 2 * std::max(offlineWaited, std::chrono::milliseconds(discovery::ReadRestReceiveTimeout()));
  const bool online = provider::BringVolumeOnline(array, volume, mRestoreSettings, watch);
  if (!online) {
    VA_LOG(MSG_ERROR,
           L"Online Volume operation failed on the LUN=%S: the array did not report it online within %lld seconds. "
           L"Put volume %S online on group %S (every host that uses it cannot reach it until then) and check its "
           L"data before using it.",
           volume.mName, static_cast<long long>((mRestoreSettings.onlineDeadline + watch).count() / 1000),
           volume.mName, array.GetGroupAddress());
    const std::wstring name = wincompat::ToWide(volume.mName);
    const std::wstring reason = wincompat::ToWide(
        "the array did not put it online after a restore; put the volume online on group " + array.GetGroupAddress() +
        " and check its data before using it");
    logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_VOLUME_ONLINE_FAILED, name.c_str(), reason.c_str());
  }
  // A refused offline ended no iSCSI session; any other may have.
  const HRESULT exposed = offline == E_FAIL ? S_OK : array.ExposeTarget(volume, mIscsiDigestPolicy);
  return (offline != S_OK || FAILED(restored) || !online || FAILED(exposed)) ? VSS_E_PROVIDER_VETO : S_OK;
}
