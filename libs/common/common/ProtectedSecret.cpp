#include "common/ProtectedSecret.h"

#include <cstring>
#include <stdexcept>

#include "common/MemoryProtection.h"

namespace common {

ProtectedSecret ProtectedSecret::Protect(std::string_view clear) {
  ProtectedSecret secret;
  if (clear.empty()) return secret;
  const std::size_t blocks = (clear.size() + kMemoryProtectionBlock - 1) / kMemoryProtectionBlock;
  secret.mSealed.assign(blocks * kMemoryProtectionBlock, 0);
  std::memcpy(secret.mSealed.data(), clear.data(), clear.size());
  if (!ProtectMemory(secret.mSealed.data(), secret.mSealed.size())) {
    SecureWipe(secret.mSealed.data(), secret.mSealed.size());
    throw std::runtime_error("the platform cannot protect a secret in memory");
  }
  secret.mSize = clear.size();
  return secret;
}

ProtectedSecret ProtectedSecret::Take(std::string& clear) {
  try {
    ProtectedSecret secret = Protect(clear);
    SecureWipe(clear.data(), clear.size());
    clear.clear();
    return secret;
  } catch (...) {
    SecureWipe(clear.data(), clear.size());
    clear.clear();
    throw;
  }
}

SecureString ProtectedSecret::Reveal() const {
  SecureString clear;
  if (mSize == 0) return clear;
  SecureBytes work(mSealed.data(), mSealed.size());
  if (!UnprotectMemory(work.data(), work.size())) throw std::runtime_error("the platform cannot unseal a secret");
  clear.assign(reinterpret_cast<const char*>(work.data()), mSize);
  return clear;
}

bool operator==(const ProtectedSecret& a, const ProtectedSecret& b) {
  if (a.mSize != b.mSize) return false;
  if (a.mSize == 0) return true;
  return a.Reveal().str() == b.Reveal().str();
}

}  // namespace common
