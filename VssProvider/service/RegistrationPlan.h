#pragma once
// The order of a /RegServer or /Service run, as a RegistrationSequence. The registry part is
// plain data written through the registry seam; what only Windows has (the service control
// manager, the type library, the VSS coordinator) comes in as HostActions, so that the same
// plan runs under test with doubles.
//
// Upgrade safety: before anything changes, the plan records every registry key it will touch
// and the installed service; when a later step fails, the rollback puts both back as they
// were. A failing re-registration therefore leaves the earlier, working registration in
// place, the VSS provider registration included (the VSS step is last and is never undone).
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "service/RegistrationSequence.h"
#include "service/RegistrationWriter.h"

namespace service {

// What the service control manager held before: enough to create the service again.
struct InstalledService {
  std::wstring binaryPath;
  std::wstring displayName;
  DWORD startType = 0;
  bool running = false;
};

struct HostActions {
  std::function<std::optional<InstalledService>()> queryService;  // empty: not installed
  std::function<HRESULT()> removeService;
  std::function<HRESULT()> installService;
  std::function<HRESULT(const InstalledService&)> restoreService;
  std::function<HRESULT()> registerTypeLib;
  std::function<HRESULT()> registerVssProvider;
  // Makes the trace folder safe before the service can first write to it; empty: no step.
  std::function<HRESULT()> secureTraceFolder;
};

struct RegistrationOptions {
  ClassesRoot root;
  std::wstring modulePath;
  std::wstring serviceName;
  bool asService = false;
  // The AppID's AccessPermission value (a self-relative security descriptor); empty: none.
  std::vector<unsigned char> accessPermission;
};

// The keys below the classes root that a registration writes (AppID, class, ProgIDs and type
// library), relative to the root's prefix.
std::vector<std::wstring> RegisteredClassesKeys();

RegistrationSequence BuildRegistration(const RegistrationOptions& options, HostActions host);

}  // namespace service
