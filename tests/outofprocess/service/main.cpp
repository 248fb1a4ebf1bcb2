// VantorVssProviderEmulated.exe: VantorVssProvider.exe's service and COM server over the
// emulated host's storage stack, for the out-of-process tests under Wine. Never packaged: the
// shipped executable installs only the Win32 seams and reads no host file, so nothing on a
// real host can point it at an emulated one.
#include <windows.h>

#include <exception>
#include <filesystem>

#include "EmulatedServiceSeams.h"
#include "logger/FileLog.h"
#include "service/win32/VantorVssProviderModule.h"

namespace {
constexpr const wchar_t* kLogSource = L"VantorVssProviderEmulated";
}  // namespace

int WINAPI wWinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, PWSTR arguments, int /*show*/) {
  wchar_t path[MAX_PATH] = {};
  const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return 1;
  try {
    outofprocess::InstallEmulatedServiceSeams(std::filesystem::path(path).parent_path());
  } catch (const std::exception& e) {
    // The trace is the only voice a service has; the module is not up yet, so open it here.
    if (CFileLog* log = CFileLog::GetInstance()) {
      log->InitializeLogging(L"VSSTrace");
      VA_LOG(MSG_ERROR, L"** The emulated host is not set up: %S", e.what());
      log->Flush();
    }
    return 2;
  }
  CVantorVssProviderModule module;
  return module.WinMain(arguments);
}
