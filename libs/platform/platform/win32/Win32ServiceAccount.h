#pragma once
// Service account through the service control manager, computer name through
// GetComputerNameW (Windows build).
#include "platform/ServiceAccount.h"

namespace platform {

class Win32ServiceAccount final : public ServiceAccount {
 public:
  DWORD GetServiceUser(const std::wstring& serviceName, std::wstring& user) override;
  DWORD LocalComputerName(std::wstring& name) override;
};

}  // namespace platform
