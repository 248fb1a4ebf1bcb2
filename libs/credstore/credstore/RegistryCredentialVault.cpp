#include "credstore/RegistryCredentialVault.h"

#include <vector>

#include "credstore/CredentialRecord.h"
#include "logger/FileLog.h"
#include "platform/Registry.h"
#include "wincompat/WideString.h"

static constexpr const wchar_t* kLogSource = L"RegistryCredentialVault";

namespace credstore {
namespace {

DWORD Unusable(const std::string& address, const std::string& why, DWORD status) {
  VA_LOG(MSG_ERROR,
         L"The stored credential of array IP %S is unusable: %S (error %lu). The group is skipped until its "
         L"credential is stored again.",
         address, why, static_cast<unsigned long>(status));
  return status;
}

}  // namespace

DWORD RegistryCredentialVault::Read(const std::string& address, ArrayCredential& credential) {
  credential = {};
  const std::wstring name = wincompat::ToWide(address);
  platform::Registry& registry = platform::TheRegistry();
  DWORD type = REG_NONE;
  DWORD size = 0;
  const LSTATUS probed = registry.GetValueW(HKEY_LOCAL_MACHINE, kCredentialsKey, name.c_str(), RRF_RT_ANY, &type,
                                            nullptr, &size);
  if (probed == ERROR_FILE_NOT_FOUND) return kCredentialNotFound;
  if (probed != ERROR_SUCCESS) return Unusable(address, "the store cannot be read", static_cast<DWORD>(probed));
  if (type != REG_BINARY) {
    return Unusable(address, "the value is of registry type " + std::to_string(type) + ", not REG_BINARY",
                    static_cast<DWORD>(ERROR_DATATYPE_MISMATCH));
  }
  if (size == 0 || size > kMaxStoredValueBytes) {
    return Unusable(address, "the value holds " + std::to_string(size) + " bytes",
                    static_cast<DWORD>(ERROR_INVALID_DATA));
  }
  std::vector<std::uint8_t> sealed(size);
  const LSTATUS read = registry.GetValueW(HKEY_LOCAL_MACHINE, kCredentialsKey, name.c_str(), RRF_RT_REG_BINARY,
                                          &type, sealed.data(), &size);
  if (read != ERROR_SUCCESS) return Unusable(address, "the value changed while it was read", static_cast<DWORD>(read));
  sealed.resize(size);

  common::SecureBytes record;
  if (const DWORD opened = mSealer->Unprotect(sealed, record); opened != ERROR_SUCCESS) {
    Unusable(address, "it does not open: truncated, altered or sealed on another computer", opened);
    return ERROR_INVALID_DATA;
  }
  if (DecodeCredentialRecord(std::span<const std::uint8_t>(record.data(), record.size()), address, credential) !=
      ERROR_SUCCESS) {
    return Unusable(address, "it does not hold a credential for this address", static_cast<DWORD>(ERROR_INVALID_DATA));
  }
  return ERROR_SUCCESS;
}

DWORD RegistryCredentialVault::Write(const std::string& address, const ArrayCredential& credential) {
  common::SecureBytes record;
  if (!EncodeCredentialRecord(address, credential, record)) return ERROR_INVALID_PARAMETER;
  std::vector<std::uint8_t> sealed;
  if (const DWORD status = mSealer->Protect(std::span<const std::uint8_t>(record.data(), record.size()), sealed);
      status != ERROR_SUCCESS) {
    return status;
  }
  if (sealed.size() > kMaxStoredValueBytes) return ERROR_INVALID_PARAMETER;
  platform::RegKey key;
  if (const LSTATUS created =
          platform::TheRegistry().CreateProtectedKeyW(HKEY_LOCAL_MACHINE, kCredentialsKey, key.out());
      created != ERROR_SUCCESS) {
    return static_cast<DWORD>(created);
  }
  const std::wstring name = wincompat::ToWide(address);
  return static_cast<DWORD>(platform::TheRegistry().SetValueExW(key.get(), name.c_str(), REG_BINARY, sealed.data(),
                                                                static_cast<DWORD>(sealed.size())));
}

DWORD RegistryCredentialVault::Remove(const std::string& address) {
  platform::RegKey key;
  const LSTATUS opened =
      platform::TheRegistry().OpenKeyExW(HKEY_LOCAL_MACHINE, kCredentialsKey, 0, KEY_SET_VALUE, key.out());
  if (opened == ERROR_FILE_NOT_FOUND) return kCredentialNotFound;
  if (opened != ERROR_SUCCESS) return static_cast<DWORD>(opened);
  const std::wstring name = wincompat::ToWide(address);
  const LSTATUS removed = platform::TheRegistry().DeleteValueW(key.get(), name.c_str());
  if (removed == ERROR_FILE_NOT_FOUND) return kCredentialNotFound;
  return static_cast<DWORD>(removed);
}

}  // namespace credstore
