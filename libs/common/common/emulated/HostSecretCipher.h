#pragma once
// The emulated host's stand-in for the keys Windows keeps for DPAPI and the credential
// manager (native build only). A random 32-byte secret lives in the emulated host's folder
// (file "host-secret.key", owner read/write only, made on first use); each blob gets its own
// random salt and nonce, its key is PBKDF2-HMAC-SHA256 of the secret and the salt, and the
// data are sealed with AES-256-GCM, so a blob that was altered, truncated or made for another
// purpose (the associated data) does not open.
//
// Blob: "VHS1" | salt (16) | nonce (12) | cipher text | tag (16).
#include <cstdint>
#include <filesystem>
#include <span>
#include <string_view>
#include <vector>

#include "common/SecureBuffer.h"
#include "wincompat/WinTypes.h"

namespace common {

class HostSecretCipher {
 public:
  static constexpr const char* kSecretFileName = "host-secret.key";
  static constexpr std::uint32_t kPbkdf2Iterations = 100000;

  explicit HostSecretCipher(std::filesystem::path hostFolder);

  // Creates the host secret when there is none yet.
  DWORD Seal(std::span<const std::uint8_t> clear, std::string_view purpose, std::vector<std::uint8_t>& blob) const;
  // ERROR_FILE_NOT_FOUND without a host secret, ERROR_INVALID_DATA for a blob that does not
  // open with it.
  DWORD Open(std::span<const std::uint8_t> blob, std::string_view purpose, SecureBytes& clear) const;

  const std::filesystem::path& hostFolder() const { return mHostFolder; }

 private:
  DWORD LoadSecret(bool create, SecureBytes& secret) const;

  std::filesystem::path mHostFolder;
};

}  // namespace common
