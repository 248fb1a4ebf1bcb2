// In-place restores that fail part-way, and creates that an array finishes after the provider
// gave up, end to end: vantor-vss against the simulator, the simulator's state as evidence.
#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include "EmulatedHostFixture.h"

namespace {
constexpr const char* kVeto = "0x80042306";
// The provider gives up on an answer after about twice this; the simulator's late work comes
// after that.
constexpr int kReceiveTimeoutMs = 1000;

class RestoreAndSweep : public EmulatedHostFixture {
 protected:
  void SetUp() override {
    EmulatedHostFixture::SetUp();
    SetConfiguration(hostA_, "\"RestReceiveTimeout\"=dword:000003e8");
    group_ = AddGroup("east", {"db-data", "db-log"});
  }

  // A shadow copy of both volumes, then a write to each; returns "snap=volume" pairs.
  std::vector<std::string> SnapshotThenWrite() {
    const ToolRun created = Vss({"create", Volume("db-data").serialNumber, Volume("db-log").serialNumber});
    EXPECT_EQ(created.status, 0) << created.output;
    std::vector<std::string> pairs;
    for (const auto& s : created.report["snapshots"]) {
      const std::string volume = s["source_serial"];
      pairs.push_back(s["snapshot_serial"].get<std::string>() + "=" + volume);
    }
    for (const char* name : {"db-data", "db-log"}) {
      snapshotData_[name] = VolumeState(name)["data_version"];
      sim_->writeVolume(Volume(name).id);
    }
    return pairs;
  }
  bool Restored(const std::string& name) { return VolumeState(name)["data_version"] == snapshotData_[name]; }
  ToolRun Resync(const std::vector<std::string>& pairs) {
    std::vector<std::string> args{"resync"};
    args.insert(args.end(), pairs.begin(), pairs.end());
    return Vss(args);
  }
  // Waits (bounded) until the group holds `count` snapshots.
  bool WaitForSnapshots(std::size_t count) {
    for (int i = 0; i < 100 && SnapshotCount() != count; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return SnapshotCount() == count;
  }

  arraysim::GroupInfo group_;
  std::map<std::string, nlohmann::json> snapshotData_;
};

}  // namespace

// db-log's restore fails, or its offline is carried out with the answer lost, or only after the
// provider gave up waiting: the call vetoes, the report names both pairs, both volumes end
// online, and only db-data holds its snapshot's data.
TEST_F(RestoreAndSweep, PairThatFailsPartWayVetoesReportsBothPairsAndEndsOnline) {
  const auto pairs = SnapshotThenWrite();
  ASSERT_EQ(pairs.size(), 2u);
  ASSERT_NE(pairs[0].find(Volume("db-data").serialNumber), std::string::npos);  // the order VSS would use
  struct Case {
    const char* name;
    const char* op;
    int skip;  // requests of that operation let through: db-data's
    bool lost;
    int delayMs;
    int restores;
  };
  for (const Case& c : {Case{"restore fails", "restore", 1, false, 0, 2},
                        Case{"offline answer lost", "update:volumes", 2, true, 0, 1},
                        Case{"offline carried out late", "update:volumes", 2, false, 2 * kReceiveTimeoutMs + 800, 1}}) {
    SCOPED_TRACE(c.name);
    arraysim::FaultSpec fault;
    fault.group = group_.id;
    fault.op = c.op;
    fault.skip = c.skip;
    fault.lost = c.lost;
    fault.delayMs = c.delayMs;
    if (!c.lost && c.delayMs == 0) fault.status = 500, fault.code = "SM_internal";
    sim_->injectFault(fault);
    const std::size_t traceBefore = Trace().size();
    const ToolRun restored = Resync(pairs);
    EXPECT_EQ(restored.status, 1) << restored.output;
    EXPECT_EQ(restored.Hr("ResyncLuns"), kVeto);
    EXPECT_TRUE(Restored("db-data"));
    EXPECT_FALSE(Restored("db-log"));
    EXPECT_TRUE(VolumeState("db-data")["online"].get<bool>());
    EXPECT_TRUE(VolumeState("db-log")["online"].get<bool>());
    EXPECT_EQ(sim_->requestCount(group_.id, "restore"), c.restores);
    const std::string trace = Trace().substr(traceBefore);
    EXPECT_NE(trace.find("Target Vol Name: db-data Restore Operation Result : SUCCESS"), std::string::npos);
    EXPECT_NE(trace.find("Target Vol Name: db-log Restore Operation Result : FAILED"), std::string::npos);
    if (c.delayMs > 0) {  // the late offline came while the provider watched, and was undone
      EXPECT_NE(trace.find("Volume db-log went offline after it was online again"), std::string::npos);
    }
    sim_->resetLog();
    for (const char* name : {"db-data", "db-log"}) sim_->writeVolume(Volume(name).id);
  }
}

// The array makes the set two seconds after the provider gave up waiting for it. Each run is a
// new provider process: only the journal knows of the failed set. The next create over the
// group removes its snapshots; so does prune, whatever their age.
TEST_F(RestoreAndSweep, CreateFinishedAfterTheProviderGaveUpIsSweptByTheNextCreateOrPrune) {
  const std::vector<std::string> volumes{Volume("db-data").serialNumber, Volume("db-log").serialNumber};
  std::set<std::string> journaled;  // an entry stays until a search ten minutes on finds nothing
  for (const bool byPrune : {false, true}) {
    SCOPED_TRACE(byPrune ? "prune" : "next create");
    arraysim::FaultSpec fault;
    fault.group = group_.id;
    fault.op = "bulk_create";
    fault.delayMs = 2 * kReceiveTimeoutMs + 2000;
    sim_->injectFault(fault);
    const std::size_t before = SnapshotCount();
    EXPECT_EQ(Vss({"create", volumes[0], volumes[1]}).status, 1);
    ASSERT_TRUE(WaitForSnapshots(before + 2));

    const ToolRun listed = Vss({"snapshots"});
    std::string failedSet;
    for (const auto& entry : listed.report["abandoned_sets"])
      if (journaled.insert(entry["set_id"]).second) failedSet = entry["set_id"];
    ASSERT_FALSE(failedSet.empty()) << listed.output;
    for (const auto& s : listed.report["snapshots"]) EXPECT_EQ(s["abandoned"], s["set_id"] == failedSet);

    const ToolRun next = byPrune ? Vss({"prune", "--apply"}) : Vss({"create", volumes[0], volumes[1]});
    EXPECT_EQ(next.status, 0) << next.output;
    EXPECT_EQ(SnapshotCount(), byPrune ? before : before + 2);  // the shadow copy of the first create stays
    const nlohmann::json state = sim_->state();
    for (const auto& s : state["groups"][0]["snapshots"]) EXPECT_NE(s["name"], failedSet);
  }
}

TEST_F(RestoreAndSweep, AnotherHostsVolumeIsNeverRestoredFromItsDocument) {
  // Host B's own volume on the same group; host A does not see it.
  arraysim::VolumeSpec spec;
  spec.name = "b-data";
  spec.acl = {{"iscsi", kInitiatorB}};
  volumes_.push_back(sim_->addVolume(group_.id, spec));
  ASSERT_EQ(sim_->iscsiLogin(kInitiatorB, Volume("b-data").targetName).status, 0u);
  Configure(hostB_, group_);
  const ToolRun createdOnB = VssOn(hostB_, {"create", Volume("b-data").serialNumber});
  ASSERT_EQ(createdOnB.status, 0) << createdOnB.output;
  const std::string snap = createdOnB.report["snapshots"][0]["snapshot_serial"];
  const auto dataOfB = VolumeState("b-data")["data_version"];
  const auto sessionsOfB = SessionTargets(hostB_);

  // An operator's mistake: B's document on A.
  std::filesystem::copy_file(hostB_.dir / "shadow-copies.json", hostA_.dir / "shadow-copies.json",
                             std::filesystem::copy_options::overwrite_existing);
  sim_->resetLog();
  const ToolRun restored = Vss({"resync", snap + "=" + Volume("b-data").serialNumber});
  EXPECT_NE(restored.status, 0) << restored.output;
  EXPECT_EQ(restored.Hr("ResyncLuns"), kVeto);
  EXPECT_EQ(sim_->requestCount(group_.id, "update:volumes"), 0);
  EXPECT_EQ(sim_->requestCount(group_.id, "restore"), 0);
  EXPECT_EQ(VolumeState("b-data")["data_version"], dataOfB);
  EXPECT_TRUE(VolumeState("b-data")["online"].get<bool>());
  EXPECT_EQ(SessionTargets(hostB_), sessionsOfB);
  EXPECT_NE(Trace().find("Volume b-data is not presented to this host"), std::string::npos);
}
