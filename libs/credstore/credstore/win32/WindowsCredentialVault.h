#pragma once
// Array credentials in the Windows credential manager (Windows build): generic credentials
// named "Vantor Storage/<address>", user name as the credential's user, password as its blob
// (UTF-16LE, as the Credential Manager control panel and cmdkey store it), persisted for the
// local machine. The credential manager keeps one set per Windows account: the credential must
// be stored by the account the provider service runs as.
#include "credstore/CredentialVault.h"

namespace credstore {

inline constexpr const wchar_t* kCredentialTargetPrefix = L"Vantor Storage/";

class WindowsCredentialVault final : public CredentialVault {
 public:
  DWORD Read(const std::string& address, ArrayCredential& credential) override;
  DWORD Write(const std::string& address, const ArrayCredential& credential) override;
  DWORD Remove(const std::string& address) override;
};

}  // namespace credstore
