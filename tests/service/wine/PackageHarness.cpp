#include "PackageHarness.h"

#include "HostHarness.h"

namespace hosttest {
namespace {

constexpr const wchar_t* kUninstallKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
constexpr const wchar_t* kProductName = L"Vantor VSS Hardware Provider";
// msiexec waits for the registration it runs; a few seconds under Wine, minutes at worst.
constexpr DWORD kMsiexecTimeoutMs = 300000;

std::wstring gCurrent;
std::wstring gOlder;

std::wstring SystemDirectory() {
  wchar_t buffer[MAX_PATH] = {};
  const UINT length = GetSystemDirectoryW(buffer, MAX_PATH);
  return {buffer, length};
}

}  // namespace

void SetPackages(const std::wstring& current, const std::wstring& older) {
  gCurrent = WindowsPath(current);
  gOlder = WindowsPath(older);
}
const std::wstring& CurrentPackage() { return gCurrent; }
const std::wstring& OlderPackage() { return gOlder; }

DWORD Msiexec(const wchar_t* action, const std::wstring& package) {
  const std::wstring program = SystemDirectory() + L"\\msiexec.exe";
  return RunProgram(program, L"msiexec.exe " + std::wstring(action) + L" \"" + package + L"\" /qn", kMsiexecTimeoutMs);
}

std::vector<ProgramEntry> ProviderProgramEntries() {
  std::vector<ProgramEntry> entries;
  for (const std::wstring& code : ReadKey(HKEY_LOCAL_MACHINE, kUninstallKey).subkeys) {
    KeyContents entry = ReadKey(HKEY_LOCAL_MACHINE, std::wstring(kUninstallKey) + L"\\" + code);
    if (entry.values[L"DisplayName"] != kProductName) continue;
    entries.push_back({code, entry.values[L"DisplayName"], entry.values[L"DisplayVersion"]});
  }
  return entries;
}

}  // namespace hosttest
