#pragma once
// The array half of CommitSnapshots: every group of the set takes its snapshots at the same
// time, so that VSS's write freeze lasts as long as the slowest group rather than the sum.
#include <memory>
#include <vector>

#include "provider/SnapshotSetInfo.h"
#include "wincompat/Guid.h"

namespace provider {

// Has each group create its snapshots of the set (the bulk create and the read-back, filling
// the group's own LUN records), all groups at once: the first on the calling thread, every
// other on a worker of its own. A worker touches only its group (wrapper, connection, session,
// records) and the process-wide logger and event log; its trace lines reach the trace as one
// block when it ends. Returns when every worker has ended, also when a group fails or is late
// (each request is bounded by the deadline that the caller set on the wrappers), with each
// group's result in the groups' order. A group whose worker cannot be started is asked from
// the calling thread after the others were started.
std::vector<HRESULT> CreateOnEveryGroup(const GUID& snapshotSetId,
                                        const std::vector<std::shared_ptr<VaSnapshotGroup>>& groups);

}  // namespace provider
