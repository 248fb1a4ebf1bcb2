#include "common/win32/DpapiDataProtection.h"

#include <windows.h>
#include <wincrypt.h>

#include <limits>

namespace common {
namespace {

// Frees a blob that DPAPI allocated, wiping it first when it held clear text.
class LocalBlob {
 public:
  explicit LocalBlob(bool secret) : mSecret(secret) {}
  ~LocalBlob() {
    if (!mBlob.pbData) return;
    if (mSecret) SecureWipe(mBlob.pbData, mBlob.cbData);
    LocalFree(mBlob.pbData);
  }
  LocalBlob(const LocalBlob&) = delete;
  LocalBlob& operator=(const LocalBlob&) = delete;
  DATA_BLOB* out() { return &mBlob; }
  const DATA_BLOB& get() const { return mBlob; }

 private:
  DATA_BLOB mBlob{};
  bool mSecret;
};

}  // namespace

DWORD DpapiDataProtection::Protect(std::span<const std::uint8_t> clear, std::vector<std::uint8_t>& blob) {
  blob.clear();
  if (clear.size() > std::numeric_limits<DWORD>::max()) return ERROR_INVALID_PARAMETER;
  // An empty secret still needs a buffer to point at: a null pointer is refused.
  BYTE none = 0;
  DATA_BLOB in{static_cast<DWORD>(clear.size()), clear.empty() ? &none : const_cast<BYTE*>(clear.data())};
  LocalBlob result(false);
  const DWORD flags =
      CRYPTPROTECT_UI_FORBIDDEN | (mScope == DpapiScope::LocalMachine ? CRYPTPROTECT_LOCAL_MACHINE : 0u);
  if (!CryptProtectData(&in, L"Vantor array password", nullptr, nullptr, nullptr, flags, result.out())) {
    return GetLastError();
  }
  blob.assign(result.get().pbData, result.get().pbData + result.get().cbData);
  return ERROR_SUCCESS;
}

DWORD DpapiDataProtection::Unprotect(std::span<const std::uint8_t> blob, SecureBytes& clear) {
  clear.clear();
  if (blob.size() > std::numeric_limits<DWORD>::max()) return ERROR_INVALID_PARAMETER;
  DATA_BLOB in{static_cast<DWORD>(blob.size()), const_cast<BYTE*>(blob.data())};
  LocalBlob result(true);
  if (!CryptUnprotectData(&in, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, result.out())) {
    const DWORD error = GetLastError();
    return error == ERROR_SUCCESS ? static_cast<DWORD>(ERROR_INVALID_DATA) : error;
  }
  clear = SecureBytes(result.get().pbData, result.get().cbData);
  return ERROR_SUCCESS;
}

}  // namespace common
