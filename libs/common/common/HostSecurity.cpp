#include "common/HostSecurity.h"

#ifdef _WIN32
#include "common/win32/Win32HostSecurity.h"
#endif

namespace common {

HostSecurity* CurrentHostSecurity() {
  if (HostSecuritySlot::Installed()) return &HostSecuritySlot::Get();
#ifdef _WIN32
  static Win32HostSecurity security;
  return &security;
#else
  return nullptr;
#endif
}

}  // namespace common
