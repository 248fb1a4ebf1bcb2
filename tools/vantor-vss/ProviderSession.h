#pragma once
// The one place that makes a provider object and hands out its VSS interfaces. Commands reach
// the provider only through these three interfaces, as VSS does, so the object behind them may
// live in this process or in another one: with --provider installed (Windows) it is created
// through COM in the installed service, as VSS creates it.
#include <memory>
#include <string>

#include "wincompat/VssTypes.h"

namespace vantorvss {

enum class ProviderSource {
  InProcess,  // the provider library linked into the tool
  Installed,  // CoCreateInstance(CLSCTX_LOCAL_SERVER) from the installed service (Windows)
};

// "in-process" or "installed"; throws std::invalid_argument for anything else.
ProviderSource ParseProviderSource(const std::string& text);

class ProviderSession {
 public:
  // Every session of this process uses `source` (set once, from the command line).
  static void UseSource(ProviderSource source);

  // A fresh provider object. Throws std::runtime_error when it cannot be made.
  ProviderSession();
  ~ProviderSession();
  ProviderSession(const ProviderSession&) = delete;
  ProviderSession& operator=(const ProviderSession&) = delete;

  IVssHardwareSnapshotProviderEx& Hardware() const { return *hardware_; }
  IVssProviderCreateSnapshotSet& SnapshotSet() const { return *snapshotSet_; }
  IVssProviderNotifications& Notifications() const { return *notifications_; }

 private:
  class Apartment;
  void Release();

  std::unique_ptr<Apartment> apartment_;  // made first, ended last: COM outlives the pointers
  IVssHardwareSnapshotProviderEx* hardware_ = nullptr;
  IVssProviderCreateSnapshotSet* snapshotSet_ = nullptr;
  IVssProviderNotifications* notifications_ = nullptr;
};

}  // namespace vantorvss
