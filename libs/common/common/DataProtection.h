#pragma once
// The data-protection seam behind EncryptDecrypt: it turns a secret into an opaque blob that
// only this host can turn back, and the reverse. The Windows build uses DPAPI
// (CryptProtectData/CryptUnprotectData, DpapiDataProtection); the native build the emulated
// host's key file (HostKeyDataProtection). Win32 error codes: 0 success, 13 for a blob that
// is malformed or was made elsewhere, 2 when the emulated host has no key yet.
#include <memory>
#include <span>
#include <vector>

#include "common/SecureBuffer.h"
#include "platform/SeamSlot.h"
#include "wincompat/WinTypes.h"

namespace common {

class DataProtection {
 public:
  virtual ~DataProtection() = default;
  virtual DWORD Protect(std::span<const std::uint8_t> clear, std::vector<std::uint8_t>& blob) = 0;
  virtual DWORD Unprotect(std::span<const std::uint8_t> blob, SecureBytes& clear) = 0;
};

using DataProtectionSlot = platform::SeamSlot<DataProtection>;

// The installed backend; in the Windows build DPAPI when none was installed, natively null.
DataProtection* CurrentDataProtection();

}  // namespace common
