#pragma once
// The emulated host's stand-in for the keys Windows keeps for DPAPI (native build only). A
// random 32-byte secret lives in the emulated host's folder (file "host-secret.key", owner
// read/write only from its creation, made on first use) and is read once per cipher object.
// Each blob is sealed with AES-256-GCM under its own key, HKDF-SHA256 of the secret with the
// blob's random salt and its purpose, so a blob that was altered, truncated, made for another
// purpose or on another host (another secret) does not open. HKDF suits a uniformly random
// secret: it costs microseconds where a password stretch costs tens of milliseconds, as DPAPI
// costs well under a millisecond.
//
// Blob: "VHS2" | salt (16) | nonce (12) | cipher text | tag (16); the magic and the purpose are
// the associated data. Blobs of the first format ("VHS1", key PBKDF2-HMAC-SHA256 of the secret
// and salt, 100,000 iterations, purpose as associated data) still open; their keys are kept
// for the life of the cipher object, so each costs its stretch once.
#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <span>
#include <string_view>
#include <vector>

#include "common/SecureBuffer.h"
#include "wincompat/WinTypes.h"

namespace common {

class HostSecretCipher {
 public:
  static constexpr const char* kSecretFileName = "host-secret.key";
  static constexpr std::uint32_t kLegacyPbkdf2Iterations = 100000;
  static constexpr std::size_t kSaltSize = 16;

  explicit HostSecretCipher(std::filesystem::path hostFolder);
  HostSecretCipher(const HostSecretCipher&) = delete;
  HostSecretCipher& operator=(const HostSecretCipher&) = delete;

  // Creates the host secret when there is none yet.
  DWORD Seal(std::span<const std::uint8_t> clear, std::string_view purpose, std::vector<std::uint8_t>& blob) const;
  // ERROR_FILE_NOT_FOUND without a host secret, ERROR_INVALID_DATA for a blob that does not
  // open with it.
  DWORD Open(std::span<const std::uint8_t> blob, std::string_view purpose, SecureBytes& clear) const;

  const std::filesystem::path& hostFolder() const { return mHostFolder; }

 private:
  using Salt = std::array<std::uint8_t, kSaltSize>;
  // Under mMutex: the secret, read (or made) on first use.
  DWORD Secret(bool create) const;
  DWORD LegacyKey(const std::uint8_t* salt, SecureBytes& key) const;

  std::filesystem::path mHostFolder;
  mutable std::mutex mMutex;
  mutable SecureBytes mSecret;
  mutable std::map<Salt, SecureBytes> mLegacyKeys;
};

}  // namespace common
