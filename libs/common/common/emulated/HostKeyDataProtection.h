#pragma once
// Data protection of the emulated host (native build): blobs sealed with the host secret of
// the emulated host's folder (HostSecretCipher), for the purpose "profile password".
#include <filesystem>

#include "common/DataProtection.h"
#include "common/emulated/HostSecretCipher.h"

namespace common {

class HostKeyDataProtection final : public DataProtection {
 public:
  explicit HostKeyDataProtection(std::filesystem::path hostFolder) : mCipher(std::move(hostFolder)) {}
  DWORD Protect(std::span<const std::uint8_t> clear, std::vector<std::uint8_t>& blob) override;
  DWORD Unprotect(std::span<const std::uint8_t> blob, SecureBytes& clear) override;

 private:
  HostSecretCipher mCipher;
};

}  // namespace common
