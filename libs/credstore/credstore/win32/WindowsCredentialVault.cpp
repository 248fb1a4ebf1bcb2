#include "credstore/win32/WindowsCredentialVault.h"

#include <windows.h>
#include <wincred.h>

#include <vector>

#include "wincompat/WideString.h"

namespace credstore {
namespace {

std::wstring TargetFor(const std::string& address) { return kCredentialTargetPrefix + wincompat::ToWide(address); }

class CredentialHandle {
 public:
  CredentialHandle() = default;
  ~CredentialHandle() {
    if (!mCredential) return;
    if (mCredential->CredentialBlob) common::SecureWipe(mCredential->CredentialBlob, mCredential->CredentialBlobSize);
    CredFree(mCredential);
  }
  CredentialHandle(const CredentialHandle&) = delete;
  CredentialHandle& operator=(const CredentialHandle&) = delete;
  PCREDENTIALW* out() { return &mCredential; }
  const CREDENTIALW* get() const { return mCredential; }

 private:
  PCREDENTIALW mCredential = nullptr;
};

}  // namespace

DWORD WindowsCredentialVault::Read(const std::string& address, ArrayCredential& credential) {
  credential = {};
  CredentialHandle handle;
  if (!CredReadW(TargetFor(address).c_str(), CRED_TYPE_GENERIC, 0, handle.out())) return GetLastError();
  const CREDENTIALW* stored = handle.get();
  if (stored->UserName) credential.userName = wincompat::ToNarrow(stored->UserName);
  if (stored->CredentialBlobSize % sizeof(wchar_t) != 0) return ERROR_INVALID_DATA;
  std::wstring wide(reinterpret_cast<const wchar_t*>(stored->CredentialBlob), stored->CredentialBlobSize / sizeof(wchar_t));
  if (const auto end = wide.find(L'\0'); end != std::wstring::npos) wide.resize(end);
  const std::string narrow = wincompat::ToNarrow(wide);
  credential.password.assign(narrow.data(), narrow.size());
  common::SecureWipe(wide.data(), wide.size() * sizeof(wchar_t));
  common::SecureWipe(const_cast<char*>(narrow.data()), narrow.size());
  return ERROR_SUCCESS;
}

DWORD WindowsCredentialVault::Write(const std::string& address, const ArrayCredential& credential) {
  std::wstring target = TargetFor(address);
  std::wstring user = wincompat::ToWide(credential.userName);
  std::wstring password = wincompat::ToWide(credential.password.str());
  if (password.size() * sizeof(wchar_t) > CRED_MAX_CREDENTIAL_BLOB_SIZE) {
    common::SecureWipe(password.data(), password.size() * sizeof(wchar_t));
    return ERROR_INVALID_PARAMETER;
  }
  CREDENTIALW stored{};
  stored.Type = CRED_TYPE_GENERIC;
  stored.TargetName = target.data();
  stored.UserName = user.data();
  stored.CredentialBlobSize = static_cast<DWORD>(password.size() * sizeof(wchar_t));
  stored.CredentialBlob = reinterpret_cast<LPBYTE>(password.data());
  stored.Persist = CRED_PERSIST_LOCAL_MACHINE;
  const DWORD status = CredWriteW(&stored, 0) ? ERROR_SUCCESS : GetLastError();
  common::SecureWipe(password.data(), password.size() * sizeof(wchar_t));
  return status;
}

DWORD WindowsCredentialVault::Remove(const std::string& address) {
  return CredDeleteW(TargetFor(address).c_str(), CRED_TYPE_GENERIC, 0) ? ERROR_SUCCESS : GetLastError();
}

}  // namespace credstore
