#include "PackageHarness.h"

#include "HostHarness.h"

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>


namespace hosttest {
namespace {

constexpr const wchar_t* kUninstallKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
constexpr const wchar_t* kProductName = L"Vantor VSS Hardware Provider";

Packages gPackages;

std::wstring SystemDirectory() {
  wchar_t buffer[MAX_PATH] = {};
  const UINT length = GetSystemDirectoryW(buffer, MAX_PATH);
  return {buffer, length};
}

std::wstring MsiexecCommand(const wchar_t* action, const std::wstring& package) {
  return L"msiexec.exe " + std::wstring(action) + L" \"" + package + L"\" /qn";
}

}  // namespace

void SetPackages(const Packages& packages) {
  gPackages = {WindowsPath(packages.current), WindowsPath(packages.older), WindowsPath(packages.rebuilt),
               WindowsPath(packages.currentFiles), WindowsPath(packages.olderFiles)};
}
const Packages& ThePackages() { return gPackages; }

DWORD Msiexec(const wchar_t* action, const std::wstring& package, DWORD timeoutMs) {
  return RunProgram(SystemDirectory() + L"\\msiexec.exe", MsiexecCommand(action, package), timeoutMs);
}

std::vector<std::string> ImportedFunctions(const std::wstring& executable) {
  std::vector<std::string> functions;
  const HMODULE module = LoadLibraryExW(executable.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
  if (module == nullptr) {
    ADD_FAILURE() << "mapping the executable failed, error " << GetLastError();
    return functions;
  }
  const auto* base = reinterpret_cast<const BYTE*>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& imports = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  for (auto* dll = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
       imports.VirtualAddress != 0 && dll->Name != 0; ++dll) {
    std::string name = reinterpret_cast<const char*>(base + dll->Name);
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const DWORD thunks = dll->OriginalFirstThunk != 0 ? dll->OriginalFirstThunk : dll->FirstThunk;
    for (auto* thunk = reinterpret_cast<const IMAGE_THUNK_DATA64*>(base + thunks); thunk->u1.AddressOfData != 0;
         ++thunk) {
      if (IMAGE_SNAP_BY_ORDINAL64(thunk->u1.Ordinal)) continue;
      const auto* byName = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + thunk->u1.AddressOfData);
      functions.push_back(name + "!" + reinterpret_cast<const char*>(byName->Name));
    }
  }
  FreeLibrary(module);
  return functions;
}

std::string FileBytes(const std::wstring& path) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
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
