#include "platform/emulated/EmulatedRegistry.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>
#include <vector>

#include "platform/emulated/OwnerOnlyFile.h"
#include "platform/emulated/RegUtf16.h"
#include "wincompat/WideString.h"

namespace platform {
namespace {

using regfile::RegNode;
using regfile::RegValue;

constexpr std::size_t kMaxKeyNameLength = 255;
constexpr std::size_t kMaxValueNameLength = 16383;

bool IsStringType(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

// The stored form of data handed to SetValueExW: string types become UTF-16LE.
std::vector<BYTE> ToStored(DWORD type, const BYTE* data, DWORD cbData) {
  if (cbData == 0) return {};
  if (!IsStringType(type) || sizeof(wchar_t) == 2) return std::vector<BYTE>(data, data + cbData);
  std::wstring text(cbData / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), data, text.size() * sizeof(wchar_t));
  return regfile::EncodeUtf16Le(text);
}

// The bytes a caller receives: string types in wchar_t or narrow (UTF-8), the rest as stored.
std::vector<BYTE> ToCaller(const RegValue& value, bool narrow) {
  if (!IsStringType(value.type) || (!narrow && sizeof(wchar_t) == 2)) return value.data;
  const std::wstring text = regfile::DecodeUtf16Le(value.data);
  if (narrow) {
    const std::string utf8 = wincompat::ToNarrow(text);
    return std::vector<BYTE>(utf8.begin(), utf8.end());
  }
  std::vector<BYTE> out(text.size() * sizeof(wchar_t));
  if (!out.empty()) std::memcpy(out.data(), text.data(), out.size());
  return out;
}

// RegGetValue hands out strings terminated even when they were stored without one.
void EnsureTerminator(std::vector<BYTE>& bytes, std::size_t unit) {
  if (bytes.size() < unit) return;
  if (std::any_of(bytes.end() - static_cast<std::ptrdiff_t>(unit), bytes.end(), [](BYTE b) { return b != 0; }))
    bytes.insert(bytes.end(), unit, 0);
}

// RegGetValue's type filter. RRF_RT_DWORD and RRF_RT_QWORD also admit REG_BINARY data of
// exactly 4 or 8 bytes; a REG_DWORD of another length still passes, as Windows lets it.
LSTATUS ApplyTypeFilter(DWORD type, DWORD flags, std::size_t storedSize) {
  const DWORD filter = flags & RRF_RT_ANY;
  if (filter == RRF_RT_ANY) return ERROR_SUCCESS;
  DWORD mask = 0;
  switch (type) {
    case REG_NONE: mask = RRF_RT_REG_NONE; break;
    case REG_SZ: mask = RRF_RT_REG_SZ; break;
    case REG_EXPAND_SZ: mask = RRF_RT_REG_EXPAND_SZ; break;
    case REG_BINARY: mask = RRF_RT_REG_BINARY; break;
    case REG_DWORD: mask = RRF_RT_REG_DWORD; break;
    case REG_MULTI_SZ: mask = RRF_RT_REG_MULTI_SZ; break;
    case REG_QWORD: mask = RRF_RT_REG_QWORD; break;
    default: break;
  }
  if ((filter & mask) == 0) return ERROR_UNSUPPORTED_TYPE;
  if (type == REG_BINARY) {
    const std::size_t expected = filter == RRF_RT_DWORD ? 4 : filter == RRF_RT_QWORD ? 8 : 0;
    if (expected != 0 && storedSize != expected) return ERROR_DATATYPE_MISMATCH;
  }
  return ERROR_SUCCESS;
}

// Splits a subkey path into names. A leading backslash is refused as Windows does; empty names
// from doubled or trailing backslashes are skipped.
LSTATUS SplitPath(std::wstring_view path, std::vector<std::wstring_view>& names) {
  names.clear();
  if (!path.empty() && path.front() == L'\\') return ERROR_BAD_PATHNAME;
  while (!path.empty()) {
    const std::size_t end = path.find(L'\\');
    const std::wstring_view name = path.substr(0, end);
    if (!name.empty()) names.push_back(name);
    if (end == std::wstring_view::npos) break;
    path.remove_prefix(end + 1);
  }
  return ERROR_SUCCESS;
}

std::optional<regfile::RegRoot> PredefinedRoot(HKEY key) {
  if (key == HKEY_CLASSES_ROOT) return regfile::RegRoot::ClassesRoot;
  if (key == HKEY_CURRENT_USER) return regfile::RegRoot::CurrentUser;
  if (key == HKEY_LOCAL_MACHINE) return regfile::RegRoot::LocalMachine;
  if (key == HKEY_USERS) return regfile::RegRoot::Users;
  return std::nullopt;
}

// The registry file holds the machine's protected keys (array credentials, certificate pins),
// so it is owner-only, as those keys are SYSTEM and Administrators only on Windows.
LSTATUS WriteWhole(const std::filesystem::path& file, const std::string& text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  return WriteOwnerOnlyFile(file, std::span<const std::uint8_t>(bytes, text.size()));
}

DWORD ClampToDword(std::size_t n) { return n > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<DWORD>(n); }

}  // namespace

EmulatedRegistry::EmulatedRegistry() = default;

std::optional<regfile::RegFileError> EmulatedRegistry::LoadFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return regfile::RegFileError{0, "cannot open " + file.string()};
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad()) return regfile::RegFileError{0, "cannot read " + file.string()};
  return LoadText(content.str());
}

