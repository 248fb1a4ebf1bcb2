// After a commit: the identity of each snapshot LUN (GetTargetLuns), making snapshot LUNs
// appear on this host (LocateLuns), and hiding them again (OnLunEmpty, OnLunStateChange).
#include <cstring>

#include "array/VaVssArrayWrapper.h"
#include "logger/EventReporter.h"
#include "messages/VantorVssMessages.h"
#include "provider/LunInformation.h"
#include "provider/ProviderCall.h"
#include "provider/VaVssHwProvider.h"
#include "wincompat/WideString.h"

namespace {
constexpr const wchar_t* kLogSource = L"VaVssHwProvider";
constexpr ULONG kDescriptorVersion = 16;
constexpr DWORD kNotifyReadWrite = 0x100;
constexpr DWORD kNotifyPreRecovery = 0x200;
constexpr DWORD kNotifyPostRecovery = 0x400;
constexpr DWORD kMaskLuns = 0x800;

// The snapshot LUN as VSS must record it: the source LUN's description with the snapshot's
// serial number and designators. Everything is task memory that VSS frees.
bool FillTargetLun(const VDS_LUN_INFORMATION& source, const VaSnapshotInfo& info, VDS_LUN_INFORMATION& target) {
  target = {};
  target.m_version = source.m_version;
  target.m_DeviceType = source.m_DeviceType;
  target.m_DeviceTypeModifier = source.m_DeviceTypeModifier;
  target.m_bCommandQueueing = source.m_bCommandQueueing;
  target.m_BusType = source.m_BusType;
  const std::vector<provider::LunIdentifier> identifiers = {
      {VDSStorageIdCodeSetAscii, VDSStorageIdTypeVendorId,
       std::vector<std::uint8_t>(info.mSnapshotVendorId.begin(), info.mSnapshotVendorId.end())},
      {VDSStorageIdCodeSetBinary, VDSStorageIdTypeEUI64,
       std::vector<std::uint8_t>(info.mSnapshotEui64.begin(), info.mSnapshotEui64.end())}};
  VDS_LUN_INFORMATION built{};
  if (!provider::BuildLunInformation(built, provider::LunString(source.m_szVendorId), provider::LunString(source.m_szProductId),
                                     provider::LunString(source.m_szProductRevision), info.mSnapshotSerialNumber, identifiers))
    return false;
  target.m_szVendorId = built.m_szVendorId;
  target.m_szProductId = built.m_szProductId;
  target.m_szProductRevision = built.m_szProductRevision;
  target.m_szSerialNumber = built.m_szSerialNumber;
  target.m_deviceIdDescriptor = built.m_deviceIdDescriptor;
  target.m_deviceIdDescriptor.m_version = kDescriptorVersion;
  return true;
}
}  // namespace

HRESULT CVaVssHwProvider::GetTargetLuns(LONG lLunCount, VSS_PWSZ* /*rgDeviceNames*/, VDS_LUN_INFORMATION* rgSourceLuns,
                                        VDS_LUN_INFORMATION* rgDestinationLuns) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::GetTargetLuns");
  return provider::GuardedCall(L"CVaVssHwProvider::GetTargetLuns", [&]() -> HRESULT {
    VA_LOG(MSG_INFO, L"GetTargetLuns(), Entered, lLunCount %d", lLunCount);
    HRESULT result = S_OK;
    if (rgSourceLuns == nullptr || rgDestinationLuns == nullptr) lLunCount = 0;
    for (LONG i = 0; i < lLunCount; ++i) {
      VDS_LUN_INFORMATION& source = rgSourceLuns[i];
      const std::string serial = provider::LunString(source.m_szSerialNumber);
      VA_LOG(MSG_INFO, L"rgSourceLuns[%d].m_szSerialNumber '%S'", i, serial);
      std::shared_ptr<VaSnapshotInfo> match;
      if (const auto set = FindSnapshotSet(mCurrentSnapshotSetId)) {
        VA_LOG(MSG_INFO, L"Looking at volumes in SnapshotSetId '%s'", wincompat::ToWide(mCurrentSnapshotSetId));
        for (const auto& [key, info] : set->mVolSnapshotInfoMap) {
          VA_LOG(MSG_DEBUG, L"SnapshotSet volume s/n '%S'", key);
          if (info->KeySerial() == serial) {
            VA_LOG(MSG_INFO, L"Found snap lun s/n '%S', src lun s/n '%S', snap serial number '%S'", info->KeySerial(),
                   info->mSourceSerialNumber, info->mSnapshotSerialNumber);
            match = info;
            break;
          }
        }
      }
      if (!match) {
        VA_LOG(MSG_ERROR, L"** Could not find snapshot  for source serial # '%S'", serial);
        const std::wstring serialWide = wincompat::ToWide(serial);
        logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_TARGET_LUN_NOT_IN_SET, serialWide.c_str());
        result = VSS_E_PROVIDER_VETO;
        continue;
      }
      match->mLunVersion = source.m_version;
      match->mDeviceType = source.m_DeviceType;
      match->mDeviceTypeModifier = source.m_DeviceTypeModifier;
      match->mCommandQueueing = source.m_bCommandQueueing;
      if (!FillTargetLun(source, *match, rgDestinationLuns[i])) {
        VA_LOG(MSG_ERROR, L"** Failed to allocate the target LUN of %S", serial);
        result = VSS_E_PROVIDER_VETO;
        continue;
      }
      VA_LOG(MSG_INFO, L"GetTarget serial number: %S", match->mSnapshotSerialNumber);
      VA_LOG(MSG_DEBUG, L"GetTarget VPD 10...");
      provider::DumpBytes(match->mSnapshotVendorId.data(), match->mSnapshotVendorId.size());
      VA_LOG(MSG_DEBUG, L"GetTarget VPD ieeee..");
      provider::DumpBytes(match->mSnapshotEui64.data(), match->mSnapshotEui64.size());
    }
    VA_LOG(MSG_INFO, L"GetTargetLuns(), Exiting, hr %x", static_cast<unsigned>(result));
    return result;
  });
}

