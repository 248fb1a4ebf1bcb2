#pragma once
// Windows account names: which account a service runs as, and whether two spellings name the
// same account. Names come as the service control manager and the tooling write them:
// "LocalSystem", ".\alice", "HOST\alice", "CORP\alice", "alice@corp.example.com",
// "NT AUTHORITY\NetworkService".
#include <string>

#include "wincompat/WinTypes.h"

class WindowsUserHelper {
 public:
  // The start account of the named service (service-account seam); a Win32 error code.
  // ERROR_NOT_SUPPORTED (50) when the process installed no service-account seam.
  static DWORD GetWindowsServiceUser(const std::wstring& serviceName, std::wstring& user);

  // True for every spelling of the local system account ("LocalSystem", "SYSTEM",
  // "NT AUTHORITY\SYSTEM", ".\LocalSystem"), in any case.
  static bool IsLocalSystem(const std::wstring& user);

  // Same account? Case-insensitive. "." and this computer's name are the same domain; a name
  // without a domain is a local account; a user principal name "alice@corp.example.com" is
  // "CORP\alice"; the service accounts' long and short names are one ("NT AUTHORITY\LOCAL
  // SERVICE" = "LocalService"). An empty name equals nothing.
  static bool IsWindowsUsersEqual(const std::wstring& a, const std::wstring& b);
};