std::optional<regfile::RegFileError> EmulatedRegistry::LoadText(std::string_view text) {
  regfile::RegParseResult parsed = regfile::ParseRegFile(text);
  if (parsed.error) return parsed.error;
  const std::lock_guard lock(mutex_);
  for (std::size_t i = 0; i < regfile::kRootCount; ++i) tree_.Root(static_cast<regfile::RegRoot>(i))->Clear();
  tree_.Apply(parsed.document);
  return std::nullopt;
}

std::string EmulatedRegistry::SaveText() const {
  const std::lock_guard lock(mutex_);
  return regfile::FormatRegFile(tree_.Export());
}

LSTATUS EmulatedRegistry::SaveFile(const std::filesystem::path& file) const { return WriteWhole(file, SaveText()); }

void EmulatedRegistry::PersistTo(std::filesystem::path file) {
  const std::lock_guard lock(mutex_);
  persistFile_ = std::move(file);
}

LSTATUS EmulatedRegistry::Persist(LSTATUS status) const {
  if (status != ERROR_SUCCESS || persistFile_.empty()) return status;
  // Called under the lock, so it formats the tree itself instead of calling SaveText.
  return WriteWhole(persistFile_, regfile::FormatRegFile(tree_.Export()));
}

LSTATUS EmulatedRegistry::Resolve(HKEY key, REGSAM needed, OpenKey& out) const {
  if (const auto root = PredefinedRoot(key)) {
    out = OpenKey{tree_.Root(*root), KEY_ALL_ACCESS};
    return ERROR_SUCCESS;
  }
  const auto it = handles_.find(reinterpret_cast<std::uintptr_t>(key));
  if (it == handles_.end()) return ERROR_INVALID_HANDLE;
  if (it->second.node->Deleted()) return ERROR_KEY_DELETED;
  if ((it->second.access & needed) != needed) return ERROR_ACCESS_DENIED;
  out = it->second;
  return ERROR_SUCCESS;
}

LSTATUS EmulatedRegistry::Walk(const std::shared_ptr<RegNode>& base, std::wstring_view subKey,
                               std::shared_ptr<RegNode>& out) {
  std::vector<std::wstring_view> names;
  if (const LSTATUS status = SplitPath(subKey, names); status != ERROR_SUCCESS) return status;
  std::shared_ptr<RegNode> node = base;
  for (const std::wstring_view name : names) {
    node = node->FindSubKey(name);
    if (!node) return ERROR_FILE_NOT_FOUND;
  }
  out = std::move(node);
  return ERROR_SUCCESS;
}

HKEY EmulatedRegistry::NewHandle(std::shared_ptr<RegNode> node, REGSAM access) {
  const std::uintptr_t id = nextHandle_;
  nextHandle_ += 4;
  handles_.emplace(id, OpenKey{std::move(node), access});
  return reinterpret_cast<HKEY>(id);
}

