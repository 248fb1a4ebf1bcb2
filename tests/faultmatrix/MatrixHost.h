#pragma once
// The matrix's world: a simulator with two groups of one volume each, the emulated host
// around it, and providers created in-process and called the way VSS calls them. Every
// provider reaches the groups through the real array layer over HTTPS; only the discovery of
// the groups is given (both groups, with their credentials).
#include <memory>
#include <string>
#include <vector>

#include "HostTestSupport.h"
#include "SimulatedHost.h"
#include "provider/VaVssHwProvider.h"
#include "wincompat/Guid.h"

namespace faultmatrix {

// The calls of one VSS run and what each answered.
struct Calls {
  std::vector<std::pair<std::string, HRESULT>> list;

  HRESULT Add(const std::string& name, HRESULT hr) {
    list.emplace_back(name, hr);
    return hr;
  }
  bool AllSucceeded() const;
  bool Called(const std::string& name) const;
  std::string Text() const;  // "Name=0x........ ..." for failure messages
};

struct ProviderRelease {
  void operator()(CVaVssHwProvider* provider) const;
};
using ProviderPtr = std::unique_ptr<CVaVssHwProvider, ProviderRelease>;

class MatrixHost {
 public:
  MatrixHost();

  arraysim::Simulator& sim() const { return host_.sim(); }
  const std::vector<arraysim::GroupInfo>& groups() const { return groups_; }
  const std::vector<arraysim::VolumeInfo>& volumes() const { return volumes_; }
  const hosttest::EventCapture& events() const { return events_; }

  // Back to the state the constructor left: no faults, snapshots, iSCSI sessions or log, every
  // volume online. Cheaper than a new simulator, whose servers take a while to stop.
  void Reset();

  // A new provider object, as VSS makes one per run.
  ProviderPtr NewProvider() const;

  // Prepares and commits a set over both volumes; a step that fails is followed by
  // AbortSnapshots, as VSS does. With `finish` a committed set is also closed (GetTargetLuns,
  // PostFinalCommitSnapshots), otherwise it is left committed.
  Calls CreateSet(CVaVssHwProvider& provider, const VSS_ID& set, bool finish) const;
  Calls Import(CVaVssHwProvider& provider) const;  // LocateLuns over every snapshot
  Calls Hide(CVaVssHwProvider& provider) const;    // OnLunStateChange(mask) over every snapshot
  // ResyncLuns of the last volume from its snapshot, waited for.
  Calls Resync(CVaVssHwProvider& provider) const;

  std::size_t SnapshotCount() const { return SnapshotSerials().size(); }
  std::vector<std::string> SnapshotSerials() const;
  // The simulator's records of `kind` ("volumes", "snapshots") over every group.
  std::vector<nlohmann::json> Records(const char* kind) const;

 private:
  hosttest::EventCapture events_;
  // Mutable: the simulator is shared state behind its own lock, and reading it changes nothing.
  mutable hosttest::SimulatedHost host_;
  std::vector<arraysim::GroupInfo> groups_;
  std::vector<arraysim::VolumeInfo> volumes_;
};

}  // namespace faultmatrix
