#include "common/emulated/HostKeyDataProtection.h"

namespace common {

DWORD HostKeyDataProtection::Protect(std::span<const std::uint8_t> clear, std::vector<std::uint8_t>& blob) {
  return mCipher.Seal(clear, mPurpose, blob);
}

DWORD HostKeyDataProtection::Unprotect(std::span<const std::uint8_t> blob, SecureBytes& clear) {
  return mCipher.Open(blob, mPurpose, clear);
}

}  // namespace common