LSTATUS EmulatedRegistry::GetValue(HKEY key, const std::wstring* subKey, const std::wstring& value, DWORD flags,
                                   DWORD* type, void* data, DWORD* cbData, Form form) {
  if (data && !cbData) return ERROR_INVALID_PARAMETER;
  // Asking for REG_EXPAND_SZ data only makes sense unexpanded; RRF_RT_ANY is no such request.
  if ((flags & RRF_RT_ANY) != RRF_RT_ANY && (flags & RRF_RT_REG_EXPAND_SZ) && !(flags & RRF_NOEXPAND))
    return ERROR_INVALID_PARAMETER;
  const DWORD capacity = data ? *cbData : 0;

  const std::lock_guard lock(mutex_);
  const auto status = [&]() -> LSTATUS {
    OpenKey open;
    const bool hasSubKey = subKey && !subKey->empty();
    if (const LSTATUS s = Resolve(key, hasSubKey ? 0 : KEY_QUERY_VALUE, open); s != ERROR_SUCCESS) return s;
    std::shared_ptr<RegNode> node = open.node;
    if (hasSubKey) {
      if (const LSTATUS s = Walk(open.node, *subKey, node); s != ERROR_SUCCESS) return s;
    }
    const RegValue* stored = node->FindValue(value);
    if (!stored) return ERROR_FILE_NOT_FOUND;

    std::vector<BYTE> bytes = ToCaller(*stored, form == Form::Narrow);
    if (IsStringType(stored->type)) EnsureTerminator(bytes, form == Form::Narrow ? 1 : sizeof(wchar_t));
    // Emulated environment strings are not expanded, but the answer carries the type an
    // expansion would give.
    const DWORD reported = (stored->type == REG_EXPAND_SZ && !(flags & RRF_NOEXPAND)) ? REG_SZ : stored->type;

    LSTATUS s = ERROR_SUCCESS;
    if (data) {
      if (bytes.size() <= capacity) {
        if (!bytes.empty()) std::memcpy(data, bytes.data(), bytes.size());
      } else {
        s = ERROR_MORE_DATA;
      }
    }
    if (cbData) *cbData = ClampToDword(bytes.size());
    if (type) *type = reported;
    if (const LSTATUS filtered = ApplyTypeFilter(reported, flags, stored->data.size()); filtered != ERROR_SUCCESS)
      s = filtered;
    return s;
  }();
  if (status != ERROR_SUCCESS && data && (flags & RRF_ZEROONFAILURE)) std::memset(data, 0, capacity);
  return status;
}

LSTATUS EmulatedRegistry::GetValueW(HKEY key, const wchar_t* subKey, const wchar_t* value, DWORD flags, DWORD* type,
                                    void* data, DWORD* cbData) {
  const std::wstring sub = subKey ? subKey : L"";
  return GetValue(key, subKey ? &sub : nullptr, value ? value : L"", flags, type, data, cbData, Form::Wide);
}

LSTATUS EmulatedRegistry::GetValueA(HKEY key, const char* subKey, const char* value, DWORD flags, DWORD* type,
                                    void* data, DWORD* cbData) {
  const std::wstring sub = subKey ? wincompat::ToWide(subKey) : std::wstring();
  return GetValue(key, subKey ? &sub : nullptr, value ? wincompat::ToWide(value) : std::wstring(), flags, type, data,
                  cbData, Form::Narrow);
}

LSTATUS EmulatedRegistry::OpenKeyExW(HKEY key, const wchar_t* subKey, DWORD /*options*/, REGSAM sam, HKEY* result) {
  if (!result) return ERROR_INVALID_PARAMETER;
  const std::lock_guard lock(mutex_);
  OpenKey open;
  if (const LSTATUS s = Resolve(key, 0, open); s != ERROR_SUCCESS) return s;
  std::shared_ptr<RegNode> node;
  if (const LSTATUS s = Walk(open.node, subKey ? subKey : L"", node); s != ERROR_SUCCESS) return s;
  *result = NewHandle(std::move(node), sam);
  return ERROR_SUCCESS;
}

