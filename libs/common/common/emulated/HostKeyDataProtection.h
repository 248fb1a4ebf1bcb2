#pragma once
// Data protection of the emulated host (native build): blobs sealed with the host secret of
// the emulated host's folder (HostSecretCipher) for one purpose. Profile passwords use the
// default purpose; the machine credential store its own, so a blob of one never opens as the
// other.
#include <filesystem>
#include <string>

#include "common/DataProtection.h"
#include "common/emulated/HostSecretCipher.h"

namespace common {

inline constexpr const char* kProfilePasswordPurpose = "vantor profile password";
inline constexpr const char* kMachineCredentialPurpose = "vantor machine credential";

class HostKeyDataProtection final : public DataProtection {
 public:
  explicit HostKeyDataProtection(std::filesystem::path hostFolder, std::string purpose = kProfilePasswordPurpose)
      : mCipher(std::move(hostFolder)), mPurpose(std::move(purpose)) {}
  DWORD Protect(std::span<const std::uint8_t> clear, std::vector<std::uint8_t>& blob) override;
  DWORD Unprotect(std::span<const std::uint8_t> blob, SecureBytes& clear) override;

 private:
  HostSecretCipher mCipher;
  std::string mPurpose;
};

}  // namespace common
