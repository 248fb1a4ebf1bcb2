// Shadow copies of a virtual machine's disks, and of a set that an array without REST spoils,
// called as VSS calls the provider.
#include "EmulatedHostFixture.h"

namespace {
constexpr const char* kOk = "0x00000000";
constexpr const char* kVeto = "0x80042306";

std::vector<std::string> CallNames(const ToolRun& run) {
  std::vector<std::string> names;
  for (const auto& call : run.report.value("calls", nlohmann::json::array())) names.push_back(call["name"]);
  return names;
}
}  // namespace

class VirtualDiskScenarios : public EmulatedHostFixture {};

TEST_F(VirtualDiskScenarios, TwoDisksOfAThreeVolumeCollectionSnapshotTheWholeCollectionUnlessConfiguredNot) {
  AddVirtualDiskGroup("vms", {"vm-1", "vm-2", "vm-3"}, "vc-web");
  const std::string disk1 = Volume("vm-1").virtualDiskSerial;
  const std::string disk2 = Volume("vm-2").virtualDiskSerial;
  const ToolRun created = Vss({"create", disk1, disk2});
  ASSERT_EQ(created.status, 0) << created.output;
  EXPECT_EQ(CallNames(created),
            (std::vector<std::string>{"OnLoad", "AreLunsSupported", "FillInLunInfo", "AreLunsSupported", "FillInLunInfo",
                                      "BeginPrepareSnapshot", "BeginPrepareSnapshot", "EndPrepareSnapshots",
                                      "PreCommitSnapshots", "CommitSnapshots", "PostCommitSnapshots", "GetTargetLuns",
                                      "PreFinalCommitSnapshots", "PostFinalCommitSnapshots", "OnUnload"}));
  // A virtual disk is supported by AreLunsSupported alone; FillInLunInfo's answer is recorded.
  for (const auto& call : created.Calls("AreLunsSupported")) EXPECT_TRUE(call["supported"].get<bool>());
  for (const auto& call : created.Calls("FillInLunInfo")) EXPECT_FALSE(call["supported"].get<bool>());
  EXPECT_TRUE(created.HasEvent(4350));
  ASSERT_EQ(created.report["snapshots"].size(), 2u);
  EXPECT_EQ(created.report["snapshots"][0]["source_serial"], disk1);
  EXPECT_EQ(created.report["snapshots"][1]["source_serial"], disk2);
  EXPECT_EQ(SnapshotCount(), 3u);  // the third volume of the collection too

  SetConfiguration(hostA_, "\"NoAdditionalVolumeInSnapshot\"=dword:00000001");
  const ToolRun named = Vss({"create", disk1, disk2});
  ASSERT_EQ(named.status, 0) << named.output;
  EXPECT_EQ(SnapshotCount(), 5u);
}

TEST_F(VirtualDiskScenarios, SetWhoseSecondVolumeIsOnAnArrayWithoutRestIsVetoedAtEndPrepare) {
  const auto east = AddGroup("east", {"e1"});
  AddGroupWithoutRest("old", {"o1"});
  const ToolRun created = Vss({"create", Volume("e1").serialNumber, Volume("o1").serialNumber});
  EXPECT_EQ(created.status, 1);
  // Both volumes are array LUNs; the array's answer comes only when the set is placed.
  EXPECT_EQ(created.CountCalls("AreLunsSupported"), 2);
  for (const auto& call : created.Calls("AreLunsSupported")) EXPECT_TRUE(call["supported"].get<bool>());
  const auto filled = created.Calls("FillInLunInfo");
  ASSERT_EQ(filled.size(), 2u);
  EXPECT_TRUE(filled[0]["supported"].get<bool>());
  EXPECT_FALSE(filled[1]["supported"].get<bool>());
  EXPECT_EQ(created.CountCalls("BeginPrepareSnapshot"), 2);
  EXPECT_EQ(created.Hr("EndPrepareSnapshots"), kVeto) << created.output;
  EXPECT_EQ(created.Hr("AbortSnapshots"), kOk);
  EXPECT_EQ(created.CountCalls("CommitSnapshots"), 0);
  EXPECT_TRUE(created.HasEvent(4100));
  EXPECT_TRUE(created.HasEvent(4400));
  EXPECT_EQ(sim_->requestCount(east.id, "bulk_create"), 0);
  EXPECT_EQ(SnapshotCount(), 0u);
}
