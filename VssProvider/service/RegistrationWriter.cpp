#include "service/RegistrationWriter.h"

#include "logger/FileLog.h"
#include "platform/Registry.h"

namespace service {
namespace {

constexpr const wchar_t* kLogSource = L"RegistrationWriter";

bool IsGone(LSTATUS status) { return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND; }

bool IsBelow(const std::wstring& path, const std::wstring& parent) {
  return path.size() > parent.size() + 1 && path.compare(0, parent.size(), parent) == 0 &&
         path[parent.size()] == L'\\';
}

LSTATUS WriteKey(const ClassesRoot& root, const RegistryKeyPlan& plan) {
  platform::Registry& registry = platform::TheRegistry();
  const std::wstring path = root.Path(plan.path);
  if (plan.forceRemove) {
    const LSTATUS removed = registry.DeleteTreeW(root.root, path.c_str());
    if (removed != ERROR_SUCCESS && !IsGone(removed)) return removed;
  }
  platform::RegKey key;
  LSTATUS status = registry.CreateKeyExW(root.root, path.c_str(), key.out());
  if (status != ERROR_SUCCESS) return status;
  for (const RegistryStringValue& value : plan.values) {
    const auto bytes = static_cast<DWORD>((value.data.size() + 1) * sizeof(wchar_t));
    status = registry.SetValueExW(key.get(), value.name.c_str(), REG_SZ,
                                  reinterpret_cast<const BYTE*>(value.data.c_str()), bytes);
    if (status != ERROR_SUCCESS) return status;
  }
  return ERROR_SUCCESS;
}

}  // namespace

ClassesRoot ClassesRoot::Machine() { return {HKEY_CLASSES_ROOT, L""}; }
ClassesRoot ClassesRoot::PerUser() { return {HKEY_CURRENT_USER, L"Software\\Classes\\"}; }

LSTATUS WriteScript(const ClassesRoot& root, const RegistrationScript& script) {
  for (const RegistryKeyPlan& plan : script.keys) {
    const LSTATUS status = WriteKey(root, plan);
    if (status != ERROR_SUCCESS) {
      VA_LOG(MSG_ERROR, L"** Writing registry key %s failed, error %d", root.Path(plan.path), status);
      return status;
    }
  }
  return ERROR_SUCCESS;
}

LSTATUS RemoveScript(const ClassesRoot& root, const RegistrationScript& script) {
  LSTATUS first = ERROR_SUCCESS;
  for (const RegistryKeyPlan& plan : script.keys) {
    bool nested = false;
    for (const RegistryKeyPlan& other : script.keys) nested = nested || IsBelow(plan.path, other.path);
    if (nested) continue;  // goes with its parent's tree
    const std::wstring path = root.Path(plan.path);
    const LSTATUS status = platform::TheRegistry().DeleteTreeW(root.root, path.c_str());
    if (status != ERROR_SUCCESS && !IsGone(status)) {
      VA_LOG(MSG_WARNING, L"Removing registry key %s failed, error %d", path, status);
      if (first == ERROR_SUCCESS) first = status;
    }
  }
  return first;
}

LSTATUS SetStringValue(const ClassesRoot& root, std::wstring_view keyPath, const std::wstring& name,
                       const std::wstring& data) {
  return WriteKey(root, {std::wstring(keyPath), {{name, data}}, false});
}

LSTATUS DeleteValue(const ClassesRoot& root, std::wstring_view keyPath, const std::wstring& name) {
  platform::Registry& registry = platform::TheRegistry();
  const std::wstring path = root.Path(keyPath);
  platform::RegKey key;
  LSTATUS status = registry.OpenKeyExW(root.root, path.c_str(), 0, KEY_SET_VALUE, key.out());
  if (IsGone(status)) return ERROR_SUCCESS;
  if (status != ERROR_SUCCESS) return status;
  status = registry.DeleteValueW(key.get(), name.c_str());
  return IsGone(status) ? ERROR_SUCCESS : status;
}

}  // namespace service
