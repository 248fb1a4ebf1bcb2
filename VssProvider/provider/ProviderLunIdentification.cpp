// Which LUNs the provider handles, the identity it gives them, and the lookup that maps a LUN
// serial number to the array group and volume (or snapshot) that own it.
#include <algorithm>
#include <cstring>
#include <vector>

#include "array/VaVssArrayWrapper.h"
#include "logger/EventReporter.h"
#include "messages/VantorVssMessages.h"
#include "platform/StorageDeviceDescriptors.h"
#include "platform/StorageDevices.h"
#include "provider/LunInformation.h"
#include "provider/ProviderCall.h"
#include "provider/VaVssHwProvider.h"
#include "wincompat/WideString.h"

namespace {
constexpr const wchar_t* kLogSource = L"VaVssHwProvider";
constexpr DWORD kDeviceIdBufferSize = 4096;
constexpr ULONG kDescriptorVersion = 16;

// Rewrites one identifier of the LUN to the provider's designator when it differs.
bool FixIdentifier(VDS_STORAGE_IDENTIFIER& id, const std::uint8_t* wanted, ULONG size, VDS_STORAGE_IDENTIFIER_CODE_SET codeSet,
                   VDS_STORAGE_IDENTIFIER_TYPE type, const wchar_t* fixing, const wchar_t* original,
                   const wchar_t* replacement, const wchar_t* allocationFailure) {
  const bool same = id.m_cbIdentifier == size && id.m_rgbIdentifier != nullptr &&
                    std::memcmp(id.m_rgbIdentifier, wanted, size) == 0;
  if (same) return true;
  VA_LOG(MSG_INFO, L"%s", fixing);
  VA_LOG(MSG_DEBUG, L"%s", original);
  if (id.m_rgbIdentifier != nullptr) provider::DumpBytes(id.m_rgbIdentifier, id.m_cbIdentifier);
  VA_LOG(MSG_DEBUG, L"%s", replacement);
  provider::DumpBytes(wanted, size);
  id.m_CodeSet = codeSet;
  id.m_Type = type;
  if (!provider::ReplaceIdentifierBytes(id, wanted, size)) {
    VA_LOG(MSG_ERROR, L"%s", allocationFailure);
    return false;
  }
  return true;
}
}  // namespace

HRESULT CVaVssHwProvider::AreLunsSupported(LONG lLunCount, LONG /*lContext*/, VSS_PWSZ* /*rgwszDevices*/,
                                           VDS_LUN_INFORMATION* pLunInformation, WINBOOL* pbIsSupported) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::AreLunsSupported");
  if (pbIsSupported == nullptr) return E_POINTER;
  *pbIsSupported = TRUE;
  const HRESULT hr = provider::GuardedCall(L"CVaVssHwProvider::AreLunsSupported", [&] {
    VA_LOG(MSG_INFO, L"lunCount = %d", lLunCount);
    for (LONG i = 0; pLunInformation != nullptr && i < lLunCount; ++i) {
      const VDS_LUN_INFORMATION& lun = pLunInformation[i];
      VA_LOG(MSG_INFO, L"Checking if LUN (%S, %S, %S, %S) is supported", provider::LunString(lun.m_szVendorId),
             provider::LunString(lun.m_szProductId), provider::LunString(lun.m_szProductRevision), provider::LunString(lun.m_szSerialNumber));
      const std::string serial = provider::LunString(lun.m_szSerialNumber);
      const std::wstring serialWide = wincompat::ToWide(serial);
      bool supported = false;
      if (provider::IsArrayLun(lun)) {
        logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_LUN_SUPPORTED, serialWide.c_str());
        supported = true;
      } else if (provider::IsVirtualDisk(lun)) {
        VirtualVolumeEntry entry;
        if (!IsVantorVirtualVolume(serial, entry)) {
          logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_VIRTUAL_VOLUME_UNSUPPORTED, serialWide.c_str());
        } else {
          mVirtualVolumeMap[serial] = entry;
          const std::wstring backingSerial = wincompat::ToWide(entry.volume->mSerialNumber);
          const std::wstring backingName = wincompat::ToWide(entry.volume->mName);
          logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_VIRTUAL_VOLUME_SUPPORTED, serialWide.c_str(),
                                      backingSerial.c_str(), backingName.c_str());
          supported = true;
        }
      }
      if (!supported) {
        // One LUN that cannot be handled makes the whole set unsupported.
        *pbIsSupported = FALSE;
        VA_LOG(MSG_INFO, L"LUN not supported");
        break;
      }
    }
    return S_OK;
  });
  if (FAILED(hr)) *pbIsSupported = FALSE;
  return S_OK;
}

