#pragma once
// The service-account seam: which Windows account a service runs as, and this computer's
// name (needed to tell ".\alice" and "HOST\alice" apart from "OTHERHOST\alice").
// Win32ServiceAccount asks the service control manager (QueryServiceConfigW) and
// GetComputerNameW; EmulatedServiceAccount reads the same facts where Windows keeps them in
// the registry (HKLM\SYSTEM\CurrentControlSet\Services\<name>\ObjectName and
// HKLM\SYSTEM\CurrentControlSet\Control\ComputerName\ComputerName\ComputerName) through the
// registry seam, so an emulated host is configured by its .reg file alone.
#include <string>

#include "platform/SeamSlot.h"
#include "wincompat/WinTypes.h"

namespace platform {

class ServiceAccount {
 public:
  virtual ~ServiceAccount() = default;
  // The service's start account as configured ("LocalSystem", ".\alice", "CORP\svc-backup",
  // "NT AUTHORITY\NetworkService"); 1060 when there is no such service.
  virtual DWORD GetServiceUser(const std::wstring& serviceName, std::wstring& user) = 0;
  // The computer's NetBIOS name.
  virtual DWORD LocalComputerName(std::wstring& name) = 0;
};

using ServiceAccountSlot = SeamSlot<ServiceAccount>;
inline ServiceAccount& TheServiceAccount() { return ServiceAccountSlot::Get(); }

}  // namespace platform
