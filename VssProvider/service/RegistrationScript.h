#pragma once
// What the COM registration writes below the classes root: the AppID script and the class
// script, as plain data. Every value is a string; an empty value name is the key's default.
// Keys that belong to the system ("AppID", "CLSID") are never listed: they are only parents
// and are never removed.
#include <string>
#include <vector>

namespace service {

struct RegistryStringValue {
  std::wstring name;
  std::wstring data;
};

struct RegistryKeyPlan {
  std::wstring path;  // relative to the classes root
  std::vector<RegistryStringValue> values;
  // Drop the key with everything below it before writing, so that nothing of an older
  // registration survives under the class id.
  bool forceRemove = false;
};

struct RegistrationScript {
  std::vector<RegistryKeyPlan> keys;  // parents before their children
};

// The AppID key with its description, and the executable's name mapped to the AppID.
RegistrationScript AppIdScript();

// The two ProgIDs and the class id with its local server, ProgIDs, AppID and type library.
// `modulePath` is the executable's full path; it is written quoted, because it usually
// contains blanks ("Program Files") and COM would otherwise split it.
RegistrationScript ClassScript(const std::wstring& modulePath);

// The AppID key's path and the value that makes COM start the service instead of the
// executable.
std::wstring AppIdKeyPath();
inline constexpr const wchar_t* kLocalServiceValue = L"LocalService";

// "\"path\"" unless the path is quoted already.
std::wstring QuotedPath(const std::wstring& path);

}  // namespace service
