#include "service/RegistrationPlan.h"

#include <memory>

#include "logger/FileLog.h"
#include "platform/Registry.h"
#include "service/RegistryBackup.h"
#include "service/ServiceIdentity.h"

namespace service {
namespace {

constexpr const wchar_t* kLogSource = L"RegistrationPlan";
constexpr const wchar_t* kAccessPermissionValue = L"AccessPermission";

// What the rollback puts back; shared by the steps that record and restore it.
struct Before {
  RegistryBackup classes;
  std::optional<InstalledService> service;
};

LSTATUS SetBinaryValue(const ClassesRoot& root, const std::wstring& keyPath, const wchar_t* name,
                       const std::vector<unsigned char>& data) {
  platform::RegKey key;
  const std::wstring path = root.Path(keyPath);
  LSTATUS status = platform::TheRegistry().CreateKeyExW(root.root, path.c_str(), key.out());
  if (status != ERROR_SUCCESS) return status;
  return platform::TheRegistry().SetValueExW(key.get(), name, REG_BINARY, data.data(),
                                             static_cast<DWORD>(data.size()));
}

}  // namespace

std::vector<std::wstring> RegisteredClassesKeys() {
  return {AppIdKeyPath(),
          std::wstring(L"AppID\\") + kExecutableAppIdKey,
          kProgId,
          kVersionIndependentProgId,
          std::wstring(L"CLSID\\") + kClassIdText,
          std::wstring(L"TypeLib\\") + kTypeLibIdText};
}

RegistrationSequence BuildRegistration(const RegistrationOptions& options, HostActions host) {
  const auto before = std::make_shared<Before>();
  const ClassesRoot root = options.root;
  const std::wstring appIdKey = AppIdKeyPath();
  RegistrationSequence steps;

  steps.Add(
      L"Recording the registration in place",
      [before, root, host] {
        std::vector<std::wstring> paths;
        for (const std::wstring& key : RegisteredClassesKeys()) paths.push_back(root.Path(key));
        const LSTATUS status = before->classes.Capture(root.root, paths);
        if (status != ERROR_SUCCESS) return HResultFromWin32(status);
        before->service = host.queryService();
        return S_OK;
      },
      [before] {
        if (before->classes.Restore() == ERROR_SUCCESS) {
          VA_LOG(MSG_INFO, L"The registry keys of the registration are back as they were");
        }
      });
  // Before anything else changes: a folder that cannot be made safe stops the registration.
  if (host.secureTraceFolder) steps.Add(L"Securing the trace folder", host.secureTraceFolder);
  // A service from an earlier install would keep COM starting the old registration.
  steps.Add(L"Removing an installed service", host.removeService, [before, host] {
    if (!before->service || host.queryService()) return;
    const HRESULT hr = host.restoreService(*before->service);
    VA_LOG(MSG_INFO, L"Service put back as it was, hr = 0x%08x", static_cast<unsigned>(hr));
  });
  steps.Add(L"AppID registration", [root] { return HResultFromWin32(WriteScript(root, AppIdScript())); });
  steps.Add(L"Clearing the AppID's LocalService",
            [root, appIdKey] { return HResultFromWin32(DeleteValue(root, appIdKey, kLocalServiceValue)); });
  if (!options.accessPermission.empty()) {
    steps.Add(L"Setting the AppID's access permission", [root, appIdKey, data = options.accessPermission] {
      return HResultFromWin32(SetBinaryValue(root, appIdKey, kAccessPermissionValue, data));
    });
  }
  if (options.asService) {
    steps.Add(L"Naming the service in the AppID", [root, appIdKey, name = options.serviceName] {
      return HResultFromWin32(SetStringValue(root, appIdKey, kLocalServiceValue, name));
    });
    steps.Add(L"Service installation", host.installService, [host] { host.removeService(); });
  }
  steps.Add(L"Class registration",
            [root, path = options.modulePath] { return HResultFromWin32(WriteScript(root, ClassScript(path))); });
  steps.Add(L"Type library registration", host.registerTypeLib);
  // Last of the steps that can fail, and never undone: undoing it would take away the VSS
  // registration that an earlier install made, whose class the rollback has just put back.
  steps.Add(L"VSS provider registration", host.registerVssProvider);
  return steps;
}

}  // namespace service
