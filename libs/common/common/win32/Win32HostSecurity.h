#pragma once
// Rights on a Windows host: the process token for elevation, the key's access list for who
// may read it. The access list is evaluated for the account and the groups it belongs to that
// decide access to a protected key: the account itself, Everyone, Authenticated Users, Users,
// and Administrators for LocalSystem or a member of the local Administrators group.
#include "common/HostSecurity.h"

namespace common {

class Win32HostSecurity final : public HostSecurity {
 public:
  bool IsElevated() override;
  AccessVerdict CanAccountReadKey(const std::wstring& subKey, const std::wstring& account) override;
};

}  // namespace common