HRESULT CVaVssHwProvider::FillInLunInfo(VSS_PWSZ wszDeviceName, VDS_LUN_INFORMATION* pLunInfo, WINBOOL* pbIsSupported) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::FillInLunInfo");
  if (pbIsSupported == nullptr || pLunInfo == nullptr) return E_POINTER;
  const std::wstring deviceName = wszDeviceName ? wszDeviceName : L"";
  VDS_LUN_INFORMATION& lun = *pLunInfo;
  VA_LOG(MSG_INFO, L"Device Name is: %s LUN Info for: %S, %S, %S, %S", deviceName, provider::LunString(lun.m_szVendorId),
         provider::LunString(lun.m_szProductId), provider::LunString(lun.m_szProductRevision), provider::LunString(lun.m_szSerialNumber));
  *pbIsSupported = TRUE;
  const HRESULT hr = provider::GuardedCall(L"CVaVssHwProvider::FillInLunInfo", [&]() -> HRESULT {
    if (!provider::IsArrayLun(lun)) {
      *pbIsSupported = FALSE;
      return S_OK;
    }
    const std::string serial = provider::LunString(lun.m_szSerialNumber);
    std::shared_ptr<provider::DeviceIdentity> identity;
    for (const auto& located : mLocatedLuns) {
      if (located->serialNumber == serial) {
        identity = located;
        break;
      }
    }
    if (!identity) {
      VA_LOG(MSG_INFO, L"We did not locate %S lun. Let's get the values from the LUN itself", serial);
      identity = std::make_shared<provider::DeviceIdentity>();
      identity->serialNumber = serial;
      if (QueryDeviceIdentity(deviceName, *identity) != 0) {
        *pbIsSupported = FALSE;
        return S_OK;
      }
    }
    if (const HRESULT refreshed = RefreshArrays(); FAILED(refreshed)) {
      VA_LOG(MSG_ERROR, L"** Failed to refresh list of array. Error 0x%x", static_cast<unsigned>(refreshed));
      *pbIsSupported = FALSE;
      return S_OK;
    }
    // A LUN that LocateLuns exposed is a snapshot: the arrays know it among their snapshots,
    // not their volumes. So is a snapshot LUN that another provider object exposed (VSS asks
    // again before OnLunEmpty, typically after a restart): when no group holds the serial
    // number as a volume, it is looked up among the snapshots.
    const bool exposedSnapshot = std::any_of(mLocatedLuns.begin(), mLocatedLuns.end(),
                                             [&](const auto& located) { return located == identity; });
    SerialLocation location;
    const bool found = FindSerialOnArrays(serial, exposedSnapshot, location) ||
                       (!exposedSnapshot && FindSerialOnArrays(serial, true, location));
    if (!found) {
      VA_LOG(MSG_ERROR, L"** LUN with serial # %S not found on array.. local system name is %s", serial, deviceName);
      *pbIsSupported = FALSE;
      return S_OK;
    }
    const GUID nullGuid{};
    if (!(lun.m_diskSignature == nullGuid)) {
      VA_LOG(MSG_INFO, L"Fixing m_diskSignature..setting to GUID_NULL");
      lun.m_diskSignature = nullGuid;
    }
    VDS_STORAGE_DEVICE_ID_DESCRIPTOR& descriptor = lun.m_deviceIdDescriptor;
    if (descriptor.m_version != kDescriptorVersion || descriptor.m_cIdentifiers != 2 ||
        descriptor.m_rgIdentifiers == nullptr) {
      VA_LOG(MSG_ERROR, L"FillInLunInfo .. Invalid values for VDS_ID_STORAGE_DESCRIPTOR Expected 16, 2. Actual  is %d,%d",
             descriptor.m_version, descriptor.m_cIdentifiers);
      *pbIsSupported = FALSE;
      return S_OK;
    }
    if (!FixIdentifier(descriptor.m_rgIdentifiers[0], identity->vendorId.data(), provider::kVendorIdDesignatorSize,
                       VDSStorageIdCodeSetAscii, VDSStorageIdTypeVendorId, L"Fixing VdsId 1", L"Org VPD 10...",
                       L"New VPD 10...", L"** Failed to allocate memory for pVdsId1->m_rgbIdentifier") ||
        !FixIdentifier(descriptor.m_rgIdentifiers[1], identity->eui64.data(), provider::kEui64DesignatorSize,
                       VDSStorageIdCodeSetBinary, VDSStorageIdTypeEUI64, L"Fixing VdsId 2", L"Org vpd_ieee...",
                       L"New vpd_ieee...", L"** Failed to allocate memory for pVdsId2->m_rgbIdentifier")) {
      *pbIsSupported = FALSE;
    }
    return S_OK;
  });
  if (FAILED(hr)) *pbIsSupported = FALSE;
  return S_OK;
}

