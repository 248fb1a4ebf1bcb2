#include "common/win32/Win32HostSecurity.h"

#include <windows.h>
#include <lm.h>

#include <memory>
#include <vector>

#include "common/WindowsUserHelper.h"
#include "wincompat/WideString.h"

namespace common {
namespace {

using Sid = std::vector<BYTE>;

Sid WellKnown(WELL_KNOWN_SID_TYPE type) {
  DWORD size = SECURITY_MAX_SID_SIZE;
  Sid sid(size);
  if (!::CreateWellKnownSid(type, nullptr, sid.data(), &size)) return {};
  sid.resize(size);
  return sid;
}

Sid Lookup(const std::wstring& name) {
  DWORD sidSize = 0;
  DWORD domainSize = 0;
  SID_NAME_USE use;
  ::LookupAccountNameW(nullptr, name.c_str(), nullptr, &sidSize, nullptr, &domainSize, &use);
  if (sidSize == 0) return {};
  Sid sid(sidSize);
  std::wstring domain(domainSize + 1, L'\0');
  if (!::LookupAccountNameW(nullptr, name.c_str(), sid.data(), &sidSize, domain.data(), &domainSize, &use)) return {};
  return sid;
}

// The service control manager's spellings of the built-in service accounts are not all
// names LookupAccountName knows.
Sid AccountSid(const std::wstring& account) {
  if (WindowsUserHelper::IsLocalSystem(account)) return WellKnown(WinLocalSystemSid);
  if (WindowsUserHelper::IsWindowsUsersEqual(account, L"NT AUTHORITY\\LocalService")) return WellKnown(WinLocalServiceSid);
  if (WindowsUserHelper::IsWindowsUsersEqual(account, L"NT AUTHORITY\\NetworkService"))
    return WellKnown(WinNetworkServiceSid);
  std::wstring name = account;
  if (name.rfind(L".\\", 0) == 0) name.erase(0, 2);  // ".\backup": a local account
  return Lookup(name);
}

struct NetBufferFree {
  void operator()(void* buffer) const { ::NetApiBufferFree(buffer); }
};

bool IsLocalAdministrator(const std::wstring& account, const Sid& administrators) {
  std::wstring name = account;
  if (name.rfind(L".\\", 0) == 0) name.erase(0, 2);
  LPBYTE raw = nullptr;
  DWORD read = 0;
  DWORD total = 0;
  const NET_API_STATUS status =
      ::NetUserGetLocalGroups(nullptr, name.c_str(), 0, LG_INCLUDE_INDIRECT, &raw, MAX_PREFERRED_LENGTH, &read, &total);
  const std::unique_ptr<void, NetBufferFree> owned(raw);
  if (status != NERR_Success || !raw) return false;
  const auto* groups = reinterpret_cast<const LOCALGROUP_USERS_INFO_0*>(raw);
  for (DWORD i = 0; i < read; ++i) {
    const Sid group = Lookup(groups[i].lgrui0_name);
    if (!group.empty() && ::EqualSid(const_cast<BYTE*>(group.data()), const_cast<BYTE*>(administrators.data())))
      return true;
  }
  return false;
}

ACCESS_MASK MapGeneric(ACCESS_MASK mask) {
  if (mask & GENERIC_ALL) mask |= KEY_ALL_ACCESS;
  if (mask & (GENERIC_READ | GENERIC_EXECUTE)) mask |= KEY_READ;
  if (mask & GENERIC_WRITE) mask |= KEY_WRITE;
  return mask;
}

class KeyHandle {
 public:
  ~KeyHandle() {
    if (mKey) ::RegCloseKey(mKey);
  }
  HKEY* out() { return &mKey; }
  HKEY get() const { return mKey; }

