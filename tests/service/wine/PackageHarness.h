#pragma once
// Installing and removing VantorVssProvider.msi with Wine's msiexec, and what the package
// leaves in Programs and Features.
#include <windows.h>

#include <string>
#include <vector>

namespace hosttest {

void SetPackages(const std::wstring& current, const std::wstring& older);
const std::wstring& CurrentPackage();
const std::wstring& OlderPackage();

// msiexec's exit code for `/i` or `/x` of `package`, silent.
DWORD Msiexec(const wchar_t* action, const std::wstring& package);

struct ProgramEntry {
  std::wstring productCode;
  std::wstring displayName;
  std::wstring displayVersion;
};
// The Programs and Features entries named "Vantor VSS Hardware Provider".
std::vector<ProgramEntry> ProviderProgramEntries();

}  // namespace hosttest
