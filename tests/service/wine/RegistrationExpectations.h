#pragma once
// The registry keys a registration of the provider leaves below a classes root, checked key by
// key: exactly these subkeys and values.
#include <windows.h>

#include <string>

#include "HostHarness.h"

namespace hosttest {

// `providerPath` is the executable the class's LocalServer32 must name.
void ExpectRegistered(HKEY root, const std::wstring& prefix, bool asService,
                      const std::wstring& providerPath = InstalledProviderPath());
void ExpectNotRegistered(HKEY root, const std::wstring& prefix);

}  // namespace hosttest
