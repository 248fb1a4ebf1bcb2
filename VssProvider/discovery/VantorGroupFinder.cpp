#include "discovery/VantorGroupFinder.h"

#include <memory>
#include <new>
#include <sstream>
#include <vector>

#include "common/EncryptDecrypt.h"
#include "common/SecureBuffer.h"
#include "common/WindowsUserHelper.h"
#include "credstore/CsharpInterfaceWrapper.h"
#include "discovery/ConfigurationKeys.h"
#include "discovery/ConfigurationValues.h"
#include "discovery/DsmRecordParser.h"
#include "logger/EventReporter.h"
#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "platform/DsmDevice.h"
#include "platform/Registry.h"
#include "wincompat/WideString.h"

namespace {

static constexpr const wchar_t* kLogSource = L"VantorGroupFinder";

constexpr DWORD kCredentialsUnreadableEvent = 4380;  // VA_MSG_CREDENTIALS_UNREADABLE
constexpr DWORD kNoGroupConfiguredEvent = 4390;      // VA_MSG_NO_GROUP_CONFIGURED

constexpr const wchar_t* kNoGroupConfiguredText =
    L"No Group Mgmt Array is Configured on this Host. Group management credentials Must be set using "
    L"Set-QTKConfiguration. Setting ensures VSS Provider to Communicate with the Given Array.Please run "
    L"'Set-QTKConfiguration' cmdlet to set group management information.";

constexpr DWORD kDsmInitialBufferSize = 16384;
constexpr DWORD kDsmBufferGrowth = 2048;
// The driver decides how often it answers ERROR_MORE_DATA; these bounds keep a driver that
// always does (or that reports absurd sizes) from holding the provider forever.
constexpr int kDsmMaxAttempts = 64;
constexpr DWORD kDsmMaxBufferSize = 64u * 1024u * 1024u;

constexpr DWORD kProfileNameChars = 255;
constexpr unsigned long kClearPasswordBytes = 8192;

void ReportNoGroupConfigured() {
  VA_LOG(MSG_ERROR, kNoGroupConfiguredText);
  logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, kNoGroupConfiguredEvent);
}

}  // namespace

void VantorGroupFinder::DiscoverGroups(GroupCredentialMap& groups) {
  CLogger scope(L"VantorGroupFinder::DiscoverGroups");
  groups.clear();
  mDsmSerialToIp.clear();

  ReadGroupMgmtIpsFromRegistry(groups);

  std::wstring serviceUser;
  const DWORD userStatus = WindowsUserHelper::GetWindowsServiceUser(discovery::kServiceName, serviceUser);
  if (userStatus != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"GetWindowsServiceUser for %s failed. Error %d", discovery::kServiceName, userStatus);
  }
  VA_LOG(MSG_INFO, L"%s is running as Windows user=%s", discovery::kServiceName, serviceUser);
  // A service running as the local system account has no profiles of its own.
  if (!serviceUser.empty() && !WindowsUserHelper::IsLocalSystem(serviceUser)) {
    ReadGroupIPCredentialsFromRegistry(groups, serviceUser);
  }

  if (IsAutomaticGroupDiscoveryDisabled()) {
    VA_LOG(MSG_INFO, L"Vantor group discovery through VDSM has been disabled.");
    return;
  }
  const DWORD dsmStatus = QueryDsmGroupManagementIPs();
  if (dsmStatus != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"VDSM query to get management IPs failed. Error %d", dsmStatus);
    return;
  }
  for (const auto& [serial, ip] : mDsmSerialToIp) {
    if (ip.empty()) {
      VA_LOG(MSG_WARNING, L"VDSM returned empty IP address for serial #: %S", serial);
      continue;
    }
    // A group known from the registry keeps its credential.
    groups.try_emplace(ip);
  }
}

std::string VantorGroupFinder::GetGroupMgmtIpForSerial(const std::string& serialNumber) const {
  const auto it = mDsmSerialToIp.find(serialNumber);
  return it == mDsmSerialToIp.end() ? std::string() : it->second;
}