HRESULT CVaVssHwProvider::LocateLuns(LONG lLunCount, VDS_LUN_INFORMATION* rgSourceLuns) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::LocateLuns");
  return provider::GuardedCall(L"CVaVssHwProvider::LocateLuns", [&]() -> HRESULT {
    if (const HRESULT refreshed = RefreshArrays(); FAILED(refreshed)) {
      VA_LOG(MSG_ERROR, L"** Failed to refresh list of array");
      return refreshed;
    }
    HRESULT result = S_OK;
    for (LONG i = 0; rgSourceLuns != nullptr && i < lLunCount; ++i) {
      const VDS_LUN_INFORMATION& lun = rgSourceLuns[i];
      const std::string serial = provider::LunString(lun.m_szSerialNumber);
      const std::wstring serialWide = wincompat::ToWide(serial);
      VA_LOG(MSG_INFO, L"Exposing %S", serial);
      SerialLocation location;
      const bool found = FindSerialOnArrays(serial, true, location) && location.snapshot != nullptr;
      const auto array = found ? mArrays.find(location.groupUid) : mArrays.end();
      if (array == mArrays.end()) {
        VA_LOG(MSG_ERROR, L"** Could not locate lun %S", serial);
        logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_LOCATE_NO_OWNING_GROUP, serialWide.c_str());
        return VSS_E_PROVIDER_VETO;
      }
      VA_LOG(MSG_INFO, L"About to online/expose %S", serial);
      if (FAILED(array->second->OnlineSnapshot(*location.snapshot))) VA_LOG(MSG_ERROR, L"** Failed to online");
      VA_LOG(MSG_INFO, L"VSS snapshot BusType = 0x%x", static_cast<unsigned>(lun.m_BusType));
      // Only the last exposure decides the answer; an earlier failure is logged and VSS sees
      // the disk missing, which is how it has always behaved.
      result = array->second->ExposeTarget(*location.snapshot, mIscsiDigestPolicy);
      if (FAILED(result)) VA_LOG(MSG_ERROR, L"** Failed to expose");

      auto identity = std::make_shared<provider::DeviceIdentity>();
      identity->serialNumber = serial;
      const VDS_STORAGE_DEVICE_ID_DESCRIPTOR& descriptor = lun.m_deviceIdDescriptor;
      if (descriptor.m_rgIdentifiers != nullptr && descriptor.m_cIdentifiers >= 2) {
        const VDS_STORAGE_IDENTIFIER& first = descriptor.m_rgIdentifiers[0];
        const VDS_STORAGE_IDENTIFIER& second = descriptor.m_rgIdentifiers[1];
        if (first.m_rgbIdentifier != nullptr)
          std::memcpy(identity->vendorId.data(), first.m_rgbIdentifier,
                      std::min<std::size_t>(first.m_cbIdentifier, identity->vendorId.size()));
        if (second.m_rgbIdentifier != nullptr)
          std::memcpy(identity->eui64.data(), second.m_rgbIdentifier,
                      std::min<std::size_t>(second.m_cbIdentifier, identity->eui64.size()));
      }
      VA_LOG(MSG_DEBUG, L"LocateLun VPD");
      provider::DumpBytes(identity->vendorId.data(), identity->vendorId.size());
      VA_LOG(MSG_DEBUG, L"LocateLun eeee");
      provider::DumpBytes(identity->eui64.data(), identity->eui64.size());
      mLocatedLuns.push_back(identity);
      VA_LOG(MSG_INFO, L"Pushing located lun %S", serial);
      logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_SNAPSHOT_IMPORTED, serialWide.c_str());
    }
    return result;
  });
}

