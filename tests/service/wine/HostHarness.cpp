#include "HostHarness.h"

#include <gtest/gtest.h>

#include <fstream>

#include "CoordinatorDoubleConfig.h"
#include "service/ServiceIdentity.h"
#include "service/win32/KernelHandle.h"
#include "service/win32/ScHandle.h"

namespace hosttest {
namespace {

constexpr const wchar_t* kInstallDirectory = L"C:\\Program Files\\Vantor Storage";
constexpr const wchar_t* kCoordinatorClassKey =
    L"Software\\Classes\\CLSID\\{E579AB5F-1CC4-44B4-BED9-DE0991FF0623}\\InprocServer32";
constexpr const wchar_t* kCallLogPath = L"C:\\vss-coordinator-calls.txt";

std::wstring gInstalledProvider;
std::wstring gCoordinatorDouble;
std::wstring gActivationClient;

void SetString(const wchar_t* path, const wchar_t* name, const std::wstring& value) {
  ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, path, name, REG_SZ, value.c_str(),
                            static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))),
            ERROR_SUCCESS)
      << path;
}

}  // namespace

std::wstring WindowsPath(const std::wstring& path) {
  if (path.empty() || path[0] != L'/') return path;
  std::wstring result = L"Z:" + path;
  for (wchar_t& c : result) {
    if (c == L'/') c = L'\\';
  }
  return result;
}

void RegisterCoordinatorDouble(const std::wstring& coordinatorDoublePath) {
  gCoordinatorDouble = WindowsPath(coordinatorDoublePath);
  SetString(kCoordinatorClassKey, nullptr, gCoordinatorDouble);
  SetString(kCoordinatorClassKey, L"ThreadingModel", L"Both");
  SetString(kCoordinatorDoubleKey, kCallLogValue, kCallLogPath);
}

void PrepareHost(const std::wstring& providerPath, const std::wstring& coordinatorDoublePath) {
  CreateDirectoryW(kInstallDirectory, nullptr);
  gInstalledProvider = std::wstring(kInstallDirectory) + L"\\VantorVssProvider.exe";
  if (!CopyFileW(WindowsPath(providerPath).c_str(), gInstalledProvider.c_str(), FALSE)) {
    ADD_FAILURE() << "copying the provider failed, error " << GetLastError();
  }
  RegisterCoordinatorDouble(coordinatorDoublePath);
}

const std::wstring& InstalledProviderPath() { return gInstalledProvider; }
void SetActivationClient(const std::wstring& path) { gActivationClient = WindowsPath(path); }
const std::wstring& ActivationClientPath() { return gActivationClient; }
const std::wstring& CoordinatorDoublePath() { return gCoordinatorDouble; }

DWORD RunProgram(const std::wstring& program, std::wstring commandLine, DWORD timeoutMs) {
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                      &process)) {
    ADD_FAILURE() << "starting " << std::string(program.begin(), program.end()) << " failed, error "
                  << GetLastError();
    return 0xFFFFFFFFu;
  }
  const service::KernelHandle processHandle(process.hProcess);
  const service::KernelHandle threadHandle(process.hThread);
  if (WaitForSingleObject(processHandle.Get(), timeoutMs) != WAIT_OBJECT_0) {
    TerminateProcess(processHandle.Get(), 1);
    ADD_FAILURE() << "did not end: " << std::string(commandLine.begin(), commandLine.end());
    return 0xFFFFFFFFu;
  }
  DWORD exitCode = 0xFFFFFFFFu;
  GetExitCodeProcess(processHandle.Get(), &exitCode);
  return exitCode;
}

DWORD RunProvider(const std::wstring& arguments) {
  return RunProgram(gInstalledProvider, L"\"" + gInstalledProvider + L"\" " + arguments);
}

void ResetHost() {
  RunProvider(L"/UnregServerPerUser");
  RunProvider(L"/UnregServer");
  RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kCoordinatorDoubleKey, kRegisterResultValue);
  RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kCoordinatorDoubleKey, kUnregisterResultValue);
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, kProvidersKey);
  ClearCoordinatorCalls();
}

std::vector<std::wstring> CoordinatorCalls() {
  std::ifstream file(kCallLogPath, std::ios::binary);
  std::vector<std::wstring> calls;
  std::string line;
  while (std::getline(file, line)) {
    const int length = MultiByteToWideChar(CP_UTF8, 0, line.data(), static_cast<int>(line.size()), nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, line.data(), static_cast<int>(line.size()), wide.data(), length);
    calls.push_back(wide);
  }
  return calls;
}

