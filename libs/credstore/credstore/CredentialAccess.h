#pragma once
// Can the provider's service use the machine store's credential of one group management
// address? For `vantor-vss config show` and `doctor`. The service reads the store as its own
// account, so three things must hold: a value is stored for the address, it opens on this
// computer (DPAPI in machine scope opens for every account here, for none elsewhere), and the
// key's access list admits the service's account. The first two can only be checked by a
// process that may read the store itself (an elevated one on Windows).
#include <string>

#include "common/HostSecurity.h"
#include "wincompat/WinTypes.h"

namespace credstore {

inline constexpr const wchar_t* kProviderServiceName = L"Vantor VSS Hardware Provider";

struct StoredCredentialCheck {
  DWORD status = 0;              // the store's Read status in this process; 0: stored and opens here
  std::string userName;          // the stored user name when it opened
  std::wstring serviceAccount;   // the service's account; "LocalSystem" while the service is not installed
  bool serviceInstalled = false;
  common::AccessVerdict service;  // can the service's account use it, and why (not)
};

StoredCredentialCheck CheckStoredCredential(const std::string& address);

}  // namespace credstore
