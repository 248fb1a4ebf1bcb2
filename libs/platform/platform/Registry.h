#pragma once
// The registry seam: the Win32 registry calls the provider makes, with Win32 semantics
// (error codes, RRF_RT_* type filters, byte sizes that count terminators, ERROR_MORE_DATA).
// Win32Registry forwards to the API; EmulatedRegistry answers from a .reg text file.
#include <memory>

#include "platform/SeamSlot.h"
#include "wincompat/WinTypes.h"

#ifndef _WIN32
// The few registry answers and rights beyond the common set in WinTypes.h, with the SDK's values.
constexpr LONG ERROR_BAD_PATHNAME = 161;
constexpr LONG ERROR_NOACCESS = 998;
constexpr LONG ERROR_CANTWRITE = 1013;
constexpr LONG ERROR_KEY_DELETED = 1018;
constexpr LONG ERROR_DATATYPE_MISMATCH = 1629;
constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
#endif

namespace platform {

class Registry {
 public:
  virtual ~Registry() = default;

  // RegGetValueW/A. Sizes are bytes and count the terminator that string values are returned
  // with. GetValueA returns string values narrow: UTF-8 in the emulated registry, the ANSI code
  // page on Windows (the provider reads only ASCII through it).
  virtual LSTATUS GetValueW(HKEY key, const wchar_t* subKey, const wchar_t* value, DWORD flags, DWORD* type,
                            void* data, DWORD* cbData) = 0;
  virtual LSTATUS GetValueA(HKEY key, const char* subKey, const char* value, DWORD flags, DWORD* type, void* data,
                            DWORD* cbData) = 0;
  virtual LSTATUS OpenKeyExW(HKEY key, const wchar_t* subKey, DWORD options, REGSAM sam, HKEY* result) = 0;
  virtual LSTATUS QueryValueExW(HKEY key, const wchar_t* value, DWORD* reserved, DWORD* type, BYTE* data,
                                DWORD* cbData) = 0;
  // RegQueryInfoKeyW with the outputs the provider reads; any pointer may be null.
  virtual LSTATUS QueryInfoKeyW(HKEY key, DWORD* subKeys, DWORD* maxSubKeyLen, DWORD* values,
                                DWORD* maxValueNameLen, DWORD* maxValueLen) = 0;
  // RegEnumKeyExW: `cchName` is in characters, in and out, without the terminator on output.
  virtual LSTATUS EnumKeyExW(HKEY key, DWORD index, wchar_t* name, DWORD* cchName) = 0;
  // RegEnumValueW: `cchName` in characters as above, `cbData` in bytes; `data` may be null to
  // ask for the size.
  virtual LSTATUS EnumValueW(HKEY key, DWORD index, wchar_t* name, DWORD* cchName, DWORD* type, BYTE* data,
                             DWORD* cbData) = 0;
  virtual LSTATUS CloseKey(HKEY key) = 0;

  // Writing is not used by the provider; the tool's `config` command and tests need it.
  // CreateKeyExW creates the missing keys of `subKey` and opens the last with full access.
  virtual LSTATUS CreateKeyExW(HKEY key, const wchar_t* subKey, HKEY* result) = 0;
  // As CreateKeyExW, for keys that hold secrets (array credentials, certificate pins): the last
  // key of `subKey` gets an access list of SYSTEM and Administrators only (full control,
  // inherited by its subkeys, nothing inherited from above), also when it already existed.
  // The emulated registry keeps no access lists; its whole file is owner-only instead.
  virtual LSTATUS CreateProtectedKeyW(HKEY key, const wchar_t* subKey, HKEY* result) = 0;
  virtual LSTATUS SetValueExW(HKEY key, const wchar_t* value, DWORD type, const BYTE* data, DWORD cbData) = 0;
  virtual LSTATUS DeleteValueW(HKEY key, const wchar_t* value) = 0;
  // RegDeleteTreeW: a null or empty `subKey` empties `key` itself (values and subkeys).
  virtual LSTATUS DeleteTreeW(HKEY key, const wchar_t* subKey) = 0;
};

using RegistrySlot = SeamSlot<Registry>;
inline Registry& TheRegistry() { return RegistrySlot::Get(); }

// An open key that closes itself.
class RegKey {
 public:
  RegKey() = default;
  explicit RegKey(HKEY key) : key_(key) {}
  ~RegKey() { reset(); }
  RegKey(RegKey&& other) noexcept : key_(other.release()) {}
  RegKey& operator=(RegKey&& other) noexcept {
    if (this != &other) {
      reset();
      key_ = other.release();
    }
    return *this;
  }
  RegKey(const RegKey&) = delete;
  RegKey& operator=(const RegKey&) = delete;

  HKEY get() const { return key_; }
  HKEY* out() {
    reset();
    return &key_;
  }
  HKEY release() {
    HKEY k = key_;
    key_ = nullptr;
    return k;
  }
  void reset() {
    if (key_) TheRegistry().CloseKey(key_);
    key_ = nullptr;
  }
  explicit operator bool() const { return key_ != nullptr; }

 private:
  HKEY key_ = nullptr;
};

}  // namespace platform
