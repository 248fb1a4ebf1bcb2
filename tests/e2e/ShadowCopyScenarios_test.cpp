// The road of one shadow copy, end to end: vantor-vss drives the provider against the array
// simulator through the emulated host; the simulator's state is the evidence.
#include "EmulatedHostFixture.h"

#include <set>
#include <string>

namespace {
constexpr const char* kOk = "0x00000000";
constexpr const char* kVeto = "0x80042306";
}  // namespace

class ShadowCopyScenarios : public EmulatedHostFixture {};

TEST_F(ShadowCopyScenarios, OneGroupShadowCopyIsCommittedImportedAndHidden) {
  AddGroup("east", {"data", "logs"});
  const ToolRun created = Vss({"create", Volume("data").serialNumber, Volume("logs").serialNumber});
  ASSERT_EQ(created.status, 0) << created.output;
  EXPECT_EQ(created.Hr("CommitSnapshots"), kOk);
  ASSERT_EQ(created.report["snapshots"].size(), 2u);
  EXPECT_EQ(SnapshotCount(), 2u);
  EXPECT_TRUE(created.HasEvent(4260));
  EXPECT_LT(created.report["commit_ms"].get<double>(), 10000.0);

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
  const std::set<std::string> after = serialsOnHost();
  EXPECT_FALSE(after.contains(snap));
  EXPECT_TRUE(after.contains(Volume("data").serialNumber));
}

TEST_F(ShadowCopyScenarios, TwoGroupsCommitOneRequestEachAndAbortAfterCommitLeavesNothing) {
  const auto east = AddGroup("east", {"e1"});
  const auto west = AddGroup("west", {"w1"});
  sim_->resetLog();
  const ToolRun created = Vss({"create", Volume("e1").serialNumber, Volume("w1").serialNumber});
  ASSERT_EQ(created.status, 0) << created.output;
  EXPECT_EQ(sim_->requestCount(east.id, "bulk_create"), 1);
  EXPECT_EQ(sim_->requestCount(west.id, "bulk_create"), 1);
  EXPECT_EQ(SnapshotCount(), 2u);

  const ToolRun aborted = Vss({"create", "--abort-after", "commit", Volume("e1").serialNumber, Volume("w1").serialNumber});
  EXPECT_EQ(aborted.Hr("AbortSnapshots"), kOk) << aborted.output;
  EXPECT_EQ(SnapshotCount(), 2u);  // only the first set's snapshots remain
}

TEST_F(ShadowCopyScenarios, InPlaceRestoreBringsBackTheSnapshotsDataAndRefusesOtherVolumes) {
  AddGroup("east", {"data", "other"});
  AddGroup("west", {"far"});
  const ToolRun created = Vss({"create", Volume("data").serialNumber});
  ASSERT_EQ(created.status, 0) << created.output;
  const std::string snap = created.report["snapshots"][0]["snapshot_serial"];
  const auto versionAtSnapshot = VolumeState("data")["data_version"];
  sim_->writeVolume(Volume("data").id);
  ASSERT_NE(VolumeState("data")["data_version"], versionAtSnapshot);

  const ToolRun restored = Vss({"resync", snap + "=" + Volume("data").serialNumber});
  EXPECT_EQ(restored.Hr("ResyncLuns"), kOk) << restored.output;
  EXPECT_EQ(VolumeState("data")["data_version"], versionAtSnapshot);
  EXPECT_TRUE(VolumeState("data")["online"].get<bool>());

  const ToolRun otherVolume = Vss({"resync", snap + "=" + Volume("other").serialNumber});
  EXPECT_EQ(otherVolume.Hr("ResyncLuns"), kVeto);
  EXPECT_TRUE(otherVolume.HasEvent(4300));
  const ToolRun otherGroup = Vss({"resync", snap + "=" + Volume("far").serialNumber});
  EXPECT_EQ(otherGroup.Hr("ResyncLuns"), kVeto);
  EXPECT_TRUE(otherGroup.HasEvent(4340));
}

TEST_F(ShadowCopyScenarios, UnknownVolumesAndUsageErrorsHaveTheirOwnExitStatus) {
  AddGroup("east", {"data"});
  EXPECT_EQ(Vss({"create", "ffffffffffffffffffffffffffffffff"}).status, 1);
  EXPECT_EQ(Vss({"create"}).status, 2);
  EXPECT_EQ(Vss({"resync", "no-equals-sign"}).status, 2);
  EXPECT_EQ(SnapshotCount(), 0u);
}

TEST_F(ShadowCopyScenarios, NoPasswordReachesTheTraceOrTheEvents) {
  AddGroup("east", {"data"});
  const ToolRun created = Vss({"create", Volume("data").serialNumber});
  ASSERT_EQ(created.status, 0) << created.output;
  EXPECT_EQ(Trace().find("east-pw"), std::string::npos);
  EXPECT_EQ(created.output.find("east-pw"), std::string::npos);
}
