#include "platform/win32/Win32Registry.h"

#include <sddl.h>

#include <memory>
#include <string>

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

LSTATUS Win32Registry::EnumValueW(HKEY key, DWORD index, wchar_t* name, DWORD* cchName, DWORD* type, BYTE* data,
                                  DWORD* cbData) {
  if (!name || !cchName) return ERROR_INVALID_PARAMETER;
  return ::RegEnumValueW(key, index, name, cchName, nullptr, type, data, cbData);
}

LSTATUS Win32Registry::CloseKey(HKEY key) { return ::RegCloseKey(key); }

LSTATUS Win32Registry::CreateKeyExW(HKEY key, const wchar_t* subKey, HKEY* result) {
  return ::RegCreateKeyExW(key, subKey ? subKey : L"", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                           result, nullptr);
}

namespace {

// SYSTEM and Administrators, full control, passed on to subkeys ("OICI"); "P" keeps out what
// the parent key would pass down (HKLM\SOFTWARE lets every user read).
constexpr const wchar_t* kProtectedKeySddl = L"D:P(A;OICI;KA;;;SY)(A;OICI;KA;;;BA)";

struct LocalFreeDeleter {
  void operator()(void* memory) const { ::LocalFree(memory); }
};

}  // namespace

LSTATUS Win32Registry::CreateProtectedKeyW(HKEY key, const wchar_t* subKey, HKEY* result) {
  if (!result || !subKey || !*subKey) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  PSECURITY_DESCRIPTOR raw = nullptr;
  if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(kProtectedKeySddl, SDDL_REVISION_1, &raw, nullptr))
    return static_cast<LSTATUS>(::GetLastError());
  const std::unique_ptr<void, LocalFreeDeleter> descriptor(raw);

  // The parents are ordinary keys; only the last one carries the list.
  const std::wstring path(subKey);
  const std::size_t slash = path.find_last_of(L'\\');
  HKEY parent = key;
  HKEY opened = nullptr;
  if (slash != std::wstring::npos) {
    const LSTATUS status = ::RegCreateKeyExW(key, path.substr(0, slash).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                             KEY_CREATE_SUB_KEY, nullptr, &opened, nullptr);
    if (status != ERROR_SUCCESS) return status;
    parent = opened;
  }
  const std::wstring leaf = slash == std::wstring::npos ? path : path.substr(slash + 1);
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.get(), FALSE};
  LSTATUS status = ::RegCreateKeyExW(parent, leaf.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                                     &attributes, result, nullptr);
  if (opened) ::RegCloseKey(opened);
  if (status != ERROR_SUCCESS) return status;
  // Set again in every case: whoever made an existing key may have let ordinary users read it,
  // and not every implementation applies the attributes to a new key (Wine ignores them).
  status = ::RegSetKeySecurity(*result, DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                               descriptor.get());
  if (status != ERROR_SUCCESS) {
    ::RegCloseKey(*result);
    *result = nullptr;
  }
  return status;
}

LSTATUS Win32Registry::SetValueExW(HKEY key, const wchar_t* value, DWORD type, const BYTE* data, DWORD cbData) {
  return ::RegSetValueExW(key, value, 0, type, data, cbData);
}

LSTATUS Win32Registry::DeleteValueW(HKEY key, const wchar_t* value) { return ::RegDeleteValueW(key, value); }

LSTATUS Win32Registry::DeleteTreeW(HKEY key, const wchar_t* subKey) { return ::RegDeleteTreeW(key, subKey); }

}  // namespace platform
