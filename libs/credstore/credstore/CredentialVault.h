#pragma once
// The credential-store seam: one array credential (user name, password) per group management
// address. WindowsCredentialVault keeps them as generic credentials of the Windows credential
// manager (target "Vantor Storage/<address>"); EncryptedFileCredentialVault in an enciphered
// file of the emulated host's folder. Win32 error codes: 0 success, 1168 (ERROR_NOT_FOUND)
// when the address has no credential.
#include <string>

#include "common/SecureBuffer.h"
#include "platform/SeamSlot.h"
#include "wincompat/WinTypes.h"

namespace credstore {

inline constexpr DWORD kCredentialNotFound = 1168;  // ERROR_NOT_FOUND

struct ArrayCredential {
  std::string userName;
  common::SecureString password;
};

class CredentialVault {
 public:
  virtual ~CredentialVault() = default;
  virtual DWORD Read(const std::string& address, ArrayCredential& credential) = 0;
  virtual DWORD Write(const std::string& address, const ArrayCredential& credential) = 0;
  virtual DWORD Remove(const std::string& address) = 0;
};

using CredentialVaultSlot = platform::SeamSlot<CredentialVault>;

// The installed vault; in the Windows build the credential manager when none was installed,
// natively null.
CredentialVault* CurrentCredentialVault();

// What `vantor-vss config add-group ADDRESS --user USER --password-stdin` calls: stores (or
// replaces) the credential of one group management address. ERROR_INVALID_PARAMETER (87) for
// an empty address or user name, or an address with blanks (the configured address list is
// blank-separated); ERROR_NOT_SUPPORTED (50) without a vault.
DWORD StoreArrayCredential(const std::string& address, const std::string& userName, const std::string& password);
DWORD RemoveArrayCredential(const std::string& address);

}  // namespace credstore
