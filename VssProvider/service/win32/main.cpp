// VantorVssProvider.exe: installs the platform seams, then hands the command line to the
// service module.
#include <windows.h>

#include "service/win32/InstallSeams.h"
#include "service/win32/VantorVssProviderModule.h"

int WINAPI wWinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, PWSTR arguments, int /*show*/) {
  service::InstallWin32Seams();
  CVantorVssProviderModule module;
  return module.WinMain(arguments);
}
