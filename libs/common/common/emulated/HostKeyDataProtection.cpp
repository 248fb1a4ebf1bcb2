#include "common/emulated/HostKeyDataProtection.h"

namespace common {
namespace {
constexpr const char* kPurpose = "vantor profile password";
}

DWORD HostKeyDataProtection::Protect(std::span<const std::uint8_t> clear, std::vector<std::uint8_t>& blob) {
  return mCipher.Seal(clear, kPurpose, blob);
}

DWORD HostKeyDataProtection::Unprotect(std::span<const std::uint8_t> blob, SecureBytes& clear) {
  return mCipher.Open(blob, kPurpose, clear);
}

}  // namespace common