bool VantorGroupFinder::IsAutomaticGroupDiscoveryDisabled() { return discovery::ReadDisableAutomaticGroupDiscovery(); }

void VantorGroupFinder::ReadGroupMgmtIpsFromRegistry(GroupCredentialMap& groups) {
  CLogger scope(L"VantorGroupFinder::ReadGroupMgmtIpsFromRegistry");
  std::wstring value;
  const LSTATUS status = discovery::ReadGroupMgmtIps(value);
  if (status != ERROR_SUCCESS) {
    VA_LOG(MSG_INFO, L"Group management IPs not found in registry. Error %ld", status);
    ReportNoGroupConfigured();
    return;
  }
  const std::string ips = wincompat::ToNarrow(value);
  if (ips.empty()) {
    ReportNoGroupConfigured();
    return;
  }

  CsharpInterfaceWrapper* store = CsharpInterfaceWrapper::GetCsharpInterfaceWrapperInstance();
  std::istringstream tokens(ips);
  std::string ip;
  while (tokens >> ip) {
    store->W_GetCredential(ip.c_str());
    GroupCredential credential(store->GetArrayUsername(), store->GetArrayPassword());
    store->ForgetCredential();
    if (credential.userName.empty() || credential.password.empty()) {
      VA_LOG(MSG_ERROR,
             L"Unable able to read Group Management Credentials for array IP %S. VSS Provider will not be able to "
             L"take snapshot for this Array",
             ip);
      const std::wstring wideIp = wincompat::ToWide(ip);
      logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, kCredentialsUnreadableEvent, wideIp.c_str());
      continue;
    }
    groups.try_emplace(ip, std::move(credential));
    VA_LOG(MSG_INFO, L"Successfully Retreived Array Credentials for GroupMgmt IP %S", ip);
  }
}

DWORD VantorGroupFinder::QueryDsmGroupManagementIPs() {
  CLogger scope(L"VantorGroupFinder::QueryDsmGroupManagementIPs");
  mDsmSerialToIp.clear();

  std::unique_ptr<platform::DsmDeviceHandle> device;
  const DWORD openStatus = platform::DsmDeviceSlot::Installed()
                               ? platform::TheDsmDevice().Open(discovery::kDsmDevice, device)
                               : static_cast<DWORD>(ERROR_NOT_SUPPORTED);
  if (openStatus != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"Error %d while opening Vantor DSM device. Make sure that VantorDsm installed.", openStatus);
    return openStatus;
  }

  DWORD bufferSize = kDsmInitialBufferSize;
  DWORD status = ERROR_SUCCESS;
  DWORD returned = 0;
  std::vector<BYTE> buffer;
  for (int attempt = 1;; ++attempt) {
    try {
      buffer.assign(bufferSize, 0);
    } catch (const std::bad_alloc&) {
      VA_LOG(MSG_ERROR, L"GetVantorDsmGroupManagementIPInfo failed to allocate memory. buffer size:%ld", bufferSize);
      status = ERROR_NOT_ENOUGH_MEMORY;
      break;
    }
    returned = 0;
    status = device->IoControl(platform::kDsmGroupManagementIpInfoControlCode, buffer.data(), bufferSize, &returned);
    if (status == ERROR_SUCCESS) break;
    if (status != static_cast<DWORD>(ERROR_MORE_DATA) || attempt == kDsmMaxAttempts ||
        returned > kDsmMaxBufferSize - kDsmBufferGrowth) {
      VA_LOG(MSG_ERROR, L"GetVantorDsmGroupManagementIPInfo failed with Win32 error:%ld  buffer size:%ld", status,
             bufferSize);
      break;
    }
    bufferSize = returned + kDsmBufferGrowth;
  }
  device.reset();
  if (status != ERROR_SUCCESS) return status;

  if (returned == 0) {
    VA_LOG(MSG_INFO, L"There are no volumes connected through VantorDsm");
  } else {
    // A driver that claims more bytes than the buffer holds is not believed.
    ParseDsmGroupManagementIPInfo(buffer.data(), std::min<DWORD>(returned, bufferSize));
  }
  return ERROR_SUCCESS;
}

