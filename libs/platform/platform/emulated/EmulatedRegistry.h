#pragma once
// The registry of the emulated Windows host: an in-memory tree that answers the registry seam
// with the Win32 semantics (error codes, RRF_RT_* filters, byte sizes with terminators,
// ERROR_MORE_DATA, handles that outlive a deleted key), loaded from and saved to a .reg file.
// Safe to call from several threads.
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Registry.h"
#include "platform/emulated/RegFile.h"
#include "platform/emulated/RegTree.h"

namespace platform {

class EmulatedRegistry final : public Registry {
 public:
  EmulatedRegistry();  // an empty registry in memory

  // Replaces every key with the contents of a .reg file (or text). A malformed file changes
  // nothing and the error names its line; open handles to replaced keys answer
  // ERROR_KEY_DELETED afterwards.
  std::optional<regfile::RegFileError> LoadFile(const std::filesystem::path& file);
  std::optional<regfile::RegFileError> LoadText(std::string_view text);
  // Writes the whole tree as a .reg file (through a temporary file, so a reader never sees half
  // of it); returns a Win32 status.
  LSTATUS SaveFile(const std::filesystem::path& file) const;
  std::string SaveText() const;
  // From now on every successful write through the seam is saved to `file` at once; a failed
  // save turns the write's answer into ERROR_CANTWRITE. An empty path stops it.
  void PersistTo(std::filesystem::path file);

  LSTATUS GetValueW(HKEY key, const wchar_t* subKey, const wchar_t* value, DWORD flags, DWORD* type, void* data,
                    DWORD* cbData) override;
  LSTATUS GetValueA(HKEY key, const char* subKey, const char* value, DWORD flags, DWORD* type, void* data,
                    DWORD* cbData) override;
  LSTATUS OpenKeyExW(HKEY key, const wchar_t* subKey, DWORD options, REGSAM sam, HKEY* result) override;
  LSTATUS QueryValueExW(HKEY key, const wchar_t* value, DWORD* reserved, DWORD* type, BYTE* data,
                        DWORD* cbData) override;
  LSTATUS QueryInfoKeyW(HKEY key, DWORD* subKeys, DWORD* maxSubKeyLen, DWORD* values, DWORD* maxValueNameLen,
                        DWORD* maxValueLen) override;
  LSTATUS EnumKeyExW(HKEY key, DWORD index, wchar_t* name, DWORD* cchName) override;
  LSTATUS EnumValueW(HKEY key, DWORD index, wchar_t* name, DWORD* cchName, DWORD* type, BYTE* data,
                     DWORD* cbData) override;
  LSTATUS CloseKey(HKEY key) override;
  LSTATUS CreateKeyExW(HKEY key, const wchar_t* subKey, HKEY* result) override;
  // No access lists here: the key is created as any other. What protects it is the file the
  // registry persists to, which is written readable by its owner only.
  LSTATUS CreateProtectedKeyW(HKEY key, const wchar_t* subKey, HKEY* result) override {
    return CreateKeyExW(key, subKey, result);
  }
  LSTATUS SetValueExW(HKEY key, const wchar_t* value, DWORD type, const BYTE* data, DWORD cbData) override;
  LSTATUS DeleteValueW(HKEY key, const wchar_t* value) override;
  LSTATUS DeleteTreeW(HKEY key, const wchar_t* subKey) override;

 private:
  struct OpenKey {
    std::shared_ptr<regfile::RegNode> node;
    REGSAM access = 0;
  };
  enum class Form { Wide, Narrow };

  // The key behind a handle, checked for the access the operation needs.
  LSTATUS Resolve(HKEY key, REGSAM needed, OpenKey& out) const;
  // The key `subKey` below `base`; a null or empty path is `base` itself.
  static LSTATUS Walk(const std::shared_ptr<regfile::RegNode>& base, std::wstring_view subKey,
                      std::shared_ptr<regfile::RegNode>& out);
  HKEY NewHandle(std::shared_ptr<regfile::RegNode> node, REGSAM access);
  LSTATUS GetValue(HKEY key, const std::wstring* subKey, const std::wstring& value, DWORD flags, DWORD* type,
                   void* data, DWORD* cbData, Form form);
  LSTATUS Persist(LSTATUS status) const;

  mutable std::mutex mutex_;
  regfile::RegTree tree_;
  std::map<std::uintptr_t, OpenKey> handles_;
  std::uintptr_t nextHandle_ = 0x10000;
  std::filesystem::path persistFile_;
};

}  // namespace platform
