#pragma once
// The provider's registration with the VSS coordinator (IVssAdmin).
#include <string>

#include "wincompat/WinTypes.h"

namespace service {

// Registers the hardware provider with its ids, name and `versionText`. A provider registered
// already with the same version counts as registered (a repeated install must succeed); one
// registered with another version is unregistered and registered again with this one, and put
// back as it was when the new registration fails.
HRESULT RegisterVssProvider(const std::wstring& versionText);

// Removes the registration; the coordinator's answer is only logged (nothing to fall back on
// when it refuses, and removal must go on).
void UnregisterVssProvider();

}  // namespace service
