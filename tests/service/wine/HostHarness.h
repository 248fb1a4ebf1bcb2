#pragma once
// What the whole-executable tests of VantorVssProvider.exe need around it in a Wine prefix:
// the installed copy of the executable, the VSS coordinator double, a way to run the
// executable with a switch, and readers for the registry and the service control manager.
#include <windows.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace hosttest {

// Copies the executable to "C:\Program Files\Vantor Storage" (a path with blanks, as installed)
// and registers the coordinator double. Arguments are Unix or Windows paths.
void PrepareHost(const std::wstring& providerPath, const std::wstring& coordinatorDoublePath);
// Only the coordinator double, for tests that install the provider with the package.
void RegisterCoordinatorDouble(const std::wstring& coordinatorDoublePath);
// ctest hands over Unix paths; Wine maps the Unix root to drive Z:.
std::wstring WindowsPath(const std::wstring& path);

const std::wstring& InstalledProviderPath();
void SetActivationClient(const std::wstring& path);
const std::wstring& ActivationClientPath();
const std::wstring& CoordinatorDoublePath();

// Runs the installed executable with `arguments` and returns its exit code (fails the test and
// returns 0xFFFFFFFF when it does not end within a minute).
DWORD RunProvider(const std::wstring& arguments);
// Runs `program` with the whole `commandLine` (program name included) the same way.
DWORD RunProgram(const std::wstring& program, std::wstring commandLine, DWORD timeoutMs = 60000);

// Removes every trace of an earlier test: runs /UnregServer and /UnregServerPerUser, empties
// the call log and clears the double's configured answers.
void ResetHost();

// The coordinator double: its recorded calls (one line each) and the answers it gives.
std::vector<std::wstring> CoordinatorCalls();
void ClearCoordinatorCalls();
void SetCoordinatorResult(const wchar_t* valueName, HRESULT result);
// The provider ids the double holds registered, and the version it holds for ours.
std::set<std::wstring> RegisteredVssProviders();
std::wstring RegisteredVssVersion();

struct KeyContents {
  bool exists = false;
  std::set<std::wstring> subkeys;
  std::map<std::wstring, std::wstring> values;  // strings as they are (a multi-string joined by ";"); others as "#type"
};
KeyContents ReadKey(HKEY root, const std::wstring& path);

struct ServiceConfig {
  DWORD serviceType = 0;
  DWORD startType = 0;
  DWORD errorControl = 0;
  std::wstring binaryPath;
  std::wstring account;
  std::wstring displayName;
};
std::optional<ServiceConfig> QueryServiceConfiguration(const std::wstring& serviceName);

struct ServiceState {
  DWORD state = 0;
  DWORD win32ExitCode = 0;
  DWORD processId = 0;
};
std::optional<ServiceState> QueryServiceState(const std::wstring& serviceName);

// Polls until the service reaches `state`; false after `timeoutMs`.
bool WaitForServiceState(const std::wstring& serviceName, DWORD state, DWORD timeoutMs);

std::wstring HResultText(HRESULT hr);

}  // namespace hosttest
