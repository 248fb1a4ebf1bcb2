#pragma once
// DPAPI in the Windows build. Blobs are made with the calling user's key (the tooling runs
// as the account the service will use) and no UI; CryptUnprotectData also opens blobs made
// with the machine key.
#include "common/DataProtection.h"

namespace common {

class DpapiDataProtection final : public DataProtection {
 public:
  DWORD Protect(std::span<const std::uint8_t> clear, std::vector<std::uint8_t>& blob) override;
  DWORD Unprotect(std::span<const std::uint8_t> blob, SecureBytes& clear) override;
};

}  // namespace common
