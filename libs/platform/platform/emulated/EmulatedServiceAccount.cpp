#include "platform/emulated/EmulatedServiceAccount.h"

#include <vector>

#include "platform/Registry.h"

namespace platform {
namespace {

constexpr const wchar_t* kServicesKey = L"SYSTEM\\CurrentControlSet\\Services\\";
constexpr const wchar_t* kComputerNameKey = L"SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName";

// A REG_SZ value through RegGetValueW: size query, then the read.
DWORD ReadString(const std::wstring& subKey, const wchar_t* value, std::wstring& text) {
  Registry& registry = TheRegistry();
  DWORD bytes = 0;
  LSTATUS status = registry.GetValueW(HKEY_LOCAL_MACHINE, subKey.c_str(), value, RRF_RT_REG_SZ, nullptr, nullptr, &bytes);
  if (status != ERROR_SUCCESS) return static_cast<DWORD>(status);
  std::vector<wchar_t> buffer(bytes / sizeof(wchar_t) + 1, L'\0');
  bytes = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
  status = registry.GetValueW(HKEY_LOCAL_MACHINE, subKey.c_str(), value, RRF_RT_REG_SZ, nullptr, buffer.data(), &bytes);
  if (status != ERROR_SUCCESS) return static_cast<DWORD>(status);
  text.assign(buffer.data());
  return ERROR_SUCCESS;
}

}  // namespace

DWORD EmulatedServiceAccount::GetServiceUser(const std::wstring& serviceName, std::wstring& user) {
  user.clear();
  if (serviceName.empty() || serviceName.find(L'\\') != std::wstring::npos) return ERROR_INVALID_PARAMETER;
  const std::wstring serviceKey = kServicesKey + serviceName;
  RegKey key;
  if (TheRegistry().OpenKeyExW(HKEY_LOCAL_MACHINE, serviceKey.c_str(), 0, KEY_READ, key.out()) != ERROR_SUCCESS) {
    return ERROR_SERVICE_DOES_NOT_EXIST;
  }
  const DWORD status = ReadString(serviceKey, L"ObjectName", user);
  if (status == static_cast<DWORD>(ERROR_FILE_NOT_FOUND)) {
    user = L"LocalSystem";
    return ERROR_SUCCESS;
  }
  return status;
}

DWORD EmulatedServiceAccount::LocalComputerName(std::wstring& name) {
  name.clear();
  return ReadString(kComputerNameKey, L"ComputerName", name);
}

}  // namespace platform
