#pragma once
// Windows build only: the access list of an HKLM key as SDDL, with its protection flag, as the
// tests of the keys that hold secrets compare it.
#include <windows.h>
#include <sddl.h>

#include <string>
#include <vector>

namespace testsupport {

inline std::wstring DaclOf(const wchar_t* path) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, READ_CONTROL, &key) != ERROR_SUCCESS) return L"(cannot open)";
  DWORD size = 0;
  RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, nullptr, &size);
  std::vector<BYTE> descriptor(size ? size : 1);
  const LSTATUS read = RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor.data(), &size);
  RegCloseKey(key);
  if (read != ERROR_SUCCESS) return L"(cannot read)";
  LPWSTR text = nullptr;
  if (!ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor.data(), SDDL_REVISION_1,
                                                            DACL_SECURITY_INFORMATION, &text, nullptr))
    return L"(cannot print)";
  std::wstring result(text);
  LocalFree(text);
  return result;
}

}  // namespace testsupport
