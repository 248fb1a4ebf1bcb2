#pragma once
// The provider created in-process, called the way VSS calls it, with every call's HRESULT and
// duration recorded for the tool's report.
#include <chrono>
#include <string>
#include <vector>

#include "provider/VaVssHwProvider.h"

namespace vantorvss {

struct CallRecord {
  std::string name;
  HRESULT hr;
  double ms;
};

class ProviderSession {
 public:
  ProviderSession();
  ~ProviderSession();
  ProviderSession(const ProviderSession&) = delete;
  ProviderSession& operator=(const ProviderSession&) = delete;

  CVaVssHwProvider& Provider() { return *provider_; }
  IVssHardwareSnapshotProviderEx& Hardware() { return *provider_; }
  IVssProviderCreateSnapshotSet& SnapshotSet() { return *provider_; }
  IVssProviderNotifications& Notifications() { return *provider_; }

  // Runs one provider call, records it, and returns its HRESULT.
  template <class Call>
  HRESULT Run(const std::string& name, Call&& call) {
    const auto start = std::chrono::steady_clock::now();
    const HRESULT hr = call();
    const auto end = std::chrono::steady_clock::now();
    calls_.push_back({name, hr, std::chrono::duration<double, std::milli>(end - start).count()});
    return hr;
  }

  const std::vector<CallRecord>& Calls() const { return calls_; }
  bool AllSucceeded() const;

 private:
  CVaVssHwProvider* provider_ = nullptr;
  std::vector<CallRecord> calls_;
};

}  // namespace vantorvss