LONG CVaVssHwProvider::QueryDeviceIdentity(const std::wstring& devicePath, provider::DeviceIdentity& identity) {
  CLogger scope(L"CVaVssHwProvider::QueryDeviceIdentity");
  std::unique_ptr<platform::StorageDevice> device;
  const DWORD opened = platform::TheStorageDevices().OpenDevice(devicePath, device);
  if (opened != ERROR_SUCCESS || !device) {
    VA_LOG(MSG_ERROR, L"** Failed to Open Device %s %d", devicePath, opened);
    return static_cast<LONG>(opened != ERROR_SUCCESS ? opened : ERROR_GEN_FAILURE);
  }
  std::vector<BYTE> buffer;
  try {
    buffer.assign(kDeviceIdBufferSize, 0);
  } catch (const std::bad_alloc&) {
    VA_LOG(MSG_ERROR, L"Failed to allocate memory for PSTORAGE_DEVICE_DESCRIPTOR ");
    return ERROR_NOT_ENOUGH_MEMORY;
  }
  DWORD returned = 0;
  const DWORD queried = device->QueryDeviceIdProperty(buffer.data(), kDeviceIdBufferSize, &returned);
  if (queried != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"Failed to issue IOCTL - IOCTL_STORAGE_QUERY_PROPERTY ... Error = %d ", queried);
    return static_cast<LONG>(queried);
  }
  const auto walk = platform::WalkStorageDeviceIdDescriptor(
      std::span<const std::uint8_t>(buffer.data(), std::min<std::size_t>(returned, buffer.size())));
  if (walk.status != platform::DeviceIdWalkStatus::Complete)
    VA_LOG(MSG_WARNING, L"Device identifier descriptor of %s: %S", devicePath, platform::ToString(walk.status));

  bool haveEui64 = false;
  bool haveVendorId = false;
  for (const auto& id : walk.identifiers) {
    if (id.codeSet == platform::StorageIdCodeSetBinary && id.type == platform::StorageIdTypeEUI64 &&
        id.identifier.size() == provider::kEui64DesignatorSize) {
      // Each 8-byte half is kept in the reverse of the device's byte order.
      for (std::size_t i = 0; i < 8; ++i) {
        identity.eui64[i] = id.identifier[7 - i];
        identity.eui64[8 + i] = id.identifier[15 - i];
      }
      VA_LOG(MSG_DEBUG, L"VPD IEEE from LUN ..");
      provider::DumpBytes(identity.eui64.data(), identity.eui64.size());
      haveEui64 = true;
    } else if (id.codeSet == platform::StorageIdCodeSetAscii && id.type == platform::StorageIdTypeVendorId &&
               id.identifier.size() <= provider::kVendorIdDesignatorSize) {
      identity.vendorId.fill(0);
      std::copy(id.identifier.begin(), id.identifier.end(), identity.vendorId.begin());
      VA_LOG(MSG_DEBUG, L"VPD 10 from LUN ..");
      provider::DumpBytes(id.identifier.data(), id.identifier.size());
      haveVendorId = true;
    }
  }
  if (haveEui64 && haveVendorId) return 0;
  VA_LOG(MSG_ERROR, L"** VPD 10 and / or VPD ieee is not found");
  return -1;
}

