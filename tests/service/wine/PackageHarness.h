#pragma once
// Installing and removing VantorVssProvider.msi with Wine's msiexec, and what the package
// leaves in Programs and Features.
#include <windows.h>

#include <string>
#include <vector>

namespace hosttest {

// The package under test; an older one from a build whose executables differ; a rebuild of
// the current one (same version, another product code). Each with the folder of the
// executables it was made from.
struct Packages {
  std::wstring current;
  std::wstring older;
  std::wstring rebuilt;
  std::wstring currentFiles;
  std::wstring olderFiles;
};
void SetPackages(const Packages& packages);
const Packages& ThePackages();

// msiexec's exit code for `/i` or `/x` of `package`, silent; the test fails when it runs longer
// than `timeoutMs`.
DWORD Msiexec(const wchar_t* action, const std::wstring& package, DWORD timeoutMs = 300000);

// The functions an executable imports by name, as "dll!function" with the DLL in lower case.
std::vector<std::string> ImportedFunctions(const std::wstring& executable);

// The whole content of a file; empty when it cannot be read.
std::string FileBytes(const std::wstring& path);

struct ProgramEntry {
  std::wstring productCode;
  std::wstring displayName;
  std::wstring displayVersion;
};
// The Programs and Features entries named "Vantor VSS Hardware Provider".
std::vector<ProgramEntry> ProviderProgramEntries();

}  // namespace hosttest
