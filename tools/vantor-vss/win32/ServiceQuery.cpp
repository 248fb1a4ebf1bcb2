// The provider's service as the service control manager sees it.
#include <windows.h>

#include <vector>

#include "../HostChecks.h"
#include "service/ServiceIdentity.h"

namespace vantorvss {
namespace {

struct ScHandle {
  SC_HANDLE h = nullptr;
  ~ScHandle() {
    if (h) CloseServiceHandle(h);
  }
};

}  // namespace

ServiceState QueryProviderService() {
  ServiceState state;
  ScHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)};
  if (!manager.h) {
    state.error = "OpenSCManager failed with error " + std::to_string(GetLastError());
    return state;
  }
  ScHandle service{OpenServiceW(manager.h, service::kServiceName, SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS)};
  if (!service.h) {
    const DWORD error = GetLastError();
    if (error != ERROR_SERVICE_DOES_NOT_EXIST) state.error = "OpenService failed with error " + std::to_string(error);
    return state;
  }
  state.installed = true;
  DWORD needed = 0;
  QueryServiceConfigW(service.h, nullptr, 0, &needed);
  std::vector<BYTE> buffer(needed ? needed : sizeof(QUERY_SERVICE_CONFIGW));
  auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
  if (QueryServiceConfigW(service.h, config, static_cast<DWORD>(buffer.size()), &needed)) state.startType = config->dwStartType;
  SERVICE_STATUS status{};
  if (QueryServiceStatus(service.h, &status)) state.running = status.dwCurrentState == SERVICE_RUNNING;
  return state;
}

}  // namespace vantorvss