void VantorGroupFinder::ParseDsmGroupManagementIPInfo(const BYTE* record, DWORD size) {
  CLogger scope(L"VantorGroupFinder::ParseDsmGroupManagementIPInfo");
  const discovery::DsmParseResult parsed = discovery::ParseDsmRecord(std::span<const std::uint8_t>(record, size));
  if (parsed.status == discovery::DsmParseStatus::UnsupportedVersion) {
    VA_LOG(MSG_ERROR,
           L"DeviceIoControl for GetVantorDsmGroupManagementIPInfo Failed with a different structure version=%d, "
           L"expected =%d. VantorDsm.sys and VSS provider versions are not compatible.",
           static_cast<int>(parsed.version), static_cast<int>(discovery::kDsmRecordVersion));
    return;
  }
  for (const auto& entry : parsed.entries) {
    if (entry.ipLength == 0) {
      VA_LOG(MSG_INFO,
             L"Info: Array did not return IP address (is the array version less than 2.2?) in response to page 0xD5 "
             L"inquiry for serial Number:%S\n",
             entry.serialNumber);
    } else if (entry.ipAddress.empty()) {
      VA_LOG(MSG_WARNING, L"The response to SCSI command is not in correct format.");
    } else {
      VA_LOG(MSG_INFO, L"SCSI command output for volume Serial Number %S is: %S\n", entry.serialNumber, entry.ipAddress);
      mDsmSerialToIp.try_emplace(entry.serialNumber, entry.ipAddress);
    }
  }
  if (parsed.status != discovery::DsmParseStatus::Complete) {
    VA_LOG(MSG_ERROR,
           L"VDSM record of %lu bytes is malformed (%S) at entry %lu, offset %lu: the entries from there on are "
           L"ignored.",
           size, discovery::ToString(parsed.status), parsed.failedEntry, parsed.failedOffset);
  }
}

void VantorGroupFinder::ReadGroupIPCredentialsFromRegistry(GroupCredentialMap& groups, const std::wstring& serviceUser) {
  CLogger scope(L"VantorGroupFinder::ReadGroupIPCredentialsFromRegistry");
  platform::Registry& registry = platform::TheRegistry();
  const std::wstring& listKey = discovery::kProfileListKey;
  platform::RegKey key;
  const LSTATUS openStatus = registry.OpenKeyExW(HKEY_LOCAL_MACHINE, listKey.c_str(), 0, KEY_READ, key.out());
  if (openStatus != ERROR_SUCCESS) {
    // No profile list at all is the usual case, not a fault.
    if (openStatus == ERROR_FILE_NOT_FOUND) {
      VA_LOG(MSG_INFO, L"Error opening key %s with error code = %ld", listKey, openStatus);
    } else {
      VA_LOG(MSG_ERROR, L"Error opening key %s with error code = %ld", listKey, openStatus);
    }
    return;
  }

  DWORD subKeys = 0;
  const LSTATUS infoStatus = registry.QueryInfoKeyW(key.get(), &subKeys, nullptr, nullptr, nullptr, nullptr);
  if (infoStatus != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"** RegQueryInfoKey failed to get number of subkeys under %s . Error is %d", listKey, infoStatus);
    return;
  }
  VA_LOG(MSG_INFO, L"** Number of subkeys found under %s is %d", listKey, subKeys);

  for (DWORD index = 0; index < subKeys; ++index) {
    wchar_t name[kProfileNameChars + 1] = {};
    DWORD nameChars = kProfileNameChars;
    const LSTATUS enumStatus = registry.EnumKeyExW(key.get(), index, name, &nameChars);
    if (enumStatus != ERROR_SUCCESS) {
      VA_LOG(MSG_ERROR, L"**  RegEnumKeyEx failed to get name of the subkey . Error is %d", enumStatus);
      continue;
    }
    const std::string profile = wincompat::ToNarrow(std::wstring_view(name, std::min<DWORD>(nameChars, kProfileNameChars)));
    std::string ip, createdBy, userName, password;
    if (!GetCredentialsForIPFromRegistry(profile, ip, createdBy, userName, password)) {
      VA_LOG(MSG_ERROR, L"Error finding credentials for profile = %S", profile);
      continue;
    }
    const std::wstring creator = wincompat::ToWide(createdBy);
    if (WindowsUserHelper::IsWindowsUsersEqual(creator, serviceUser)) {
      groups[ip] = GroupCredential{userName, common::ProtectedSecret::Protect(password)};
      VA_LOG(MSG_INFO, L"ReadGroupIPCredentialsFromRegistry found profile = %S for GroupMgmtIP = %S for Windows User = %S",
             profile, ip, createdBy);
    } else {
      VA_LOG(MSG_INFO,
             L"ReadGroupIPCredentialsFromRegistry Could not match any profile for GroupMgmtIP = %S with profile Windows "
             L"User = %s, VSS Service User = %s",
             ip, creator, serviceUser);
    }
    common::SecureWipe(password.data(), password.size());
  }
}

