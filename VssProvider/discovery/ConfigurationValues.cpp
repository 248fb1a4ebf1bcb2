#include "discovery/ConfigurationValues.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <new>

#include "discovery/ConfigurationKeys.h"
#include "logger/FileLog.h"
#include "platform/Registry.h"
#include "wincompat/WideString.h"

namespace discovery {
namespace {

static constexpr const wchar_t* kLogSource = L"ConfigurationValues";

using platform::RegKey;
using platform::TheRegistry;

// The caches are filled on first use without a lock; atomics keep concurrent first calls from
// being undefined behaviour, and both racers store the same answer.
std::atomic<DWORD> gRestPort{0};
constexpr int kTimeoutNotRead = -1;
std::atomic<int> gRestReceiveTimeout{kTimeoutNotRead};

struct DwordRead {
  LSTATUS status = ERROR_SUCCESS;
  DWORD value = 0;
  DWORD size = 0;
};

DwordRead ReadConfigurationDword(const wchar_t* name) {
  DwordRead read;
  read.size = sizeof read.value;
  read.status =
      TheRegistry().GetValueW(HKEY_LOCAL_MACHINE, kConfigurationKey, name, RRF_RT_REG_DWORD, nullptr, &read.value, &read.size);
  return read;
}

// A DWORD-sized query of one configuration value through an opened key. ERROR_MORE_DATA still
// tells the type: such a value exists but is no REG_DWORD the provider can use.
struct QueriedDword {
  bool opened = false;
  bool found = false;
  bool isDword = false;
  DWORD value = 0;
};

QueriedDword QueryConfigurationDword(const wchar_t* name, bool logReading) {
  QueriedDword result;
  RegKey key;
  if (TheRegistry().OpenKeyExW(HKEY_LOCAL_MACHINE, kConfigurationKey, 0, KEY_READ, key.out()) != ERROR_SUCCESS)
    return result;
  result.opened = true;
  if (logReading) VA_LOG(MSG_DEBUG, L"Reading Rest Recv Timeout from Registry...");
  DWORD type = REG_NONE;
  DWORD size = sizeof result.value;
  const LSTATUS status =
      TheRegistry().QueryValueExW(key.get(), name, nullptr, &type, reinterpret_cast<BYTE*>(&result.value), &size);
  result.found = status == ERROR_SUCCESS || status == ERROR_MORE_DATA;
  result.isDword = status == ERROR_SUCCESS && type == REG_DWORD;
  return result;
}

std::optional<std::string> ReadArrayVersionBound(const wchar_t* name) {
  std::array<wchar_t, kArrayVersionBufferChars> buffer{};
  DWORD size = sizeof buffer;
  const LSTATUS status =
      TheRegistry().GetValueW(HKEY_LOCAL_MACHINE, kProductKey, name, RRF_RT_REG_SZ, nullptr, buffer.data(), &size);
  if (status != ERROR_SUCCESS) {
    if (status != ERROR_FILE_NOT_FOUND)
      VA_LOG(MSG_WARNING, L"%s under %s cannot be read (error %ld); the built-in bound applies.", name, kProductKey,
             status);
    return std::nullopt;
  }
  const std::size_t chars = std::min<std::size_t>(size / sizeof(wchar_t), buffer.size());
  return wincompat::ToNarrow(std::wstring(buffer.data(), std::find(buffer.data(), buffer.data() + chars, L'\0')));
}

LSTATUS ReadProfileString(const std::string& profileKeyPath, const char* name, std::string& value) {
  std::array<char, kProfileStringBufferBytes> buffer{};
  DWORD size = sizeof buffer;
  const LSTATUS status = TheRegistry().GetValueA(HKEY_LOCAL_MACHINE, profileKeyPath.c_str(), name, RRF_RT_REG_SZ,
                                                 nullptr, buffer.data(), &size);
  if (status == ERROR_SUCCESS) {
    const std::size_t bytes = std::min<std::size_t>(size, buffer.size());
    value.assign(buffer.data(), std::find(buffer.data(), buffer.data() + bytes, '\0'));
  }
  return status;
}

}  // namespace

bool ReadDisableAutomaticGroupDiscovery() {
  const DwordRead read = ReadConfigurationDword(kDisableAutomaticGroupDiscovery);
  return read.status == ERROR_SUCCESS && read.size != 0 && read.value == 1;
}

DWORD ReadIscsiGlobalDigestPolicy() {
  const DwordRead read = ReadConfigurationDword(kISCSIGlobalDigestPolicy);
  return read.status == ERROR_SUCCESS && read.size != 0 ? read.value : 0;
}

DWORD ReadNoAdditionalVolumeInSnapshot() {
  const DwordRead read = ReadConfigurationDword(kNoAdditionalVolumeInSnapshot);
  return read.status == ERROR_SUCCESS ? read.value : 0;
}

DWORD ReadSkipVersionCheck() {
  const DwordRead read = ReadConfigurationDword(kSkipVersionCheck);
  return read.status == ERROR_SUCCESS ? read.value : 0;
}

DWORD ReadGmdRestPort() {
  if (const DWORD cached = gRestPort.load(); cached != 0) return cached;
  const QueriedDword port = QueryConfigurationDword(kGmdRestPort, false);
  if (port.isDword) {
    gRestPort = port.value;
    VA_LOG(MSG_INFO, L"The GMD Rest Port is set to %d", port.value);
    return port.value;
  }
  gRestPort = kDefaultGmdRestPort;
  VA_LOG(MSG_INFO, L"The GMD Rest Port is not specified. Keeping default.");
  return kDefaultGmdRestPort;
}

int ReadRestReceiveTimeout() {
  if (const int cached = gRestReceiveTimeout.load(); cached != kTimeoutNotRead) return cached;
  const QueriedDword timeout = QueryConfigurationDword(kRestReceiveTimeout, true);
  if (timeout.isDword) {
    const int value = static_cast<int>(timeout.value);
    if (value > 0) {
      gRestReceiveTimeout = value;
      return value;
    }
    VA_LOG(MSG_ERROR, L"Rest Recv Timeout is set to invalid value of %d msec. Will use default.", value);
  } else if (timeout.found) {
    VA_LOG(MSG_ERROR, L"Rest Recv Timeout is set to invalid value type. It should be REG_DWORD. Will use default.");
  }
  // 0 is final for the process: it is not the "not read" mark, so the registry is not read again.
  gRestReceiveTimeout = 0;
  if (!timeout.found) VA_LOG(MSG_INFO, L"Rest Recv Timeout is not specified. Keeping default.");
  return 0;
}

void ResetConfigurationCaches() {
  gRestPort = 0;
  gRestReceiveTimeout = kTimeoutNotRead;
}

LSTATUS ReadGroupMgmtIps(std::wstring& ips) {
  ips.clear();
  DWORD size = 0;
  LSTATUS status =
      TheRegistry().GetValueW(HKEY_LOCAL_MACHINE, kConfigurationKey, kGroupMgmtIps, RRF_RT_REG_SZ, nullptr, nullptr, &size);
  if (status != ERROR_SUCCESS || size == 0) return status;

  // Twice the reported size, saturating: the value may grow between the two calls.
  const DWORD doubled = size > std::numeric_limits<DWORD>::max() / 2 ? std::numeric_limits<DWORD>::max() : size * 2;
  std::vector<wchar_t> buffer;
  try {
    buffer.resize((static_cast<std::size_t>(doubled) + sizeof(wchar_t) - 1) / sizeof(wchar_t));
  } catch (const std::bad_alloc&) {
    VA_LOG(MSG_ERROR, L"Group management IPs not found in registry. Not enough memory.");
    return ERROR_NOT_ENOUGH_MEMORY;
  }
  DWORD capacity = doubled;
  status = TheRegistry().GetValueW(HKEY_LOCAL_MACHINE, kConfigurationKey, kGroupMgmtIps, RRF_RT_REG_SZ, nullptr,
                                   buffer.data(), &capacity);
  if (status != ERROR_SUCCESS) return status;
  const std::size_t chars = std::min<std::size_t>(capacity / sizeof(wchar_t), buffer.size());
  ips.assign(buffer.data(), std::find(buffer.data(), buffer.data() + chars, L'\0'));
  return ERROR_SUCCESS;
}

std::optional<std::string> ReadMinArrayVerSupported() { return ReadArrayVersionBound(kMinArrayVerSupported); }

std::optional<std::string> ReadMaxArrayVerSupported() { return ReadArrayVersionBound(kMaxArrayVerSupported); }

std::string ProfileKeyPath(const std::string& profileName) { return kProfileListKeyA + "\\" + profileName; }

LSTATUS ReadProfileUserName(const std::string& profileKeyPath, std::string& userName) {
  return ReadProfileString(profileKeyPath, kUserNameA, userName);
}

LSTATUS ReadProfileGroupMgmtIP(const std::string& profileKeyPath, std::string& groupMgmtIP) {
  return ReadProfileString(profileKeyPath, kGroupMgmtIPA, groupMgmtIP);
}

LSTATUS ReadProfileCreatedBy(const std::string& profileKeyPath, std::string& createdBy) {
  return ReadProfileString(profileKeyPath, kCreatedByA, createdBy);
}

LSTATUS ReadProfilePassword(const std::string& profileKeyPath, std::vector<BYTE>& password) {
  std::vector<BYTE> buffer(kProfilePasswordBufferBytes, 0);
  DWORD size = static_cast<DWORD>(buffer.size());
  const LSTATUS status = TheRegistry().GetValueA(HKEY_LOCAL_MACHINE, profileKeyPath.c_str(), kPasswordA,
                                                 RRF_RT_REG_BINARY, nullptr, buffer.data(), &size);
  if (status == ERROR_SUCCESS) {
    buffer.resize(std::min<std::size_t>(size, buffer.size()));
    password = std::move(buffer);
  }
  return status;
}

}  // namespace discovery
