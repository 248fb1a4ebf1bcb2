#pragma once
// The registry seam on Windows: every call goes to the Win32 API unchanged.
#include "platform/Registry.h"

namespace platform {

class Win32Registry final : public Registry {
 public:
  LSTATUS GetValueW(HKEY key, const wchar_t* subKey, const wchar_t* value, DWORD flags, DWORD* type, void* data,
                    DWORD* cbData) override;
  LSTATUS GetValueA(HKEY key, const char* subKey, const char* value, DWORD flags, DWORD* type, void* data,
                    DWORD* cbData) override;
  LSTATUS OpenKeyExW(HKEY key, const wchar_t* subKey, DWORD options, REGSAM sam, HKEY* result) override;
  LSTATUS QueryValueExW(HKEY key, const wchar_t* value, DWORD* reserved, DWORD* type, BYTE* data,
                        DWORD* cbData) override;
  LSTATUS QueryInfoKeyW(HKEY key, DWORD* subKeys, DWORD* maxSubKeyLen, DWORD* values, DWORD* maxValueNameLen,
                        DWORD* maxValueLen) override;
  LSTATUS EnumKeyExW(HKEY key, DWORD index, wchar_t* name, DWORD* cchName) override;
  LSTATUS EnumValueW(HKEY key, DWORD index, wchar_t* name, DWORD* cchName, DWORD* type, BYTE* data,
                     DWORD* cbData) override;
  LSTATUS CloseKey(HKEY key) override;
  LSTATUS CreateKeyExW(HKEY key, const wchar_t* subKey, HKEY* result) override;
  LSTATUS CreateProtectedKeyW(HKEY key, const wchar_t* subKey, HKEY* result) override;
  LSTATUS SetValueExW(HKEY key, const wchar_t* value, DWORD type, const BYTE* data, DWORD cbData) override;
  LSTATUS DeleteValueW(HKEY key, const wchar_t* value) override;
  LSTATUS DeleteTreeW(HKEY key, const wchar_t* subKey) override;
};

}  // namespace platform
