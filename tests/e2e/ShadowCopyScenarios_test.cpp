// The road of one shadow copy, end to end: vantor-vss drives the provider against the array
// simulator through the emulated host; the simulator's state is the evidence.
#include "EmulatedHostFixture.h"

#include <set>
#include <string>

namespace {
constexpr const char* kOk = "0x00000000";
constexpr const char* kVeto = "0x80042306";
}  // namespace

using ShadowCopyScenarios = EmulatedHostFixture;

// Create over two groups, import, hide, restore in place, and an aborted set, each command a
// new provider process.
TEST_F(ShadowCopyScenarios, SetOverTwoGroupsIsCommittedImportedHiddenRestoredAndAnAbortLeavesNothing) {
  const auto east = AddGroup("east", {"data", "logs"});
  const auto west = AddGroup("west", {"far"});
  const std::vector<std::string> sources{Volume("data").serialNumber, Volume("far").serialNumber};
  sim_->resetLog();
  const ToolRun created = Vss({"create", sources[0], sources[1]});
  ASSERT_EQ(created.status, 0) << created.output;
  EXPECT_EQ(created.Hr("CommitSnapshots"), kOk);
  EXPECT_EQ(sim_->requestCount(east.id, "bulk_create"), 1);
  EXPECT_EQ(sim_->requestCount(west.id, "bulk_create"), 1);
  ASSERT_EQ(created.report["snapshots"].size(), 2u);
  EXPECT_EQ(SnapshotCount(), 2u);
  EXPECT_TRUE(created.HasEvent(4260));
  EXPECT_LT(created.report["commit_ms"].get<double>(), 10000.0);
  EXPECT_EQ(Trace().find("east-pw"), std::string::npos) << "no password in the trace";
  EXPECT_EQ(created.output.find("east-pw"), std::string::npos);

  const std::string snap = created.report["snapshots"][0]["snapshot_serial"];
  const ToolRun imported = Vss({"import", snap});
  ASSERT_EQ(imported.status, 0) << imported.output;
  EXPECT_TRUE(imported.report["imported"][0]["identity_matches"].get<bool>());
  EXPECT_TRUE(imported.HasEvent(4280));
  const auto serialsOnHost = [this] {
    const auto serials = DiskSerials(hostA_);
    return std::set<std::string>(serials.begin(), serials.end());
  };
  EXPECT_TRUE(serialsOnHost().contains(snap));
  const ToolRun hidden = Vss({"hide", snap});
  EXPECT_EQ(hidden.status, 0) << hidden.output;
  // The snapshot's disk is gone from the host again, its source's is not.
  EXPECT_FALSE(serialsOnHost().contains(snap));
  EXPECT_TRUE(serialsOnHost().contains(sources[0]));

  const auto versionAtSnapshot = VolumeState("data")["data_version"];
  sim_->writeVolume(Volume("data").id);
  const ToolRun restored = Vss({"resync", snap + "=" + sources[0]});
  EXPECT_EQ(restored.Hr("ResyncLuns"), kOk) << restored.output;
  EXPECT_EQ(VolumeState("data")["data_version"], versionAtSnapshot);
  EXPECT_TRUE(VolumeState("data")["online"].get<bool>());
  const ToolRun otherVolume = Vss({"resync", snap + "=" + Volume("logs").serialNumber});
  EXPECT_EQ(otherVolume.Hr("ResyncLuns"), kVeto);
  EXPECT_TRUE(otherVolume.HasEvent(4300));

  const ToolRun aborted = Vss({"create", "--abort-after", "commit", sources[0], sources[1]});
  EXPECT_EQ(aborted.Hr("AbortSnapshots"), kOk) << aborted.output;
  EXPECT_EQ(SnapshotCount(), 2u);  // only the first set's snapshots remain

  // A set with a volume on an array that does not speak REST (found through the driver) is
  // vetoed before anything is taken.
  const auto old = AddGroup("old", {"o1"}, false);
  const ToolRun noRest = Vss({"create", sources[0], Volume("o1").serialNumber});
  EXPECT_EQ(noRest.Hr("EndPrepareSnapshots"), kVeto) << noRest.output;
  EXPECT_TRUE(noRest.HasEvent(4100));
  EXPECT_NE(Trace().find("REST is not supported for array " + old.address), std::string::npos);

  // An unknown volume fails the command; a usage error has its own status.
  EXPECT_EQ(Vss({"create", "ffffffffffffffffffffffffffffffff"}).status, 1);
  EXPECT_EQ(Vss({"create"}).status, 2);
  EXPECT_EQ(Vss({"resync", "no-equals-sign"}).status, 2);
  EXPECT_EQ(SnapshotCount(), 2u);
}
