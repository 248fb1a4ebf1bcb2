#pragma once
// The one place that makes a provider object and hands out its VSS interfaces. Commands reach
// the provider only through these three interfaces, as VSS does, so the object behind them may
// live in this process or in another one.
#include "wincompat/VssTypes.h"

namespace vantorvss {

class ProviderSession {
 public:
  // A fresh provider object in this process. Throws std::runtime_error when it cannot be made.
  ProviderSession();
  ~ProviderSession();
  ProviderSession(const ProviderSession&) = delete;
  ProviderSession& operator=(const ProviderSession&) = delete;

  IVssHardwareSnapshotProviderEx& Hardware() const { return *hardware_; }
  IVssProviderCreateSnapshotSet& SnapshotSet() const { return *snapshotSet_; }
  IVssProviderNotifications& Notifications() const { return *notifications_; }

 private:
  void Release();

  IVssHardwareSnapshotProviderEx* hardware_ = nullptr;
  IVssProviderCreateSnapshotSet* snapshotSet_ = nullptr;
  IVssProviderNotifications* notifications_ = nullptr;
};

}  // namespace vantorvss
