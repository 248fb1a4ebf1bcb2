#include "credstore/CredentialVault.h"

#ifdef _WIN32
#include "credstore/win32/WindowsCredentialVault.h"
#endif

namespace credstore {
namespace {

bool IsValidAddress(const std::string& address) {
  if (address.empty()) return false;
  for (const char c : address) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\0') return false;
  }
  return true;
}

}  // namespace

CredentialVault* CurrentCredentialVault() {
  if (CredentialVaultSlot::Installed()) return &CredentialVaultSlot::Get();
#ifdef _WIN32
  static WindowsCredentialVault vault;
  return &vault;
#else
  return nullptr;
#endif
}

DWORD StoreArrayCredential(const std::string& address, const std::string& userName, const std::string& password) {
  if (!IsValidAddress(address) || userName.empty()) return ERROR_INVALID_PARAMETER;
  CredentialVault* vault = CurrentCredentialVault();
  if (!vault) return ERROR_NOT_SUPPORTED;
  ArrayCredential credential{userName, common::SecureString(password)};
  return vault->Write(address, credential);
}

DWORD RemoveArrayCredential(const std::string& address) {
  if (!IsValidAddress(address)) return ERROR_INVALID_PARAMETER;
  CredentialVault* vault = CurrentCredentialVault();
  if (!vault) return ERROR_NOT_SUPPORTED;
  return vault->Remove(address);
}

}  // namespace credstore
