#pragma once
// Who may do what on this host: may this process change the machine-wide configuration, and
// may a given account read a protected registry key (the array credentials, the certificate
// pins). Win32HostSecurity asks the process token and the key's access list; the emulated
// host answers from its description (host.json, see EmulatedHostSecurity).
#include <string>

#include "platform/SeamSlot.h"

namespace common {

enum class Access { Granted, Denied, Unknown };

struct AccessVerdict {
  Access access = Access::Unknown;
  std::string reason;  // for the administrator: why, and what to do when it is not Granted
};

class HostSecurity {
 public:
  virtual ~HostSecurity() = default;
  // This process holds an administrator's full rights (on Windows: Administrators is enabled
  // in its token, which under UAC means an elevated process).
  virtual bool IsElevated() = 0;
  // Can `account` (as the service control manager names a service's account: "LocalSystem",
  // ".\backup", "CORP\svc-backup") read the values of HKEY_LOCAL_MACHINE\`subKey`?
  virtual AccessVerdict CanAccountReadKey(const std::wstring& subKey, const std::wstring& account) = 0;
};

using HostSecuritySlot = platform::SeamSlot<HostSecurity>;

// The installed implementation; in the Windows build the Win32 one when none was installed,
// natively null.
HostSecurity* CurrentHostSecurity();

}  // namespace common
