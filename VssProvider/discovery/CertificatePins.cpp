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

std::string ReadString(const wchar_t* key, const std::string& address, LSTATUS& status) {
  std::array<wchar_t, kPinBufferChars> buffer{};
  DWORD size = sizeof buffer;
  const std::wstring name = wincompat::ToWide(address);
  status = platform::TheRegistry().GetValueW(HKEY_LOCAL_MACHINE, key, name.c_str(), RRF_RT_REG_SZ, nullptr,
                                             buffer.data(), &size);
  if (status != ERROR_SUCCESS) return {};
  const std::size_t chars = std::min<std::size_t>(size / sizeof(wchar_t), buffer.size());
  return wincompat::ToNarrow(std::wstring(buffer.data(), std::find(buffer.data(), buffer.data() + chars, L'\0')));
}

LSTATUS WriteString(const wchar_t* key, const std::string& address, const std::string& text) {
  platform::RegKey opened;
  // Only SYSTEM and Administrators may change which certificate an array is trusted with.
  if (const LSTATUS created = platform::TheRegistry().CreateProtectedKeyW(HKEY_LOCAL_MACHINE, key, opened.out());
      created != ERROR_SUCCESS)
    return created;
  const std::wstring name = wincompat::ToWide(address);
  const std::wstring value = wincompat::ToWide(text);
  return platform::TheRegistry().SetValueExW(opened.get(), name.c_str(), REG_SZ,
                                             reinterpret_cast<const BYTE*>(value.c_str()),
                                             static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

LSTATUS RemoveValue(const wchar_t* key, const std::string& address) {
  platform::RegKey opened;
  const LSTATUS status = platform::TheRegistry().OpenKeyExW(HKEY_LOCAL_MACHINE, key, 0, KEY_SET_VALUE, opened.out());
  if (status == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
  if (status != ERROR_SUCCESS) return status;
  const LSTATUS deleted = platform::TheRegistry().DeleteValueW(opened.get(), wincompat::ToWide(address).c_str());
  return deleted == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : deleted;
}

}  // namespace

std::string ReadCertificatePin(const std::string& address) {
  LSTATUS status = ERROR_SUCCESS;
  const std::string text = ReadString(kCertificatesKey, address, status);
  if (status == ERROR_FILE_NOT_FOUND) return {};
  if (status != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"The pinned certificate of %S under %s cannot be read (error %ld); the array must then present a certificate the system trusts.",
           address, kCertificatesKey, status);
    return {};
  }
  const auto pin = vantor::http::normalizeSha256Hex(text);
  if (!pin) {
    VA_LOG(MSG_ERROR, L"The pinned certificate of %S under %s is not a SHA-256 fingerprint; the array must then present a certificate the system trusts.",
           address, kCertificatesKey);
    return {};
  }
  return *pin;
}

LSTATUS WriteCertificatePin(const std::string& address, const std::string& sha256Hex) {
  if (const LSTATUS unmarked = RemoveValue(kFirstUsePinsKey, address); unmarked != ERROR_SUCCESS) return unmarked;
  return WriteString(kCertificatesKey, address, sha256Hex);
}

LSTATUS WriteFirstUsePin(const std::string& address, const std::string& sha256Hex) {
  if (const LSTATUS written = WriteString(kCertificatesKey, address, sha256Hex); written != ERROR_SUCCESS) return written;
  return WriteString(kFirstUsePinsKey, address, sha256Hex);
}

bool IsPinnedAtFirstUse(const std::string& address) {
  LSTATUS status = ERROR_SUCCESS;
  const std::string mark = ReadString(kFirstUsePinsKey, address, status);
  // A mark counts only for the pin it was made with.
  return status == ERROR_SUCCESS && !mark.empty() && mark == ReadCertificatePin(address);
}

LSTATUS RemoveCertificatePin(const std::string& address) {
  if (const LSTATUS unmarked = RemoveValue(kFirstUsePinsKey, address); unmarked != ERROR_SUCCESS) return unmarked;
  return RemoveValue(kCertificatesKey, address);
}

}  // namespace discovery
