// The registry seam's contract: what the provider relies on from RegGetValue, RegOpenKeyEx,
// RegQueryValueEx, RegQueryInfoKey and RegEnumKeyEx. The same tests run natively against the
// emulated registry and in the Windows build against the real API (under Wine).
#include <gtest/gtest.h>

#include <cstring>
#include <cwctype>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/Registry.h"
#ifdef _WIN32
#include "platform/win32/Win32Registry.h"
#else
#include "platform/emulated/EmulatedRegistry.h"
#endif

namespace {

using platform::RegKey;
using platform::Registry;

constexpr DWORD W = sizeof(wchar_t);
constexpr const wchar_t* kParentKey = L"SOFTWARE\\Vantor Storage Contract Test";

class RegistryContract : public ::testing::Test {
 protected:
  void SetUp() override {
#ifdef _WIN32
    previous_ = platform::RegistrySlot::Install(std::make_unique<platform::Win32Registry>());
#else
    previous_ = platform::RegistrySlot::Install(std::make_unique<platform::EmulatedRegistry>());
#endif
    std::random_device random;
    base_ = std::wstring(kParentKey) + L"\\" + std::to_wstring(random()) + std::to_wstring(random());
    ASSERT_EQ(reg().CreateKeyExW(HKEY_LOCAL_MACHINE, base_.c_str(), key_.out()), ERROR_SUCCESS);
  }

  void TearDown() override {
    key_.reset();
    EXPECT_EQ(reg().DeleteTreeW(HKEY_LOCAL_MACHINE, base_.c_str()), ERROR_SUCCESS);
    RegKey parent;
    DWORD others = 1;
    if (reg().OpenKeyExW(HKEY_LOCAL_MACHINE, kParentKey, 0, KEY_READ, parent.out()) == ERROR_SUCCESS &&
        reg().QueryInfoKeyW(parent.get(), &others, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS && others == 0) {
      parent.reset();
      reg().DeleteTreeW(HKEY_LOCAL_MACHINE, kParentKey);
    }
    parent.reset();
    platform::RegistrySlot::Install(std::move(previous_));
  }

  static Registry& reg() { return platform::TheRegistry(); }

  void SetRaw(HKEY key, const wchar_t* name, DWORD type, const void* data, DWORD size) {
    ASSERT_EQ(reg().SetValueExW(key, name, type, static_cast<const BYTE*>(data), size), ERROR_SUCCESS);
  }
  void SetDword(const wchar_t* name, DWORD v) { SetRaw(key_.get(), name, REG_DWORD, &v, sizeof v); }
  // Stores `text` with its terminator, as Windows programs do.
  void SetString(const wchar_t* name, const std::wstring& text, DWORD type = REG_SZ) {
    SetRaw(key_.get(), name, type, text.c_str(), static_cast<DWORD>((text.size() + 1) * W));
  }
  // RegGetValueW on a value of the test's key (or `path` below HKLM).
  static LSTATUS Get(const std::wstring& path, const wchar_t* name, DWORD flags, void* data, DWORD* size,
                     DWORD* type = nullptr) {
    return reg().GetValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, flags, type, data, size);
  }
  void CreateSubKey(const wchar_t* path) {
    RegKey sub;
    ASSERT_EQ(reg().CreateKeyExW(key_.get(), path, sub.out()), ERROR_SUCCESS);
  }

