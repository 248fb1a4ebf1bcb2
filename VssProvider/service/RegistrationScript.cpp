#include "service/RegistrationScript.h"

#include "service/ServiceIdentity.h"

namespace service {

std::wstring AppIdKeyPath() { return std::wstring(L"AppID\\") + kAppIdText; }

std::wstring QuotedPath(const std::wstring& path) {
  if (path.size() >= 2 && path.front() == L'"' && path.back() == L'"') return path;
  return L"\"" + path + L"\"";
}

RegistrationScript AppIdScript() {
  RegistrationScript script;
  script.keys.push_back({AppIdKeyPath(), {{L"", kAppIdDescription}}, false});
  script.keys.push_back({std::wstring(L"AppID\\") + kExecutableAppIdKey, {{L"AppID", kAppIdText}}, false});
  return script;
}

RegistrationScript ClassScript(const std::wstring& modulePath) {
  const std::wstring versioned = kProgId;
  const std::wstring independent = kVersionIndependentProgId;
  const std::wstring classKey = std::wstring(L"CLSID\\") + kClassIdText;

  RegistrationScript script;
  script.keys.push_back({versioned, {{L"", kClassDescription}}, false});
  script.keys.push_back({versioned + L"\\CLSID", {{L"", kClassIdText}}, false});
  script.keys.push_back({independent, {{L"", kClassDescription}}, false});
  script.keys.push_back({independent + L"\\CLSID", {{L"", kClassIdText}}, false});
  script.keys.push_back({independent + L"\\CurVer", {{L"", versioned}}, false});
  script.keys.push_back({classKey, {{L"", kClassDescription}, {L"AppID", kAppIdText}}, true});
  script.keys.push_back({classKey + L"\\ProgID", {{L"", versioned}}, false});
  script.keys.push_back({classKey + L"\\VersionIndependentProgID", {{L"", independent}}, false});
  script.keys.push_back({classKey + L"\\LocalServer32", {{L"", QuotedPath(modulePath)}}, false});
  script.keys.push_back({classKey + L"\\TypeLib", {{L"", kTypeLibIdText}}, false});
  return script;
}

}  // namespace service
