#include "service/RegistryBackup.h"

#include "logger/FileLog.h"
#include "platform/Registry.h"

namespace service {
namespace {

constexpr const wchar_t* kLogSource = L"RegistryBackup";
// Registry limits: key names 255 characters, value names 16383.
constexpr DWORD kMaxKeyName = 256;
constexpr DWORD kMaxValueName = 16384;

bool IsGone(LSTATUS status) { return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND; }

LSTATUS ReadValues(HKEY key, std::vector<RegistryBackup::Value>& out) {
  platform::Registry& registry = platform::TheRegistry();
  std::wstring name(kMaxValueName, L'\0');
  for (DWORD index = 0;; ++index) {
    RegistryBackup::Value value;
    DWORD nameLength = kMaxValueName;
    DWORD size = 0;
    LSTATUS status = registry.EnumValueW(key, index, name.data(), &nameLength, &value.type, nullptr, &size);
    if (status == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (status != ERROR_SUCCESS) return status;
    value.name.assign(name.data(), nameLength);
    value.data.resize(size);
    nameLength = kMaxValueName;
    status = registry.EnumValueW(key, index, name.data(), &nameLength, &value.type, value.data.data(), &size);
    if (status != ERROR_SUCCESS) return status;  // changed under us: better no backup than a wrong one
    value.data.resize(size);
    out.push_back(std::move(value));
  }
}

LSTATUS ReadTree(HKEY root, const std::wstring& path, std::vector<RegistryBackup::Key>& out) {
  platform::Registry& registry = platform::TheRegistry();
  platform::RegKey key;
  LSTATUS status = registry.OpenKeyExW(root, path.c_str(), 0, KEY_READ, key.out());
  if (status != ERROR_SUCCESS) return status;
  RegistryBackup::Key record{path, {}};
  if ((status = ReadValues(key.get(), record.values)) != ERROR_SUCCESS) return status;
  out.push_back(std::move(record));
  std::vector<std::wstring> children;
  wchar_t name[kMaxKeyName];
  for (DWORD index = 0;; ++index) {
    DWORD length = kMaxKeyName;
    status = registry.EnumKeyExW(key.get(), index, name, &length);
    if (status == ERROR_NO_MORE_ITEMS) break;
    if (status != ERROR_SUCCESS) return status;
    children.emplace_back(name, length);
  }
  for (const std::wstring& child : children) {
    if ((status = ReadTree(root, path + L"\\" + child, out)) != ERROR_SUCCESS) return status;
  }
  return ERROR_SUCCESS;
}

LSTATUS WriteKey(HKEY root, const RegistryBackup::Key& record) {
  platform::Registry& registry = platform::TheRegistry();
  platform::RegKey key;
  LSTATUS status = registry.CreateKeyExW(root, record.path.c_str(), key.out());
  if (status != ERROR_SUCCESS) return status;
  for (const RegistryBackup::Value& value : record.values) {
    status = registry.SetValueExW(key.get(), value.name.c_str(), value.type, value.data.data(),
                                  static_cast<DWORD>(value.data.size()));
    if (status != ERROR_SUCCESS) return status;
  }
  return ERROR_SUCCESS;
}

}  // namespace

LSTATUS RegistryBackup::Capture(HKEY root, const std::vector<std::wstring>& paths) {
  mRoot = root;
  mTrees.clear();
  for (const std::wstring& path : paths) {
    Tree tree{path, false, {}};
    const LSTATUS status = ReadTree(root, path, tree.keys);
    if (status == ERROR_SUCCESS) {
      tree.existed = true;
    } else if (!IsGone(status) || !tree.keys.empty()) {
      VA_LOG(MSG_ERROR, L"** Reading registry key %s for the backup failed, error %d", path, status);
      mTrees.clear();
      return status;
    }
    mTrees.push_back(std::move(tree));
  }
  return ERROR_SUCCESS;
}

LSTATUS RegistryBackup::Restore() const {
  platform::Registry& registry = platform::TheRegistry();
  LSTATUS first = ERROR_SUCCESS;
  const auto note = [&first](LSTATUS status, const std::wstring& path, const wchar_t* what) {
    if (status == ERROR_SUCCESS) return;
    VA_LOG(MSG_ERROR, L"** %s registry key %s failed, error %d", what, path, status);
    if (first == ERROR_SUCCESS) first = status;
  };
  for (const Tree& tree : mTrees) {
    const LSTATUS removed = registry.DeleteTreeW(mRoot, tree.path.c_str());
    if (!IsGone(removed)) note(removed, tree.path, L"Clearing");
    for (const Key& key : tree.keys) note(WriteKey(mRoot, key), key.path, L"Restoring");
  }
  return first;
}

}  // namespace service
