#include "discovery/CertificatePins.h"

#include <algorithm>
#include <array>

#include "discovery/ConfigurationKeys.h"
#include "http/CertificatePin.h"
#include "logger/FileLog.h"
#include "platform/Registry.h"
#include "wincompat/WideString.h"

namespace discovery {
namespace {

static constexpr const wchar_t* kLogSource = L"CertificatePins";

// Room for a pin with separators and some slack; anything longer is not a pin.
constexpr std::size_t kPinBufferChars = 128;

}  // namespace

std::string ReadCertificatePin(const std::string& address) {
  std::array<wchar_t, kPinBufferChars> buffer{};
  DWORD size = sizeof buffer;
  const std::wstring name = wincompat::ToWide(address);
  const LSTATUS status = platform::TheRegistry().GetValueW(HKEY_LOCAL_MACHINE, kCertificatesKey, name.c_str(),
                                                           RRF_RT_REG_SZ, nullptr, buffer.data(), &size);
  if (status == ERROR_FILE_NOT_FOUND) return {};
  if (status != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"The pinned certificate of %S under %s cannot be read (error %ld); the array must then present a certificate the system trusts.",
           address, kCertificatesKey, status);
    return {};
  }
  const std::size_t chars = std::min<std::size_t>(size / sizeof(wchar_t), buffer.size());
  const std::string text =
      wincompat::ToNarrow(std::wstring(buffer.data(), std::find(buffer.data(), buffer.data() + chars, L'\0')));
  const auto pin = vantor::http::normalizeSha256Hex(text);
  if (!pin) {
    VA_LOG(MSG_ERROR, L"The pinned certificate of %S under %s is not a SHA-256 fingerprint; the array must then present a certificate the system trusts.",
           address, kCertificatesKey);
    return {};
  }
  return *pin;
}

LSTATUS WriteCertificatePin(const std::string& address, const std::string& sha256Hex) {
  platform::RegKey key;
  // Only SYSTEM and Administrators may change which certificate an array is trusted with.
  if (const LSTATUS created = platform::TheRegistry().CreateProtectedKeyW(HKEY_LOCAL_MACHINE, kCertificatesKey, key.out());
      created != ERROR_SUCCESS)
    return created;
  const std::wstring name = wincompat::ToWide(address);
  const std::wstring value = wincompat::ToWide(sha256Hex);
  return platform::TheRegistry().SetValueExW(key.get(), name.c_str(), REG_SZ,
                                             reinterpret_cast<const BYTE*>(value.c_str()),
                                             static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

LSTATUS RemoveCertificatePin(const std::string& address) {
  platform::RegKey key;
  const LSTATUS opened = platform::TheRegistry().OpenKeyExW(HKEY_LOCAL_MACHINE, kCertificatesKey, 0, KEY_SET_VALUE, key.out());
  if (opened == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
  if (opened != ERROR_SUCCESS) return opened;
  const LSTATUS deleted = platform::TheRegistry().DeleteValueW(key.get(), wincompat::ToWide(address).c_str());
  return deleted == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : deleted;
}

}  // namespace discovery
