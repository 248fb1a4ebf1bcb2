#pragma once
// Writes and removes registration scripts through the registry seam, below either the
// machine's classes root or the user's own classes (the PerUser switches).
#include <string>
#include <string_view>

#include "service/RegistrationScript.h"
#include "wincompat/WinTypes.h"

namespace service {

struct ClassesRoot {
  HKEY root;
  std::wstring prefix;  // prepended to every script path

  static ClassesRoot Machine();  // HKEY_CLASSES_ROOT
  static ClassesRoot PerUser();  // HKEY_CURRENT_USER\Software\Classes
  std::wstring Path(std::wstring_view relative) const { return prefix + std::wstring(relative); }
};

// Writes every key and value of `script`; returns the first Win32 error and stops there.
LSTATUS WriteScript(const ClassesRoot& root, const RegistrationScript& script);

// Removes every key of `script` with everything below it. Keys that are already gone count as
// removed; the first other error is returned for the log, after trying every key.
LSTATUS RemoveScript(const ClassesRoot& root, const RegistrationScript& script);

LSTATUS SetStringValue(const ClassesRoot& root, std::wstring_view keyPath, const std::wstring& name,
                       const std::wstring& data);

// A missing key or value counts as deleted.
LSTATUS DeleteValue(const ClassesRoot& root, std::wstring_view keyPath, const std::wstring& name);

}  // namespace service
