#include "common/EncryptDecrypt.h"

#include <cstring>

#include "common/DataProtection.h"
#include "common/SecureBuffer.h"

#ifdef _WIN32
#include "common/win32/DpapiDataProtection.h"
#endif

namespace common {

DataProtection* CurrentDataProtection() {
  if (DataProtectionSlot::Installed()) return &DataProtectionSlot::Get();
#ifdef _WIN32
  static DpapiDataProtection dpapi;
  return &dpapi;
#else
  return nullptr;
#endif
}

}  // namespace common

DWORD EncryptDecrypt::DecryptBuffer(unsigned char* in, unsigned long inLength, unsigned char* out,
                                    unsigned long* outLength) {
  if (!in || !out || !outLength) return ERROR_INVALID_PARAMETER;
  common::DataProtection* protection = common::CurrentDataProtection();
  if (!protection) return ERROR_NOT_SUPPORTED;
  common::SecureBytes clear;
  const DWORD status = protection->Unprotect(std::span<const std::uint8_t>(in, inLength), clear);
  if (status != ERROR_SUCCESS) return status;
  if (clear.size() % 2 != 0) return ERROR_INVALID_DATA;

  // UTF-16LE code units to wchar_t (UTF-16 on Windows, UTF-32 natively); a terminator inside
  // the text ends it.
  std::size_t units = clear.size() / 2;
  common::SecureBytes wide((units + 1) * sizeof(wchar_t));
  auto* text = reinterpret_cast<wchar_t*>(wide.data());
  std::size_t length = 0;
  for (std::size_t i = 0; i < units; ++i) {
    char32_t unit = static_cast<char32_t>(clear.data()[2 * i] | (clear.data()[2 * i + 1] << 8));
    if (unit == 0) break;
    if constexpr (sizeof(wchar_t) == 4) {
      if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < units) {
        const char32_t low = static_cast<char32_t>(clear.data()[2 * i + 2] | (clear.data()[2 * i + 3] << 8));
        if (low >= 0xDC00 && low <= 0xDFFF) {
          unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
          ++i;
        }
      }
    }
    text[length++] = static_cast<wchar_t>(unit);
  }
  text[length] = L'\0';
  const std::size_t bytes = (length + 1) * sizeof(wchar_t);
  if (bytes > *outLength) return ERROR_INSUFFICIENT_BUFFER;
  std::memcpy(out, text, bytes);
  *outLength = static_cast<unsigned long>(bytes);
  return ERROR_SUCCESS;
}

DWORD EncryptDecrypt::EncryptBuffer(const std::wstring& clearText, std::vector<unsigned char>& out) {
  out.clear();
  common::DataProtection* protection = common::CurrentDataProtection();
  if (!protection) return ERROR_NOT_SUPPORTED;
  std::vector<std::uint8_t> units;
  units.reserve(clearText.size() * 4);  // no reallocation: every copy of the text gets wiped
  for (const wchar_t c : clearText) {
    char32_t cp = static_cast<char32_t>(c);
    if constexpr (sizeof(wchar_t) == 4) {
      if (cp >= 0x10000) {
        cp -= 0x10000;
        const char32_t high = 0xD800 + (cp >> 10);
        const char32_t low = 0xDC00 + (cp & 0x3FF);
        units.push_back(static_cast<std::uint8_t>(high));
        units.push_back(static_cast<std::uint8_t>(high >> 8));
        units.push_back(static_cast<std::uint8_t>(low));
        units.push_back(static_cast<std::uint8_t>(low >> 8));
        continue;
      }
    }
    units.push_back(static_cast<std::uint8_t>(cp));
    units.push_back(static_cast<std::uint8_t>(cp >> 8));
  }
  const DWORD status = protection->Protect(units, out);
  common::SecureWipe(units.data(), units.size());
  return status;
}
