#pragma once
// Array credentials of the emulated host (native build): one file, "credentials.vault" in the
// emulated host's folder, sealed as a whole with the host secret (AES-256-GCM, see
// common/emulated/HostSecretCipher.h). Each write replaces the file atomically. The emulated
// host has one account, so there is one set of credentials.
#include <filesystem>
#include <mutex>

#include "common/emulated/HostSecretCipher.h"
#include "credstore/CredentialVault.h"

namespace credstore {

class EncryptedFileCredentialVault final : public CredentialVault {
 public:
  static constexpr const char* kVaultFileName = "credentials.vault";

  explicit EncryptedFileCredentialVault(std::filesystem::path hostFolder);

  DWORD Read(const std::string& address, ArrayCredential& credential) override;
  DWORD Write(const std::string& address, const ArrayCredential& credential) override;
  DWORD Remove(const std::string& address) override;

 private:
  struct Entries;
  // kCredentialNotFound when there is no vault file yet.
  DWORD Load(Entries& entries) const;
  DWORD Save(const Entries& entries) const;

  common::HostSecretCipher mCipher;
  std::filesystem::path mPath;
  std::mutex mMutex;
};

}  // namespace credstore
