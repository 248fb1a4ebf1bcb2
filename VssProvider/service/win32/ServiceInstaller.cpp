#include "service/win32/ServiceInstaller.h"

#include <windows.h>

#include <vector>

#include "logger/EventReporter.h"
#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "service/RegistrationScript.h"
#include "service/ServiceIdentity.h"
#include "service/win32/ScHandle.h"

namespace service {
namespace {

constexpr const wchar_t* kLogSource = L"ServiceInstaller";
// Event 0 is "%1": the whole text is the insertion.
constexpr DWORD kTextEventId = 0;
// A stop normally takes well under a second; past this the delete goes ahead and the SCM
// removes the entry once the process ends.
constexpr DWORD kStopWaitMs = 15000;
constexpr DWORD kStopPollMs = 100;
// How often a service with a key is asked for before it counts as unknown (see OpenKnownService).
constexpr int kManagerAttempts = 8;
constexpr DWORD kManagerRetryMs = 50;

// These run from an installer's custom action in session 0, where a window would wait for ever:
// a failure goes to the trace and the event log, and the caller's exit code tells the installer.
void ReportFailure(const std::wstring& serviceName, const wchar_t* text, DWORD error) {
  VA_LOG(MSG_ERROR, L"** %s: %s (error %u)", serviceName, text, static_cast<unsigned>(error));
  const std::wstring event = serviceName + L": " + text + L" (error " + std::to_wstring(error) + L")";
  logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, kTextEventId, event.c_str());
}

void WaitUntilStopped(SC_HANDLE service) {
  SERVICE_STATUS status{};
  for (DWORD waited = 0; waited < kStopWaitMs; waited += kStopPollMs) {
    if (!QueryServiceStatus(service, &status) || status.dwCurrentState == SERVICE_STOPPED) return;
    Sleep(kStopPollMs);
  }
  VA_LOG(MSG_WARNING, L"Service did not stop within %u ms; deleting it anyway", static_cast<unsigned>(kStopWaitMs));
}

// The service control manager keeps every service as a key under this one.
bool ServiceKeyExists(const std::wstring& serviceName) {
  const std::wstring path = L"SYSTEM\\CurrentControlSet\\Services\\" + serviceName;
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) return false;
  RegCloseKey(key);
  return true;
}

struct OpenedService {
  ScHandle manager;
  ScHandle service;
  DWORD error = ERROR_SUCCESS;  // when `service` is empty
  bool managerFailed = false;
};

// Opens the service with `access`. A Wine prefix right after its creation can have two service
// control managers answering on the one pipe, each knowing only the services created through
// it (the registry has them all): a service whose key exists but that the manager reached does
// not know is asked for again through a fresh connection, which may reach the other one. On
// Windows, with its one manager, the key and the manager agree and nothing is asked twice.
OpenedService OpenKnownService(const std::wstring& serviceName, DWORD managerAccess, DWORD access) {
  OpenedService opened;
  for (int attempt = 0; attempt < kManagerAttempts; ++attempt) {
    // Closed first: while a handle of the last connection lives, its pipe connection is kept and
    // used again, and that reaches the same manager.
    opened.service.Reset();
    opened.manager.Reset();
    opened.manager = ScHandle(OpenSCManagerW(nullptr, nullptr, managerAccess));
    if (!opened.manager) {
      opened.error = GetLastError();
      opened.managerFailed = true;
      return opened;
    }
    opened.service = ScHandle(OpenServiceW(opened.manager.Get(), serviceName.c_str(), access));
    if (opened.service) return opened;
    opened.error = GetLastError();
    if (opened.error != ERROR_SERVICE_DOES_NOT_EXIST || !ServiceKeyExists(serviceName)) return opened;
    VA_LOG(MSG_WARNING,
           L"Service %s has its key but the service control manager reached does not know it; asking again",
           serviceName);
    Sleep(kManagerRetryMs);
  }
  return opened;
}

}  // namespace