bool VantorGroupFinder::GetCredentialsForIPFromRegistry(const std::string& profileName, std::string& groupMgmtIP,
                                                        std::string& createdBy, std::string& userName,
                                                        std::string& password) {
  CLogger scope(L"VantorGroupFinder::GetCredentialsForIPFromRegistry");
  const std::string path = discovery::ProfileKeyPath(profileName);
  VA_LOG(MSG_INFO, L"Query loginInfo for the profile : %S", profileName);

  std::string user, ip, creator;
  std::vector<BYTE> blob;
  if (const LSTATUS status = discovery::ReadProfileUserName(path, user); status != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"** Failed to Reterieve username information for the profile : %S with error = %ld", profileName,
           status);
    return false;
  }
  if (const LSTATUS status = discovery::ReadProfileGroupMgmtIP(path, ip); status != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"** Failed to Reterieve groupmgmtIP information for the profile : %S with error = %ld",
           profileName, status);
    return false;
  }
  if (const LSTATUS status = discovery::ReadProfileCreatedBy(path, creator); status != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"** Failed to Reterieve 'CreatedBy' information for the profile : %S with error = %ld",
           profileName, status);
    return false;
  }
  if (const LSTATUS status = discovery::ReadProfilePassword(path, blob); status != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"  ** Failed to Reterieve password information for the profileName : %S with error : %ld",
           profileName, status);
    return false;
  }

  common::SecureBytes clear(kClearPasswordBytes);
  unsigned long clearBytes = kClearPasswordBytes;
  const DWORD decryptStatus = EncryptDecrypt().DecryptBuffer(blob.data(), static_cast<unsigned long>(blob.size()),
                                                             clear.data(), &clearBytes);
  if (decryptStatus != ERROR_SUCCESS) {
    // The text names the user name although the password failed; operators search for it.
    VA_LOG(MSG_ERROR, L"  ** DecryptBuffer failed to decrypt user name with error %d ", decryptStatus);
    return false;
  }
  const auto* wide = reinterpret_cast<const wchar_t*>(clear.data());
  std::wstring_view clearText(wide, std::min<std::size_t>(clearBytes, kClearPasswordBytes) / sizeof(wchar_t));
  if (const auto end = clearText.find(L'\0'); end != std::wstring_view::npos) clearText = clearText.substr(0, end);
  password = wincompat::ToNarrow(clearText);
  userName = std::move(user);
  groupMgmtIP = std::move(ip);
  createdBy = std::move(creator);
  return true;
}
