#pragma once
// The credential-store seam: one array credential (user name, password) per group management
// address, machine-wide, readable by the provider's service and not by ordinary users.
// RegistryCredentialVault keeps them under HKLM\SOFTWARE\Vantor Storage\Credentials. Win32
// error codes: 0 success, 1168 (ERROR_NOT_FOUND) when the address has no credential.
#include <string>
#include <string_view>

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
  // A stored value that cannot be used (wrong type, truncated, altered, sealed on another
  // computer) is refused with a trace line naming the address; it never throws.
  virtual DWORD Read(const std::string& address, ArrayCredential& credential) = 0;
  virtual DWORD Write(const std::string& address, const ArrayCredential& credential) = 0;
  virtual DWORD Remove(const std::string& address) = 0;
};

using CredentialVaultSlot = platform::SeamSlot<CredentialVault>;

// The installed vault; in the Windows build the machine store (DPAPI in machine scope) when
// none was installed, natively null.
CredentialVault* CurrentCredentialVault();

// What `vantor-vss config add-group ADDRESS --user USER --password-stdin` calls: stores (or
// replaces) the credential of one group management address. ERROR_INVALID_PARAMETER (87) for
// an empty or over-long address, user name or password, or an address with blanks (the
// configured address list is blank-separated); ERROR_NOT_SUPPORTED (50) without a vault.
// Writing needs an administrator: on Windows the store's key admits no one else.
// The password is copied only into wiped buffers.
DWORD StoreArrayCredential(const std::string& address, const std::string& userName, std::string_view password);
DWORD RemoveArrayCredential(const std::string& address);

// A sentence for the administrator about a Read or Write status.
std::string DescribeCredentialStatus(DWORD status);

}  // namespace credstore
