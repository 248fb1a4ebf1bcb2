#pragma once
// Installs the platform seams for one run of vantor-vss: the emulated Windows host described by
// a host folder (registry.reg, host.json, credentials), or the real Win32 seams on Windows.
// Every event the provider reports during the run is also recorded for the tool's output.
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/EventLog.h"

class CWindowsEventLogWrapper;

namespace vantorvss {

struct HostOptions {
  std::filesystem::path hostDir;   // empty: the real host (Windows only)
  std::filesystem::path traceDir;  // empty: <hostDir>/logs, or the product's folder on Windows
};

class InstalledHost {
 public:
  // Throws std::runtime_error with a message for the user when the host cannot be set up.
  explicit InstalledHost(const HostOptions& options);
  ~InstalledHost();
  InstalledHost(const InstalledHost&) = delete;
  InstalledHost& operator=(const InstalledHost&) = delete;

  // Events reported since the host was installed, in order.
  std::vector<platform::EventRecord> Events() const;
  const std::filesystem::path& HostDir() const { return hostDir_; }
  std::filesystem::path TracePath() const;

 private:
  class RecordingEventLog;
  std::filesystem::path hostDir_;
  RecordingEventLog* recorder_ = nullptr;
  std::unique_ptr<CWindowsEventLogWrapper> eventLog_;
};

}  // namespace vantorvss
