#include "credstore/CredentialVault.h"

#include "credstore/CredentialRecord.h"
#include "platform/Registry.h"

#ifdef _WIN32
#include "common/win32/DpapiDataProtection.h"
#include "credstore/RegistryCredentialVault.h"
#endif

namespace credstore {
namespace {

bool IsValidAddress(const std::string& address) {
  if (address.empty() || address.size() > kMaxAddressBytes) return false;
  for (const char c : address) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\0') return false;
  }
  return true;
}

}  // namespace

CredentialVault* CurrentCredentialVault() {
  if (CredentialVaultSlot::Installed()) return &CredentialVaultSlot::Get();
#ifdef _WIN32
  static RegistryCredentialVault vault(std::make_unique<common::DpapiDataProtection>(common::DpapiScope::LocalMachine));
  return &vault;
#else
  return nullptr;
#endif
}

DWORD StoreArrayCredential(const std::string& address, const std::string& userName, std::string_view password) {
  if (!IsValidAddress(address) || userName.empty() || userName.size() > kMaxUserNameBytes || password.empty() ||
      password.size() > kMaxPasswordBytes) {
    return ERROR_INVALID_PARAMETER;
  }
  CredentialVault* vault = CurrentCredentialVault();
  if (!vault) return ERROR_NOT_SUPPORTED;
  ArrayCredential credential{userName, {}};
  credential.password.assign(password.data(), password.size());
  return vault->Write(address, credential);
}

DWORD RemoveArrayCredential(const std::string& address) {
  if (!IsValidAddress(address)) return ERROR_INVALID_PARAMETER;
  CredentialVault* vault = CurrentCredentialVault();
  if (!vault) return ERROR_NOT_SUPPORTED;
  return vault->Remove(address);
}

std::string DescribeCredentialStatus(DWORD status) {
  switch (status) {
    case ERROR_SUCCESS: return "stored";
    case kCredentialNotFound: return "no credential is stored";
    case ERROR_ACCESS_DENIED: return "access denied: only SYSTEM and Administrators (elevated) may use the store";
    case ERROR_INVALID_DATA:
      return "the stored value does not open on this computer (truncated, altered or sealed on another computer)";
    case ERROR_DATATYPE_MISMATCH: return "the stored value is not REG_BINARY";
    case ERROR_INVALID_PARAMETER: return "an empty or too long address, user name or password";
    case ERROR_NOT_SUPPORTED: return "this host has no credential store";
    default: return "error " + std::to_string(status);
  }
}

}  // namespace credstore
