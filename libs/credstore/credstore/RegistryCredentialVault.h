#pragma once
// The machine credential store: one REG_BINARY value per group management address under
// HKLM\SOFTWARE\Vantor Storage\Credentials, named by the address, holding the credential record
// (CredentialRecord.h) sealed by a data-protection backend: DPAPI in machine scope on
// Windows, the emulated host's key in its native build. The key is created through the
// registry seam's protected-key call (SYSTEM and Administrators only), so LocalSystem's
// service reads it and ordinary users cannot. Values are read through the registry seam, so
// the same code runs over the real and the emulated registry.
#include <memory>

#include "common/DataProtection.h"
#include "credstore/CredentialVault.h"

namespace credstore {

inline constexpr const wchar_t* kCredentialsKey = L"SOFTWARE\\Vantor Storage\\Credentials";
// A value beyond this is not ours (a sealed record of the longest fields is far smaller).
inline constexpr DWORD kMaxStoredValueBytes = 8192;

class RegistryCredentialVault final : public CredentialVault {
 public:
  explicit RegistryCredentialVault(std::unique_ptr<common::DataProtection> sealer) : mSealer(std::move(sealer)) {}

  DWORD Read(const std::string& address, ArrayCredential& credential) override;
  DWORD Write(const std::string& address, const ArrayCredential& credential) override;
  DWORD Remove(const std::string& address) override;

 private:
  std::unique_ptr<common::DataProtection> mSealer;
};

}  // namespace credstore