HRESULT CVaVssHwProvider::UnexposeSnapshotLun(const VDS_LUN_INFORMATION& lun) {
  CLogger scope(L"CVaVssHwProvider::RemoveSnapshotLun");
  const std::string serial = provider::LunString(lun.m_szSerialNumber);
  HRESULT hr = S_OK;
  SerialLocation location;
  const bool found = FindSerialOnArrays(serial, true, location) && location.snapshot != nullptr;
  const auto array = found ? mArrays.find(location.groupUid) : mArrays.end();
  if (array == mArrays.end()) {
    VA_LOG(MSG_ERROR, L"Could not locate lun %S", serial);
    hr = VSS_E_PROVIDER_VETO;
  } else {
    const Vantor::SnapshotRecord& snapshot = *location.snapshot;
    VA_LOG(MSG_INFO, L"Unexposing snapshot: %S, parent: %S", snapshot.mName, snapshot.mVolName);
    VA_LOG(MSG_INFO, L"VSS snapshot BusType = 0x%x", static_cast<unsigned>(lun.m_BusType));
    // Hiding is the logout and then the offline of the snapshot: its disk goes away from the
    // host and the array stops serving it, but the snapshot itself stays.
    hr = array->second->UnexposeSnapshot(snapshot);
    const HRESULT offline = array->second->OfflineSnapshot(snapshot.mId, snapshot.mName, snapshot.mVolName);
    if (SUCCEEDED(hr)) hr = offline;
  }
  VA_LOG(MSG_INFO, L"RemoveSnapshotLun(), On Exit, hr = 0x%x", static_cast<unsigned>(hr));
  return hr;
}

HRESULT CVaVssHwProvider::OnLunEmpty(VSS_PWSZ /*wszDeviceName*/, VDS_LUN_INFORMATION* pInformation) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::OnLunEmpty");
  return provider::GuardedCall(L"CVaVssHwProvider::OnLunEmpty", [&]() -> HRESULT {
    VA_LOG(MSG_INFO, L"OnLunEmpty(), Entry");
    HRESULT hr = S_OK;
    if (pInformation != nullptr) hr = UnexposeSnapshotLun(*pInformation);
    VA_LOG(MSG_INFO, L"OnLunEmpty(), On Exit, hr = 0x%x", static_cast<unsigned>(hr));
    return hr;
  });
}

HRESULT CVaVssHwProvider::OnLunStateChange(VDS_LUN_INFORMATION* pSnapshotLuns, VDS_LUN_INFORMATION* /*pOriginalLuns*/,
                                           DWORD dwCount, DWORD dwFlags) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::OnLunStateChange");
  return provider::GuardedCall(L"CVaVssHwProvider::OnLunStateChange", [&]() -> HRESULT {
    VA_LOG(MSG_INFO, L"OnLunStateChange called with count = %ld, flags = 0x%x", static_cast<long>(dwCount), dwFlags);
    for (DWORD i = 0; pSnapshotLuns != nullptr && i < dwCount; ++i) {
      const std::string serial = provider::LunString(pSnapshotLuns[i].m_szSerialNumber);
      if (dwFlags & kNotifyReadWrite) VA_LOG(MSG_INFO, L"Snapshot LUN %S will be permanently convereted to R/W.", serial);
      if (dwFlags & kNotifyPreRecovery)
        VA_LOG(MSG_INFO, L"Snapshot LUN %S is about to undergo TxF recovery or VSS auto recovery.", serial);
      if (dwFlags & kNotifyPostRecovery)
        VA_LOG(MSG_INFO, L"Snapshot LUN %S has just undergone TxF recovery or VSS auto recovery.", serial);
      if (dwFlags & kMaskLuns) {
        VA_LOG(MSG_INFO, L"Snapshot LUN %S is to be masked", serial);
        if (const HRESULT refreshed = RefreshArrays(); FAILED(refreshed)) {
          VA_LOG(MSG_ERROR, L"** Failed to refresh list of array");
          return refreshed;
        }
        UnexposeSnapshotLun(pSnapshotLuns[i]);  // its result is not VSS's business here
      }
    }
    return S_OK;
  });
}
