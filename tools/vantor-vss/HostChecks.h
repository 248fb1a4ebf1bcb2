#pragma once
// What doctor checks on the host itself, beyond the array groups: is the provider registered
// with COM and VSS, is its service installed and able to start, can the trace be written, and
// on the emulated host, are the host's files in order. Each check ends in a verdict and, when
// it is not "ok", what the administrator should do.
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "wincompat/WinTypes.h"

namespace vantorvss {

enum class Verdict { Ok, Warning, Fail };

struct HostCheck {
  std::string name;
  Verdict verdict = Verdict::Ok;
  std::string detail;
  std::string action;  // empty when nothing needs doing
};

const char* VerdictText(Verdict verdict);
nlohmann::json CheckJson(const HostCheck& check);

// The provider's service as the service control manager describes it (on the emulated host:
// as its registry does; whether it runs is not known there).
struct ServiceState {
  bool installed = false;
  std::optional<DWORD> startType;  // 2 automatic, 3 on demand, 4 disabled
  std::optional<bool> running;
  std::string error;  // the manager could not be asked
};
// The real host's service control manager (Windows only).
ServiceState QueryProviderService();
// The service's key in the registry the tool reads: how the emulated host, which has no
// service control manager, describes an installed service.
ServiceState QueryProviderServiceKey();

// hostDir empty: the real Windows host. traceDir: where this run writes its trace.
std::vector<HostCheck> CheckHost(const std::filesystem::path& hostDir, const std::filesystem::path& traceDir);

struct Report;
// doctor's host half: the checks as lines and under "checks"; 1 when any failed, else 0.
int RunHostChecks(const std::filesystem::path& hostDir, const std::filesystem::path& traceDir, Report& report);

}  // namespace vantorvss
