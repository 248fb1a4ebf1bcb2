#include "platform/win32/Win32Registry.h"

namespace platform {

LSTATUS Win32Registry::GetValueW(HKEY key, const wchar_t* subKey, const wchar_t* value, DWORD flags, DWORD* type,
                                 void* data, DWORD* cbData) {
  return ::RegGetValueW(key, subKey, value, flags, type, data, cbData);
}

LSTATUS Win32Registry::GetValueA(HKEY key, const char* subKey, const char* value, DWORD flags, DWORD* type,
                                 void* data, DWORD* cbData) {
  return ::RegGetValueA(key, subKey, value, flags, type, data, cbData);
}

LSTATUS Win32Registry::OpenKeyExW(HKEY key, const wchar_t* subKey, DWORD options, REGSAM sam, HKEY* result) {
  return ::RegOpenKeyExW(key, subKey, options, sam, result);
}

LSTATUS Win32Registry::QueryValueExW(HKEY key, const wchar_t* value, DWORD* reserved, DWORD* type, BYTE* data,
                                     DWORD* cbData) {
  return ::RegQueryValueExW(key, value, reserved, type, data, cbData);
}

LSTATUS Win32Registry::QueryInfoKeyW(HKEY key, DWORD* subKeys, DWORD* maxSubKeyLen, DWORD* values,
                                     DWORD* maxValueNameLen, DWORD* maxValueLen) {
  return ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, subKeys, maxSubKeyLen, nullptr, values, maxValueNameLen,
                            maxValueLen, nullptr, nullptr);
}

LSTATUS Win32Registry::EnumKeyExW(HKEY key, DWORD index, wchar_t* name, DWORD* cchName) {
  // Some implementations write through a null name instead of failing; refuse it here.
  if (!name || !cchName) return ERROR_INVALID_PARAMETER;
  return ::RegEnumKeyExW(key, index, name, cchName, nullptr, nullptr, nullptr, nullptr);
}

LSTATUS Win32Registry::CloseKey(HKEY key) { return ::RegCloseKey(key); }

LSTATUS Win32Registry::CreateKeyExW(HKEY key, const wchar_t* subKey, HKEY* result) {
  return ::RegCreateKeyExW(key, subKey ? subKey : L"", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                           result, nullptr);
}

LSTATUS Win32Registry::SetValueExW(HKEY key, const wchar_t* value, DWORD type, const BYTE* data, DWORD cbData) {
  return ::RegSetValueExW(key, value, 0, type, data, cbData);
}

LSTATUS Win32Registry::DeleteValueW(HKEY key, const wchar_t* value) { return ::RegDeleteValueW(key, value); }

LSTATUS Win32Registry::DeleteTreeW(HKEY key, const wchar_t* subKey) { return ::RegDeleteTreeW(key, subKey); }

}  // namespace platform
