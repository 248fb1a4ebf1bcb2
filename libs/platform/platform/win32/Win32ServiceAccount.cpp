#include "platform/win32/Win32ServiceAccount.h"

#include <windows.h>
#include <winsvc.h>

#include <vector>

namespace platform {
namespace {

class ServiceHandle {
 public:
  explicit ServiceHandle(SC_HANDLE handle) : mHandle(handle) {}
  ~ServiceHandle() {
    if (mHandle) CloseServiceHandle(mHandle);
  }
  ServiceHandle(const ServiceHandle&) = delete;
  ServiceHandle& operator=(const ServiceHandle&) = delete;
  SC_HANDLE get() const { return mHandle; }
  explicit operator bool() const { return mHandle != nullptr; }

 private:
  SC_HANDLE mHandle;
};

}  // namespace

DWORD Win32ServiceAccount::GetServiceUser(const std::wstring& serviceName, std::wstring& user) {
  user.clear();
  const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  if (!manager) return GetLastError();
  const ServiceHandle service(OpenServiceW(manager.get(), serviceName.c_str(), SERVICE_QUERY_CONFIG));
  if (!service) return GetLastError();
  DWORD needed = 0;
  if (!QueryServiceConfigW(service.get(), nullptr, 0, &needed)) {
    const DWORD error = GetLastError();
    if (error != ERROR_INSUFFICIENT_BUFFER) return error;
  }
  // QUERY_SERVICE_CONFIGW holds pointers; a QWORD array keeps it aligned.
  std::vector<ULONGLONG> storage(needed / sizeof(ULONGLONG) + 1);
  auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(storage.data());
  if (!QueryServiceConfigW(service.get(), config, static_cast<DWORD>(storage.size() * sizeof(ULONGLONG)), &needed)) {
    return GetLastError();
  }
  // An own-process service without a start name runs as LocalSystem.
  user = config->lpServiceStartName && *config->lpServiceStartName ? config->lpServiceStartName : L"LocalSystem";
  return ERROR_SUCCESS;
}

DWORD Win32ServiceAccount::LocalComputerName(std::wstring& name) {
  wchar_t buffer[MAX_COMPUTERNAME_LENGTH + 1] = {};
  DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
  if (!GetComputerNameW(buffer, &size)) {
    name.clear();
    return GetLastError();
  }
  name.assign(buffer, size);
  return ERROR_SUCCESS;
}

}  // namespace platform
