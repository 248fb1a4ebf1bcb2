#pragma once
// One run of VSS against the provider (a backup, an import, a release): a fresh provider
// object, OnLoad first and OnUnload last, and every call recorded with its HRESULT, its time
// and, for the calls that answer it, whether the provider supports the LUNs.
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "ProviderSession.h"

namespace vantorvss {

struct CallRecord {
  std::string name;
  HRESULT hr;
  double ms;
  std::optional<bool> supported;  // AreLunsSupported and FillInLunInfo only
  std::string lun;                // the LUN serial number the call was about, if one
};

class VssRun {
 public:
  VssRun();
  ~VssRun();
  VssRun(const VssRun&) = delete;
  VssRun& operator=(const VssRun&) = delete;

  IVssHardwareSnapshotProviderEx& Hardware() const { return session_.Hardware(); }
  IVssProviderCreateSnapshotSet& SnapshotSet() const { return session_.SnapshotSet(); }

  // Runs one provider call, records it, and returns its HRESULT.
  template <class Fn>
  HRESULT Call(const std::string& name, Fn&& call, const std::string& lun = {}) {
    const auto start = std::chrono::steady_clock::now();
    const HRESULT hr = call();
    const auto end = std::chrono::steady_clock::now();
    calls_.push_back({name, hr, std::chrono::duration<double, std::milli>(end - start).count(), std::nullopt, lun});
    return hr;
  }

  // AreLunsSupported for the LUNs of one volume; the answer, FALSE also when the call failed.
  bool AreLunsSupported(LONG context, LONG count, VSS_PWSZ* devices, VDS_LUN_INFORMATION* luns);
  // FillInLunInfo on one LUN (which the provider may rewrite); the answer.
  bool FillInLunInfo(VSS_PWSZ device, VDS_LUN_INFORMATION& lun);

  // Ends the run (OnUnload) and hands over what was called.
  std::vector<CallRecord> Finish();
  const std::vector<CallRecord>& Calls() const { return calls_; }
  bool AllSucceeded() const;

 private:
  ProviderSession session_;
  std::vector<CallRecord> calls_;
  bool unloaded_ = false;
};

}  // namespace vantorvss
