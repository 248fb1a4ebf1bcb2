// In-place restore: each target LUN must be the very volume its paired snapshot LUN was taken
// from, on the same group. The volume goes offline, is restored, comes online and is logged in
// to again; one consolidated report covers every pair.
#include <map>
#include <sstream>

#include "array/VaVssArrayWrapper.h"
#include "logger/EventReporter.h"
#include "messages/VantorVssMessages.h"
#include "provider/LunInformation.h"
#include "provider/ProviderCall.h"
#include "provider/VaVssHwProvider.h"
#include "provider/VssAsync.h"
#include "wincompat/WideString.h"

namespace {
constexpr const wchar_t* kLogSource = L"VaVssHwProvider";

struct RestoreResult {
  std::string target;
  HRESULT hr;
};
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
    std::map<std::string, RestoreResult> results;  // first entry of a key wins
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
        results.emplace(sourceSerial, RestoreResult{targetSerial, VSS_E_PROVIDER_VETO});
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
        results.emplace(snap.mName, RestoreResult{vol.mName, VSS_E_PROVIDER_VETO});
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
        results.emplace(snap.mName, RestoreResult{vol.mName, VSS_E_PROVIDER_VETO});
        continue;
      }
      const auto array = mArrays.find(volume.groupUid);
      const HRESULT restored = array == mArrays.end() ? VSS_E_PROVIDER_VETO : RestoreVol(*array->second, snap, vol);
      results.emplace(snap.mName, RestoreResult{vol.mName, restored});
    }

    HRESULT result = S_OK;
    std::ostringstream report;
    for (const auto& [key, entry] : results) {
      const bool ok = SUCCEEDED(entry.hr);
      if (!ok) result = VSS_E_PROVIDER_VETO;
      report << "Snapshot Name :" << key << " Target Vol Name: " << entry.target
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
  if (array.OfflineVolume(volume) != S_OK) {
    VA_LOG(MSG_ERROR, L"OfflineVolume operation for Snapshot's parent LUN %S failed.", volume.mName);
    return VSS_E_PROVIDER_VETO;
  }
  const HRESULT restored = array.RestoreVolume(volume, snapshot);
  if (restored != S_OK) VA_LOG(MSG_ERROR, L"Restore Volume operation failed on the LUN=%S", volume.mName);
  // The volume comes back online even when the restore failed: an offline volume is worse.
  const HRESULT onlined = array.OnlineVolume(volume);
  if (onlined != S_OK) VA_LOG(MSG_ERROR, L"Online Volume operation failed on the LUN=%S", volume.mName);
  const HRESULT exposed = array.ExposeTarget(volume, mIscsiDigestPolicy);
  return (FAILED(restored) || FAILED(onlined) || FAILED(exposed)) ? VSS_E_PROVIDER_VETO : S_OK;
}
