#pragma once
// A secret (an array password) as it is held between uses: only in protected form, sealed with
// a key of this process (CryptProtectMemory in the Windows build, MemoryProtection.h). Reveal()
// unseals it into a wiped buffer for the moment of one use, e.g. the bytes of one login; a
// crash dump taken in between holds no clear copy.
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "common/SecureBuffer.h"

namespace common {

class ProtectedSecret {
 public:
  ProtectedSecret() = default;
  // Seals a copy of `clear`; the caller wipes its own copy.
  static ProtectedSecret Protect(std::string_view clear);
  // Seals `clear` and wipes it.
  static ProtectedSecret Take(std::string& clear);

  // The clear secret in a buffer that wipes itself. Throws std::runtime_error when the
  // platform cannot unseal it (the text quotes nothing of the secret).
  SecureString Reveal() const;
  bool empty() const { return mSize == 0; }

  friend bool operator==(const ProtectedSecret& a, const ProtectedSecret& b);

 private:
  std::vector<std::uint8_t> mSealed;  // whole protection blocks
  std::size_t mSize = 0;              // bytes of the clear secret
};

}  // namespace common
