#pragma once
// The executable's platform seams: the real Win32 implementation of each, installed once at
// process start before anything else runs.
namespace service {

void InstallWin32Seams();

}  // namespace service