  std::unique_ptr<Registry> previous_;
  std::wstring base_;
  RegKey key_;
};

TEST_F(RegistryContract, GetValueAppliesTheTypeFilter) {
  SetDword(L"Dword", 1);
  SetString(L"One", L"1");
  SetString(L"Long", L"hello world");
  SetString(L"Expand", L"plain", REG_EXPAND_SZ);
  const BYTE bytes[4] = {5, 0, 0, 0};
  SetRaw(key_.get(), L"Bin4", REG_BINARY, bytes, 4);
  SetRaw(key_.get(), L"Bin2", REG_BINARY, bytes, 2);
  SetRaw(key_.get(), L"Short", REG_DWORD, bytes, 2);

  struct Case {
    const wchar_t* value;
    DWORD flags;
    DWORD capacity;
    LSTATUS status;
    DWORD type;  // checked with the size when the value was found
    DWORD size;
  };
  const Case cases[] = {
      {L"Dword", RRF_RT_REG_DWORD, 4, ERROR_SUCCESS, REG_DWORD, 4},
      {L"One", RRF_RT_REG_DWORD, 4, ERROR_UNSUPPORTED_TYPE, REG_SZ, 2 * W},
      // The filter wins over a buffer that is too small as well.
      {L"Long", RRF_RT_REG_DWORD, 4, ERROR_UNSUPPORTED_TYPE, REG_SZ, 12 * W},
      {L"Dword", RRF_RT_REG_SZ, 64, ERROR_UNSUPPORTED_TYPE, REG_DWORD, 4},
      {L"Dword", 0, 4, ERROR_UNSUPPORTED_TYPE, REG_DWORD, 4},
      {L"Dword", RRF_RT_ANY, 4, ERROR_SUCCESS, REG_DWORD, 4},
      {L"Bin4", RRF_RT_DWORD, 4, ERROR_SUCCESS, REG_BINARY, 4},
      {L"Bin2", RRF_RT_DWORD, 4, ERROR_DATATYPE_MISMATCH, REG_BINARY, 2},
      {L"Bin4", RRF_RT_REG_DWORD, 4, ERROR_UNSUPPORTED_TYPE, REG_BINARY, 4},
      // A REG_DWORD shorter than 4 bytes passes the filter: callers must look at the size.
      {L"Short", RRF_RT_REG_DWORD, 4, ERROR_SUCCESS, REG_DWORD, 2},
      {L"Expand", RRF_RT_REG_SZ, 64, ERROR_SUCCESS, REG_SZ, 6 * W},
      {L"Expand", RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, 64, ERROR_SUCCESS, REG_EXPAND_SZ, 6 * W},
      {L"Expand", RRF_RT_REG_EXPAND_SZ, 64, ERROR_INVALID_PARAMETER, 0, 0},
      {L"Missing", RRF_RT_REG_DWORD, 4, ERROR_FILE_NOT_FOUND, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "value " << std::string(c.value, c.value + std::wcslen(c.value)) << " flags 0x"
                                    << std::hex << c.flags);
    std::vector<BYTE> buffer(64);
    DWORD type = 0xDEAD;
    DWORD size = c.capacity;
    EXPECT_EQ(Get(base_, c.value, c.flags, buffer.data(), &size, &type), c.status);
    if (c.type != 0) {
      EXPECT_EQ(type, c.type);
      EXPECT_EQ(size, c.size);
    }
  }
}

TEST_F(RegistryContract, GetValueSizesCountTheTerminator) {
  SetString(L"Long", L"hello world");
  SetString(L"", L"default");
  SetRaw(key_.get(), L"NoTerminator", REG_SZ, L"abc", 3 * W);
  constexpr DWORD kSz = RRF_RT_REG_SZ;
  std::vector<wchar_t> text(16, L'x');
  const DWORD all = static_cast<DWORD>(text.size() * W);

  DWORD size = 0;
  ASSERT_EQ(Get(base_, L"Long", kSz, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 12 * W);
  size = 11 * W;
  EXPECT_EQ(Get(base_, L"Long", kSz, text.data(), &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 12 * W);
  size = 12 * W;
  ASSERT_EQ(Get(base_, L"LONG", kSz, text.data(), &size), ERROR_SUCCESS);
  EXPECT_EQ(std::wstring(text.data()), L"hello world");

  // A string stored without its terminator comes back terminated, one character longer.
  size = 0;
  ASSERT_EQ(Get(base_, L"NoTerminator", kSz, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 4 * W);
  std::fill(text.begin(), text.end(), L'x');
  size = all;
  ASSERT_EQ(Get(base_, L"NoTerminator", kSz, text.data(), &size), ERROR_SUCCESS);
  EXPECT_EQ(std::wstring(text.data()), L"abc");

  // The default value answers to a null and to an empty name.
  for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L""}) {
    size = all;
    ASSERT_EQ(Get(base_, name, kSz, text.data(), &size), ERROR_SUCCESS);
    EXPECT_EQ(std::wstring(text.data()), L"default");
  }

  // RRF_ZEROONFAILURE clears the caller's buffer when the value does not fit.
  std::fill(text.begin(), text.end(), L'x');
  size = 4 * W;
  EXPECT_EQ(Get(base_, L"Long", kSz | RRF_ZEROONFAILURE, text.data(), &size), ERROR_MORE_DATA);
  EXPECT_EQ(std::wstring(text.data()), L"");

  EXPECT_EQ(Get(base_, L"Long", kSz, text.data(), nullptr), ERROR_INVALID_PARAMETER);
  size = all;
  EXPECT_EQ(Get(base_ + L"\\NoSuchKey", L"Long", kSz, text.data(), &size), ERROR_FILE_NOT_FOUND);

  // RegGetValueA counts narrow characters.
  const std::string path(base_.begin(), base_.end());
  char narrow[64] = {};
  size = 5;
  EXPECT_EQ(reg().GetValueA(HKEY_LOCAL_MACHINE, path.c_str(), "Long", kSz, nullptr, narrow, &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 12u);
  size = sizeof narrow;
  ASSERT_EQ(reg().GetValueA(HKEY_LOCAL_MACHINE, path.c_str(), "long", kSz, nullptr, narrow, &size), ERROR_SUCCESS);
  EXPECT_EQ(std::string(narrow), "hello world");
}

TEST_F(RegistryContract, OpenKeyAndQueryValue) {
  SetString(L"Long", L"hello world");
  SetDword(L"Dword", 9);
  std::wstring upper = base_;
  for (wchar_t& c : upper) c = static_cast<wchar_t>(std::towupper(c));

  RegKey key;
  ASSERT_EQ(reg().OpenKeyExW(HKEY_LOCAL_MACHINE, upper.c_str(), 0, KEY_READ, key.out()), ERROR_SUCCESS);
  DWORD type = 0, size = 0;
  ASSERT_EQ(reg().QueryValueExW(key.get(), L"long", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(size, 12 * W);
  std::vector<BYTE> buffer(64);
  size = 4;
  EXPECT_EQ(reg().QueryValueExW(key.get(), L"Long", nullptr, &type, buffer.data(), &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 12 * W);
  size = static_cast<DWORD>(buffer.size());
  ASSERT_EQ(reg().QueryValueExW(key.get(), L"Dword", nullptr, &type, buffer.data(), &size), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_DWORD);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(reg().QueryValueExW(key.get(), L"Missing", nullptr, &type, buffer.data(), &size), ERROR_FILE_NOT_FOUND);
  DWORD reserved = 0;
  size = static_cast<DWORD>(buffer.size());
  EXPECT_EQ(reg().QueryValueExW(key.get(), L"Dword", &reserved, &type, buffer.data(), &size),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(reg().QueryValueExW(key.get(), L"Dword", nullptr, &type, buffer.data(), nullptr),
            ERROR_INVALID_PARAMETER);

  RegKey other;
  const std::wstring missing = base_ + L"\\Missing";
  EXPECT_EQ(reg().OpenKeyExW(HKEY_LOCAL_MACHINE, missing.c_str(), 0, KEY_READ, other.out()), ERROR_FILE_NOT_FOUND);
  const std::wstring leading = L"\\" + base_;
  EXPECT_EQ(reg().OpenKeyExW(HKEY_LOCAL_MACHINE, leading.c_str(), 0, KEY_READ, other.out()), ERROR_BAD_PATHNAME);
  // An empty subkey opens a second handle to the same key.
  ASSERT_EQ(reg().OpenKeyExW(key.get(), L"", 0, KEY_READ, other.out()), ERROR_SUCCESS);
  EXPECT_NE(other.get(), key.get());
  size = static_cast<DWORD>(buffer.size());
  EXPECT_EQ(reg().QueryValueExW(other.get(), L"Dword", nullptr, &type, buffer.data(), &size), ERROR_SUCCESS);
}

TEST_F(RegistryContract, EnumeratesSubkeysInCaseBlindOrder) {
  CreateSubKey(L"beta");
  CreateSubKey(L"Alpha\\deep");
  CreateSubKey(L"gamma-long-name");
  CreateSubKey(L"BETA");  // the existing "beta"
  SetString(L"SomeValueName", L"hello world");
  SetDword(L"D", 1);

  DWORD subKeys = 0, longestKey = 0, values = 0, longestName = 0, largest = 0;
  ASSERT_EQ(reg().QueryInfoKeyW(key_.get(), &subKeys, &longestKey, &values, &longestName, &largest), ERROR_SUCCESS);
  EXPECT_EQ(subKeys, 3u);
  EXPECT_EQ(longestKey, 15u);
  EXPECT_EQ(values, 2u);
  EXPECT_EQ(longestName, 13u);
  EXPECT_EQ(largest, 12 * W);

  const std::wstring expected[] = {L"Alpha", L"beta", L"gamma-long-name"};
  for (DWORD i = 0; i < 3; ++i) {
    wchar_t name[64];
    DWORD length = 64;
    ASSERT_EQ(reg().EnumKeyExW(key_.get(), i, name, &length), ERROR_SUCCESS);
    EXPECT_EQ(std::wstring(name), expected[i]);
    EXPECT_EQ(length, expected[i].size());
  }
  wchar_t name[64];
  DWORD length = 64;
  EXPECT_EQ(reg().EnumKeyExW(key_.get(), 3, name, &length), ERROR_NO_MORE_ITEMS);
  length = 15;  // no room for the terminator
  EXPECT_EQ(reg().EnumKeyExW(key_.get(), 2, name, &length), ERROR_MORE_DATA);
  EXPECT_EQ(length, 15u);

  // Every value enumerates once, with its type and stored bytes (the order is the
  // implementation's: Wine sorts by name, the emulated registry keeps the order of creation).
  std::map<std::wstring, std::pair<DWORD, std::vector<BYTE>>> enumerated;
  DWORD type = 0;
  BYTE data[64];
  DWORD size = 0;
  for (DWORD i = 0; i < 2; ++i) {
    length = 64;
    size = 0;  // asks for the size only
    ASSERT_EQ(reg().EnumValueW(key_.get(), i, name, &length, &type, nullptr, &size), ERROR_SUCCESS);
    const std::wstring valueName(name, length);
    if (valueName == L"SomeValueName") {
      DWORD small = 2;
      length = 64;
      EXPECT_EQ(reg().EnumValueW(key_.get(), i, name, &length, &type, data, &small), ERROR_MORE_DATA);
      EXPECT_EQ(small, 12 * W);
    }
    length = 64;
    size = sizeof data;
    ASSERT_EQ(reg().EnumValueW(key_.get(), i, name, &length, &type, data, &size), ERROR_SUCCESS);
    enumerated[valueName] = {type, std::vector<BYTE>(data, data + size)};
  }
  ASSERT_EQ(enumerated.size(), 2u);
  EXPECT_EQ(enumerated[L"SomeValueName"].first, static_cast<DWORD>(REG_SZ));
  ASSERT_EQ(enumerated[L"SomeValueName"].second.size(), 12 * W);
  EXPECT_EQ(std::wstring(reinterpret_cast<const wchar_t*>(enumerated[L"SomeValueName"].second.data())), L"hello world");
  EXPECT_EQ(enumerated[L"D"].first, static_cast<DWORD>(REG_DWORD));
  EXPECT_EQ(enumerated[L"D"].second, (std::vector<BYTE>{1, 0, 0, 0}));
  length = 64;
  EXPECT_EQ(reg().EnumValueW(key_.get(), 2, name, &length, &type, data, &size), ERROR_NO_MORE_ITEMS);
}

TEST_F(RegistryContract, WritesDeletesAndStaleHandles) {
  SetDword(L"Dword", 1);
  CreateSubKey(L"Doomed\\Child");

  HKEY readOnly = nullptr;
  ASSERT_EQ(reg().OpenKeyExW(key_.get(), nullptr, 0, KEY_READ, &readOnly), ERROR_SUCCESS);
  const DWORD two = 2;
  EXPECT_EQ(reg().SetValueExW(readOnly, L"Dword", REG_DWORD, reinterpret_cast<const BYTE*>(&two), 4),
            ERROR_ACCESS_DENIED);
  EXPECT_EQ(reg().CloseKey(readOnly), ERROR_SUCCESS);
  EXPECT_EQ(reg().CloseKey(readOnly), ERROR_INVALID_HANDLE);

  RegKey child;
  ASSERT_EQ(reg().OpenKeyExW(key_.get(), L"Doomed\\Child", 0, KEY_READ, child.out()), ERROR_SUCCESS);
  ASSERT_EQ(reg().DeleteTreeW(key_.get(), L"doomed"), ERROR_SUCCESS);
  DWORD count = 0, size = 4;
  BYTE buffer[4];
  EXPECT_EQ(reg().QueryValueExW(child.get(), L"x", nullptr, nullptr, buffer, &size), ERROR_KEY_DELETED);
  EXPECT_EQ(reg().QueryInfoKeyW(child.get(), &count, nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
  EXPECT_EQ(reg().DeleteTreeW(key_.get(), L"Doomed"), ERROR_FILE_NOT_FOUND);

  EXPECT_EQ(reg().DeleteValueW(key_.get(), L"Missing"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(reg().DeleteValueW(key_.get(), L"DWORD"), ERROR_SUCCESS);
  size = 4;
  EXPECT_EQ(reg().QueryValueExW(key_.get(), L"Dword", nullptr, nullptr, buffer, &size), ERROR_FILE_NOT_FOUND);

  // A null subkey empties the key but keeps it.
  SetDword(L"Again", 3);
  CreateSubKey(L"Sub");
  ASSERT_EQ(reg().DeleteTreeW(key_.get(), nullptr), ERROR_SUCCESS);
  DWORD values = 9;
  ASSERT_EQ(reg().QueryInfoKeyW(key_.get(), &count, nullptr, &values, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(values, 0u);
}

}  // namespace