bool InstallService(const std::wstring& serviceName, const std::wstring& modulePath) {
  CLogger scope(L"ServiceInstaller::InstallService");
  if (const OpenedService existing = OpenKnownService(serviceName, SC_MANAGER_CONNECT, SERVICE_QUERY_CONFIG);
      existing.service) {
    VA_LOG(MSG_INFO, L"Service %s exists already", serviceName);
    return true;
  }
  const ScHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  if (!manager) {
    ReportFailure(serviceName, L"Could not open Service Manager", GetLastError());
    return false;
  }
  const std::wstring binaryPath = QuotedPath(modulePath);
  const ScHandle service(CreateServiceW(manager.Get(), serviceName.c_str(), serviceName.c_str(), SERVICE_ALL_ACCESS,
                                        SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                        binaryPath.c_str(), nullptr, nullptr, kServiceDependencies, nullptr,
                                        nullptr));
  if (!service) {
    ReportFailure(serviceName, L"Could not start service", GetLastError());
    return false;
  }
  VA_LOG(MSG_INFO, L"Service %s installed, binary %s", serviceName, binaryPath);
  return true;
}

bool UninstallService(const std::wstring& serviceName) {
  CLogger scope(L"ServiceInstaller::UninstallService");
  const OpenedService opened =
      OpenKnownService(serviceName, SC_MANAGER_CONNECT, SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE);
  if (!opened.service) {
    if (opened.managerFailed) {
      ReportFailure(serviceName, L"Could not open Service Manager", opened.error);
      return false;
    }
    // Unknown to the manager and without a key: not installed, nothing to remove.
    if (opened.error == ERROR_SERVICE_DOES_NOT_EXIST && !ServiceKeyExists(serviceName)) return true;
    ReportFailure(serviceName, L"Could not open service", opened.error);
    return false;
  }
  SERVICE_STATUS status{};
  if (ControlService(opened.service.Get(), SERVICE_CONTROL_STOP, &status)) {
    WaitUntilStopped(opened.service.Get());
  } else if (const DWORD error = GetLastError(); error != ERROR_SERVICE_NOT_ACTIVE) {
    VA_LOG(MSG_WARNING, L"Stopping service %s failed, error %u", serviceName, static_cast<unsigned>(error));
  }
  if (!DeleteService(opened.service.Get())) {
    const DWORD error = GetLastError();
    if (error != ERROR_SERVICE_MARKED_FOR_DELETE) {
      ReportFailure(serviceName, L"Could not stop service", error);
      return false;
    }
  }
  VA_LOG(MSG_INFO, L"Service %s removed", serviceName);
  return true;
}

std::optional<InstalledService> QueryInstalledService(const std::wstring& serviceName) {
  const OpenedService opened =
      OpenKnownService(serviceName, SC_MANAGER_CONNECT, SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS);
  const SC_HANDLE service = opened.service.Get();
  if (service == nullptr) return std::nullopt;
  DWORD needed = 0;
  QueryServiceConfigW(service, nullptr, 0, &needed);
  std::vector<BYTE> buffer(needed);
  auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
  if (needed < sizeof(QUERY_SERVICE_CONFIGW) || !QueryServiceConfigW(service, config, needed, &needed)) {
    VA_LOG(MSG_WARNING, L"Reading the configuration of service %s failed, error %u", serviceName,
           static_cast<unsigned>(GetLastError()));
    return InstalledService{};  // installed, configuration unknown: put back with our own
  }
  InstalledService before;
  before.binaryPath = config->lpBinaryPathName != nullptr ? config->lpBinaryPathName : L"";
  before.displayName = config->lpDisplayName != nullptr ? config->lpDisplayName : L"";
  before.startType = config->dwStartType;
  SERVICE_STATUS status{};
  before.running = QueryServiceStatus(service, &status) && status.dwCurrentState != SERVICE_STOPPED;
  return before;
}

bool RestoreService(const std::wstring& serviceName, const InstalledService& before) {
  CLogger scope(L"ServiceInstaller::RestoreService");
  const ScHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  if (!manager) return false;
  const std::wstring& display = before.displayName.empty() ? serviceName : before.displayName;
  const ScHandle service(CreateServiceW(
      manager.Get(), serviceName.c_str(), display.c_str(), SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
      before.startType != 0 ? before.startType : SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, before.binaryPath.c_str(),
      nullptr, nullptr, kServiceDependencies, nullptr, nullptr));
  if (!service) {
    VA_LOG(MSG_ERROR, L"** Creating service %s again failed, error %u", serviceName,
           static_cast<unsigned>(GetLastError()));
    return false;
  }
  if (before.running && !StartServiceW(service.Get(), 0, nullptr)) {
    VA_LOG(MSG_WARNING, L"Starting service %s again failed, error %u", serviceName,
           static_cast<unsigned>(GetLastError()));
  }
  VA_LOG(MSG_INFO, L"Service %s created again, binary %s", serviceName, before.binaryPath);
  return true;
}

}  // namespace service
