#pragma once
// Service account and computer name of the emulated host, read through the registry seam from
// where Windows keeps them: a service's ObjectName value (absent means LocalSystem, as the
// service control manager treats it) and the ComputerName value.
#include "platform/ServiceAccount.h"

namespace platform {

class EmulatedServiceAccount final : public ServiceAccount {
 public:
  DWORD GetServiceUser(const std::wstring& serviceName, std::wstring& user) override;
  DWORD LocalComputerName(std::wstring& name) override;
};

}  // namespace platform
