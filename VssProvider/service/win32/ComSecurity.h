#pragma once
// Process-wide COM security of the service: callers are authenticated per packet and may be
// impersonated; the descriptor keeps the service's own owner and group and admits only
// LocalSystem and Administrators (service/ComAccessDescriptor.h).
#include <windows.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace service {

// An absolute security descriptor with the buffers its pointers point into.
class AbsoluteSecurityDescriptor {
 public:
  // Converts a self-relative descriptor; nullopt when Windows refuses it.
  static std::optional<AbsoluteSecurityDescriptor> FromSelfRelative(const std::vector<std::uint8_t>& selfRelative);
  AbsoluteSecurityDescriptor(AbsoluteSecurityDescriptor&&) noexcept = default;
  AbsoluteSecurityDescriptor& operator=(AbsoluteSecurityDescriptor&&) noexcept = default;
  AbsoluteSecurityDescriptor(const AbsoluteSecurityDescriptor&) = delete;
  AbsoluteSecurityDescriptor& operator=(const AbsoluteSecurityDescriptor&) = delete;
  ~AbsoluteSecurityDescriptor() = default;

  PSECURITY_DESCRIPTOR Get() { return mDescriptor.data(); }

 private:
  AbsoluteSecurityDescriptor() = default;
  // Each buffer's heap storage stays put when the object moves, so the pointers stay valid.
  std::vector<BYTE> mDescriptor, mDacl, mSacl, mOwner, mGroup;
};

// The descriptor the service hands to CoInitializeSecurity: owner and group from the thread's
// token (the process's when the thread has none). nullopt when the token cannot be read.
std::optional<AbsoluteSecurityDescriptor> ServiceSecurityDescriptor();

// Always S_OK: a failure is logged and COM keeps the AppID's AccessPermission, which admits
// the same accounts.
HRESULT InitializeServiceSecurity();

}  // namespace service
