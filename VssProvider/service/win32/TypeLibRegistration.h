#pragma once
// The type library embedded in the executable (resource TYPELIB 1): registered with the class,
// machine-wide or for the current user only.
#include <string>

#include "wincompat/WinTypes.h"

namespace service {

HRESULT RegisterModuleTypeLib(const std::wstring& modulePath, bool perUser);

// Removes the type library's registration; a library that is not registered counts as removed.
HRESULT UnregisterModuleTypeLib(bool perUser);

}  // namespace service