LSTATUS EmulatedRegistry::QueryValueExW(HKEY key, const wchar_t* value, DWORD* reserved, DWORD* type, BYTE* data,
                                        DWORD* cbData) {
  if (reserved || (data && !cbData)) return ERROR_INVALID_PARAMETER;
  const std::lock_guard lock(mutex_);
  OpenKey open;
  if (const LSTATUS s = Resolve(key, KEY_QUERY_VALUE, open); s != ERROR_SUCCESS) return s;
  const RegValue* stored = open.node->FindValue(value ? value : L"");
  if (!stored) return ERROR_FILE_NOT_FOUND;
  const std::vector<BYTE> bytes = ToCaller(*stored, false);
  LSTATUS status = ERROR_SUCCESS;
  if (data) {
    if (bytes.size() <= *cbData) {
      if (!bytes.empty()) std::memcpy(data, bytes.data(), bytes.size());
    } else {
      status = ERROR_MORE_DATA;
    }
  }
  if (cbData) *cbData = ClampToDword(bytes.size());
  if (type) *type = stored->type;
  return status;
}

LSTATUS EmulatedRegistry::QueryInfoKeyW(HKEY key, DWORD* subKeys, DWORD* maxSubKeyLen, DWORD* values,
                                        DWORD* maxValueNameLen, DWORD* maxValueLen) {
  const std::lock_guard lock(mutex_);
  OpenKey open;
  if (const LSTATUS s = Resolve(key, KEY_QUERY_VALUE, open); s != ERROR_SUCCESS) return s;
  const RegNode& node = *open.node;
  std::size_t longestKey = 0, longestName = 0, largestValue = 0;
  for (const auto& [name, child] : node.SubKeys()) longestKey = std::max(longestKey, child->Name().size());
  for (const auto& [name, value] : node.Values()) {
    longestName = std::max(longestName, name.size());
    largestValue = std::max(largestValue, ToCaller(value, false).size());
  }
  if (subKeys) *subKeys = ClampToDword(node.SubKeys().size());
  if (maxSubKeyLen) *maxSubKeyLen = ClampToDword(longestKey);
  if (values) *values = ClampToDword(node.Values().size());
  if (maxValueNameLen) *maxValueNameLen = ClampToDword(longestName);
  if (maxValueLen) *maxValueLen = ClampToDword(largestValue);
  return ERROR_SUCCESS;
}

LSTATUS EmulatedRegistry::EnumKeyExW(HKEY key, DWORD index, wchar_t* name, DWORD* cchName) {
  if (!name || !cchName) return ERROR_INVALID_PARAMETER;
  const std::lock_guard lock(mutex_);
  OpenKey open;
  if (const LSTATUS s = Resolve(key, KEY_ENUMERATE_SUB_KEYS, open); s != ERROR_SUCCESS) return s;
  const auto& children = open.node->SubKeys();
  if (index >= children.size()) return ERROR_NO_MORE_ITEMS;
  const std::wstring& found = std::next(children.begin(), index)->second->Name();
  // The buffer must also hold the terminator; a short one leaves *cchName as it was.
  if (*cchName <= found.size()) return ERROR_MORE_DATA;
  std::copy(found.begin(), found.end(), name);
  name[found.size()] = L'\0';
  *cchName = ClampToDword(found.size());
  return ERROR_SUCCESS;
}

LSTATUS EmulatedRegistry::EnumValueW(HKEY key, DWORD index, wchar_t* name, DWORD* cchName, DWORD* type,
                                     BYTE* data, DWORD* cbData) {
  if (!name || !cchName) return ERROR_INVALID_PARAMETER;
  const std::lock_guard lock(mutex_);
  OpenKey open;
  if (const LSTATUS s = Resolve(key, KEY_QUERY_VALUE, open); s != ERROR_SUCCESS) return s;
  const auto& values = open.node->Values();
  if (index >= values.size()) return ERROR_NO_MORE_ITEMS;
  const auto& [found, stored] = values[index];
  if (*cchName <= found.size()) return ERROR_MORE_DATA;
  const std::vector<BYTE> bytes = ToCaller(stored, false);
  LSTATUS status = ERROR_SUCCESS;
  if (data) {
    if (!cbData) return ERROR_INVALID_PARAMETER;
    if (bytes.size() > *cbData) {
      status = ERROR_MORE_DATA;
    } else if (!bytes.empty()) {
      std::memcpy(data, bytes.data(), bytes.size());
    }
  }
  std::copy(found.begin(), found.end(), name);
  name[found.size()] = L'\0';
  *cchName = ClampToDword(found.size());
  if (cbData) *cbData = ClampToDword(bytes.size());
  if (type) *type = stored.type;
  return status;
}