 private:
  HKEY mKey = nullptr;
};

}  // namespace

bool Win32HostSecurity::IsElevated() {
  Sid administrators = WellKnown(WinBuiltinAdministratorsSid);
  BOOL member = FALSE;
  // A filtered (not elevated) token holds Administrators for deny only, which does not count.
  return !administrators.empty() && ::CheckTokenMembership(nullptr, administrators.data(), &member) && member;
}

AccessVerdict Win32HostSecurity::CanAccountReadKey(const std::wstring& subKey, const std::wstring& account) {
  const std::string name = wincompat::ToNarrow(account);
  Sid accountSid = AccountSid(account);
  if (accountSid.empty()) return {Access::Unknown, "the account " + name + " is not known on this computer"};

  KeyHandle key;
  const LSTATUS opened = ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, subKey.c_str(), 0, READ_CONTROL, key.out());
  if (opened == ERROR_FILE_NOT_FOUND) return {Access::Unknown, "the key does not exist yet"};
  if (opened == ERROR_ACCESS_DENIED) return {Access::Unknown, "only an elevated process can read the key's access list"};
  if (opened != ERROR_SUCCESS) return {Access::Unknown, "cannot open the key (error " + std::to_string(opened) + ")"};
  DWORD size = 0;
  ::RegGetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, nullptr, &size);
  std::vector<BYTE> descriptor(size == 0 ? 1 : size);
  if (const LSTATUS read = ::RegGetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, descriptor.data(), &size);
      read != ERROR_SUCCESS) {
    return {Access::Unknown, "cannot read the key's access list (error " + std::to_string(read) + ")"};
  }
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL dacl = nullptr;
  if (!::GetSecurityDescriptorDacl(descriptor.data(), &present, &dacl, &defaulted))
    return {Access::Unknown, "the key's security descriptor does not parse"};
  if (!present || !dacl) return {Access::Granted, "the key has no access list: every account, " + name + " too, can read it"};

  const Sid administrators = WellKnown(WinBuiltinAdministratorsSid);
  std::vector<Sid> identities{accountSid, WellKnown(WinWorldSid), WellKnown(WinAuthenticatedUserSid),
                              WellKnown(WinBuiltinUsersSid)};
  // The built-in service accounts have well-known identities and are no members of
  // Administrators; only a named account's local groups are looked up.
  const bool builtInService = WindowsUserHelper::IsWindowsUsersEqual(account, L"NT AUTHORITY\\LocalService") ||
                              WindowsUserHelper::IsWindowsUsersEqual(account, L"NT AUTHORITY\\NetworkService");
  if (WindowsUserHelper::IsLocalSystem(account) || (!builtInService && IsLocalAdministrator(account, administrators)))
    identities.push_back(administrators);

  ACCESS_MASK granted = 0;
  for (DWORD i = 0; i < dacl->AceCount; ++i) {
    void* raw = nullptr;
    if (!::GetAce(dacl, i, &raw)) continue;
    const auto* header = static_cast<const ACE_HEADER*>(raw);
    if (header->AceFlags & INHERIT_ONLY_ACE) continue;
    if (header->AceType != ACCESS_ALLOWED_ACE_TYPE && header->AceType != ACCESS_DENIED_ACE_TYPE) continue;
    // Both ACE types share the layout: header, mask, then the SID from SidStart.
    auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(raw);
    bool matches = false;
    for (auto& identity : identities)
      matches = matches || (!identity.empty() && ::EqualSid(identity.data(), &ace->SidStart));
    if (!matches) continue;
    const ACCESS_MASK mask = MapGeneric(ace->Mask);
    // Windows orders denials first; a denial of reading met before enough grants decides.
    if (header->AceType == ACCESS_DENIED_ACE_TYPE && (mask & KEY_QUERY_VALUE) && !(granted & KEY_QUERY_VALUE))
      return {Access::Denied, "the key's access list denies " + name + " reading it"};
    if (header->AceType == ACCESS_ALLOWED_ACE_TYPE) granted |= mask;
  }
  if (granted & KEY_QUERY_VALUE) return {Access::Granted, "the key's access list admits " + name};
  return {Access::Denied, "the key admits SYSTEM and Administrators only, and " + name +
                              " is neither: run the service as LocalSystem"};
}

}  // namespace common
