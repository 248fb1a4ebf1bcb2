#pragma once
// The service's entry in the service control manager. Failures are written to the trace and
// the event log (never shown in a window: the installer runs these where nobody sees one).
#include <optional>
#include <string>

#include "service/RegistrationPlan.h"

namespace service {

// Creates the service unless it exists: own process, demand start, normal error control, the
// quoted executable path, depending on RPCSS, as the local system account.
bool InstallService(const std::wstring& serviceName, const std::wstring& modulePath);

// Stops the service when it runs, waits for it to stop, and deletes it. A service that is not
// installed (unknown to the service control manager and without its registry key) counts as
// removed.
bool UninstallService(const std::wstring& serviceName);

// The service's configuration and whether it runs; empty when it is not installed.
std::optional<InstalledService> QueryInstalledService(const std::wstring& serviceName);

// Creates the service again as `before` describes it (as the local system account, depending
// on RPCSS, like InstallService) and starts it when it ran.
bool RestoreService(const std::wstring& serviceName, const InstalledService& before);

}  // namespace service
