#include "CredentialCheck.h"

#include "common/WindowsUserHelper.h"
#include "credstore/CredentialAccess.h"
#include "credstore/CredentialVault.h"
#include "discovery/ConfigurationKeys.h"
#include "platform/Registry.h"
#include "wincompat/WideString.h"

namespace vantorvss {
namespace {

std::wstring ProfileValue(const std::wstring& profileKey, const wchar_t* name) {
  wchar_t buffer[256] = {};
  DWORD size = sizeof(buffer);
  if (platform::TheRegistry().GetValueW(HKEY_LOCAL_MACHINE, profileKey.c_str(), name, RRF_RT_REG_SZ, nullptr, buffer,
                                        &size) != ERROR_SUCCESS) {
    return {};
  }
  return buffer;
}

// The profile the service would use for `address`: the last one, in registry order, that its
// own account made (a service running as LocalSystem reads none). Passwords are not opened:
// only the account that sealed one can.
std::string ServiceProfileFor(const std::string& address, const std::wstring& serviceAccount) {
  if (WindowsUserHelper::IsLocalSystem(serviceAccount)) return {};
  platform::RegKey list;
  if (platform::TheRegistry().OpenKeyExW(HKEY_LOCAL_MACHINE, discovery::kProfileListKey.c_str(), 0, KEY_READ,
                                         list.out()) != ERROR_SUCCESS) {
    return {};
  }
  std::string found;
  for (DWORD index = 0;; ++index) {
    wchar_t name[256] = {};
    DWORD length = 255;
    const LSTATUS status = platform::TheRegistry().EnumKeyExW(list.get(), index, name, &length);
    if (status == ERROR_NO_MORE_ITEMS) break;
    if (status != ERROR_SUCCESS) continue;
    const std::wstring profileKey = discovery::kProfileListKey + L"\\" + name;
    if (wincompat::ToNarrow(ProfileValue(profileKey, discovery::kGroupMgmtIP)) == address &&
        WindowsUserHelper::IsWindowsUsersEqual(ProfileValue(profileKey, discovery::kCreatedBy), serviceAccount)) {
      found = wincompat::ToNarrow(name);
    }
  }
  return found;
}

const char* AccessWord(common::Access access) {
  switch (access) {
    case common::Access::Granted: return "yes";
    case common::Access::Denied: return "no";
    case common::Access::Unknown: break;
  }
  return "unknown";
}

}  // namespace

GroupCredentialCheck CheckGroupCredential(const std::string& address) {
  const credstore::StoredCredentialCheck stored = credstore::CheckStoredCredential(address);
  GroupCredentialCheck check;
  check.address = address;
  check.serviceAccount = wincompat::ToNarrow(stored.serviceAccount);
  if (!stored.serviceInstalled) check.serviceAccount += " (service not installed)";

  if (const std::string profile = ServiceProfileFor(address, stored.serviceAccount); !profile.empty()) {
    check.source = "profile " + profile;
    check.serviceCanRead = "yes";
    check.reason = "the profile was made by the service's account, whose key opens its password";
    return check;
  }
  check.source = stored.status == credstore::kCredentialNotFound ? "none" : "machine store";
  check.user = stored.userName;
  check.serviceCanRead = AccessWord(stored.service.access);
  check.reason = stored.service.reason;
  return check;
}

nlohmann::json GroupCredentialCheck::ToJson() const {
  return {{"source", source},
          {"user", user},
          {"service_account", serviceAccount},
          {"service_can_read", serviceCanRead},
          {"reason", reason}};
}

std::string GroupCredentialCheck::ToText() const {
  std::string text = "credential of " + address + ": " + source;
  if (!user.empty()) text += " (user " + user + ")";
  return text + "; can the service account " + serviceAccount + " read it: " + serviceCanRead + " - " + reason;
}

}  // namespace vantorvss