LSTATUS EmulatedRegistry::CloseKey(HKEY key) {
  if (PredefinedRoot(key)) return ERROR_SUCCESS;
  const std::lock_guard lock(mutex_);
  return handles_.erase(reinterpret_cast<std::uintptr_t>(key)) == 1 ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LSTATUS EmulatedRegistry::CreateKeyExW(HKEY key, const wchar_t* subKey, HKEY* result) {
  if (!result) return ERROR_INVALID_PARAMETER;
  const std::lock_guard lock(mutex_);
  OpenKey open;
  if (const LSTATUS s = Resolve(key, KEY_CREATE_SUB_KEY, open); s != ERROR_SUCCESS) return s;
  std::vector<std::wstring_view> names;
  if (const LSTATUS s = SplitPath(subKey ? subKey : L"", names); s != ERROR_SUCCESS) return s;
  // Names the .reg file could not carry are refused before anything is created.
  for (const std::wstring_view name : names)
    if (name.size() > kMaxKeyNameLength || !regfile::IsWritableKeyName(name)) return ERROR_INVALID_PARAMETER;
  std::shared_ptr<RegNode> node = open.node;
  bool created = false;
  for (const std::wstring_view name : names) {
    created = created || !node->FindSubKey(name);
    node = node->CreateSubKey(name);
  }
  *result = NewHandle(std::move(node), KEY_ALL_ACCESS);
  if (!created) return ERROR_SUCCESS;
  const LSTATUS status = Persist(ERROR_SUCCESS);
  if (status != ERROR_SUCCESS) {
    handles_.erase(reinterpret_cast<std::uintptr_t>(*result));
    *result = nullptr;
  }
  return status;
}

LSTATUS EmulatedRegistry::SetValueExW(HKEY key, const wchar_t* value, DWORD type, const BYTE* data, DWORD cbData) {
  const std::lock_guard lock(mutex_);
  OpenKey open;
  if (const LSTATUS s = Resolve(key, KEY_SET_VALUE, open); s != ERROR_SUCCESS) return s;
  if (!data && cbData > 0) return ERROR_NOACCESS;
  const std::wstring_view name = value ? value : L"";
  if (name.size() > kMaxValueNameLength || !regfile::IsWritableValueName(name)) return ERROR_INVALID_PARAMETER;
  open.node->SetValue(name, RegValue{type, ToStored(type, data, cbData)});
  return Persist(ERROR_SUCCESS);
}

LSTATUS EmulatedRegistry::DeleteValueW(HKEY key, const wchar_t* value) {
  const std::lock_guard lock(mutex_);
  OpenKey open;
  if (const LSTATUS s = Resolve(key, KEY_SET_VALUE, open); s != ERROR_SUCCESS) return s;
  if (!open.node->RemoveValue(value ? value : L"")) return ERROR_FILE_NOT_FOUND;
  return Persist(ERROR_SUCCESS);
}

LSTATUS EmulatedRegistry::DeleteTreeW(HKEY key, const wchar_t* subKey) {
  const std::wstring_view path = subKey ? subKey : L"";
  const std::lock_guard lock(mutex_);
  OpenKey open;
  const REGSAM needed = KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS | (path.empty() ? KEY_SET_VALUE : 0);
  if (const LSTATUS s = Resolve(key, needed, open); s != ERROR_SUCCESS) return s;
  std::vector<std::wstring_view> names;
  if (const LSTATUS s = SplitPath(path, names); s != ERROR_SUCCESS) return s;
  if (names.empty()) {
    open.node->Clear();
    return Persist(ERROR_SUCCESS);
  }
  std::shared_ptr<RegNode> parent = open.node;
  for (std::size_t i = 0; i + 1 < names.size(); ++i) {
    parent = parent->FindSubKey(names[i]);
    if (!parent) return ERROR_FILE_NOT_FOUND;
  }
  if (!parent->RemoveSubKey(names.back())) return ERROR_FILE_NOT_FOUND;
  return Persist(ERROR_SUCCESS);
}

}  // namespace platform