void ClearCoordinatorCalls() { DeleteFileW(kCallLogPath); }

void SetCoordinatorResult(const wchar_t* valueName, HRESULT result) {
  const DWORD value = static_cast<DWORD>(result);
  ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kCoordinatorDoubleKey, valueName, REG_DWORD, &value, sizeof value),
            ERROR_SUCCESS);
}

std::set<std::wstring> RegisteredVssProviders() { return ReadKey(HKEY_LOCAL_MACHINE, kProvidersKey).subkeys; }

std::wstring RegisteredVssVersion() {
  const std::wstring key = std::wstring(kProvidersKey) + L"\\{5253D47A-55BB-4B3A-928D-5F4BAEC6FBF4}";
  return ReadKey(HKEY_LOCAL_MACHINE, key).values[L"Version"];
}

KeyContents ReadKey(HKEY root, const std::wstring& path) {
  KeyContents contents;
  HKEY key = nullptr;
  if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return contents;
  contents.exists = true;
  wchar_t name[512];
  for (DWORD index = 0;; ++index) {
    DWORD length = 512;
    if (RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    contents.subkeys.insert(std::wstring(name, length));
  }
  for (DWORD index = 0;; ++index) {
    DWORD nameLength = 512;
    DWORD type = 0;
    BYTE data[2048];
    DWORD dataSize = sizeof data;
    if (RegEnumValueW(key, index, name, &nameLength, nullptr, &type, data, &dataSize) != ERROR_SUCCESS) break;
    std::wstring text;
    if (type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ) {
      text.assign(reinterpret_cast<const wchar_t*>(data), dataSize / sizeof(wchar_t));
      while (!text.empty() && text.back() == L'\0') text.pop_back();
      for (wchar_t& c : text) {
        if (c == L'\0') c = L';';  // the strings of a REG_MULTI_SZ, one after the other
      }
    } else {
      text = L"#" + std::to_wstring(type);
    }
    contents.values[std::wstring(name, nameLength)] = text;
  }
  RegCloseKey(key);
  return contents;
}

std::optional<ServiceConfig> QueryServiceConfiguration(const std::wstring& serviceName) {
  const service::ScHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  const service::ScHandle handle(
      manager ? OpenServiceW(manager.Get(), serviceName.c_str(), SERVICE_QUERY_CONFIG) : nullptr);
  if (!handle) return std::nullopt;
  DWORD needed = 0;
  QueryServiceConfigW(handle.Get(), nullptr, 0, &needed);
  std::vector<BYTE> buffer(needed);
  auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
  if (needed == 0 || !QueryServiceConfigW(handle.Get(), config, needed, &needed)) return std::nullopt;
  ServiceConfig result;
  result.serviceType = config->dwServiceType;
  result.startType = config->dwStartType;
  result.errorControl = config->dwErrorControl;
  result.binaryPath = config->lpBinaryPathName != nullptr ? config->lpBinaryPathName : L"";
  result.account = config->lpServiceStartName != nullptr ? config->lpServiceStartName : L"";
  result.displayName = config->lpDisplayName != nullptr ? config->lpDisplayName : L"";
  return result;
}

std::optional<ServiceState> QueryServiceState(const std::wstring& serviceName) {
  const service::ScHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  const service::ScHandle handle(
      manager ? OpenServiceW(manager.Get(), serviceName.c_str(), SERVICE_QUERY_STATUS) : nullptr);
  if (!handle) return std::nullopt;
  SERVICE_STATUS_PROCESS status{};
  DWORD needed = 0;
  if (!QueryServiceStatusEx(handle.Get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                            &needed)) {
    return std::nullopt;
  }
  return ServiceState{status.dwCurrentState, status.dwWin32ExitCode, status.dwProcessId};
}

bool WaitForServiceState(const std::wstring& serviceName, DWORD state, DWORD timeoutMs) {
  for (DWORD waited = 0;; waited += 100) {
    const auto current = QueryServiceState(serviceName);
    if (current && current->state == state) return true;
    if (waited >= timeoutMs) return false;
    Sleep(100);
  }
}

std::wstring HResultText(HRESULT hr) {
  wchar_t text[16];
  swprintf(text, 16, L"0x%08lx", static_cast<unsigned long>(hr));
  return text;
}

}  // namespace hosttest