bool CVaVssHwProvider::FindSerialOnArrays(const std::string& serial, bool isSnapshot, SerialLocation& location) {
  CLogger scope(L"CVaVssHwProvider::FindSerialOnArrays");
  auto askWrapper = [&](VaVssArrayWrapper& wrapper, bool deep) {
    location = {};
    location.groupUid = wrapper.GetGroupUid();
    return isSnapshot ? wrapper.FindSnapshot(serial, deep, location.snapshot)
                      : wrapper.FindVolume(serial, deep, location.volume);
  };

  std::string address;
  if (mArrayAccess.groupAddressForSerial) {
    address = mArrayAccess.groupAddressForSerial(serial);
    if (address.empty() && isSnapshot) {
      if (const auto source = mSnapToSourceSerialMap.find(serial); source != mSnapToSourceSerialMap.end())
        address = mArrayAccess.groupAddressForSerial(source->second);
    }
  }
  if (!address.empty()) {
    const auto uid = mGroupIPToUidMap.find(address);
    if (uid == mGroupIPToUidMap.end()) {
      VA_LOG(MSG_WARNING, L"Unexpected error. Array address %S is returned by VDSM, but does not exist in mGroupIPToUidMap.",
             address);
    } else if (const auto array = mArrays.find(uid->second); array == mArrays.end()) {
      VA_LOG(MSG_WARNING,
             L"Unexpected error. Array address %S is returned by VDSM, but its group Uid '%S' does not exist in mArrays.",
             address, uid->second);
    } else {
      location = {};
      location.groupUid = uid->second;
      const bool found = isSnapshot ? array->second->FindSerial(serial, location.snapshot)
                                    : array->second->FindSerial(serial, location.volume);
      if (found) {
        VA_LOG(MSG_INFO, L"Serial # %S found on array address %S returned by VDSM.", serial, address);
        return true;
      }
      VA_LOG(MSG_WARNING, L"Unexpected error. Serial # %S does not reside on array address %S returned by VDSM.", serial,
             address);
    }
  }

  VA_LOG(MSG_INFO, L"Polling all the discovered and configured groups...");
  for (const bool deep : {false, true}) {
    for (const auto& [uid, wrapper] : mArrays) {
      if (!askWrapper(*wrapper, deep)) continue;
      if (!address.empty()) mGroupIPToUidMap[address] = uid;
      const std::string arrayAddress = wrapper->GetGroupAddress();
      if (!deep) {
        VA_LOG(MSG_INFO, L"Array = %S, group uid = %S, s/n %S found in cache!", arrayAddress, uid, serial);
      } else {
        VA_LOG(MSG_INFO, L"Array = %S, group uid = %llu, s/n %S found in deep discovery.", arrayAddress, uid, serial);
      }
      return true;
    }
  }
  location = {};
  VA_LOG(MSG_INFO, L"Serial number %S not found!", serial);
  return false;
}

bool CVaVssHwProvider::IsVantorVirtualVolume(const std::string& serial, VirtualVolumeEntry& entry) {
  CLogger scope(L"CVaVssHwProvider::IsVantorVirtualVolume");
  if (const HRESULT refreshed = RefreshArrays(); FAILED(refreshed)) {
    VA_LOG(MSG_ERROR, L"    RefreshArrays() failed in IsVantorVirtualVolume() with hr= 0x%x", static_cast<unsigned>(refreshed));
    return false;
  }
  VA_LOG(MSG_INFO, L"Polling all the discovered and configured groups...");
  for (const bool deep : {false, true}) {
    for (const auto& [uid, wrapper] : mArrays) {
      std::shared_ptr<Vantor::VolumeRecord> volume;
      if (!wrapper->FindVirtualVolume(serial, deep, volume) || !volume) continue;
      const std::string arrayAddress = wrapper->GetGroupAddress();
      if (!deep) {
        VA_LOG(MSG_INFO, L"Array = %S, group uid = %S, s/n %S found in cache!", arrayAddress, uid, serial);
      } else {
        VA_LOG(MSG_INFO, L"Array = %S, group uid = %S, s/n %S found in deep discovery!", arrayAddress, uid, serial);
      }
      entry.groupUid = uid;
      entry.volume = volume;
      return true;
    }
  }
  VA_LOG(MSG_INFO, L"Virtual Serial number %S not found!", serial);
  VA_LOG(MSG_INFO, L" Given serial number %S is not vantor virtual volume.", serial);
  return false;
}
