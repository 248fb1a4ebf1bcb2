// What a snapshot set left on a simulated group when its create failed after the array had
// made the snapshots: the wrapper finds them by the set's name, or remembers them from the
// create's answer when the array cannot be searched.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "SimulatedArray.h"
#include "array/VaVssArrayWrapper.h"
#include "provider/SnapshotSetInfo.h"
#include "wincompat/Guid.h"

namespace {

class SnapshotsOfSet : public arraytest::OverSimulatedArray {
 protected:
  void SetUp() override {
    OverSimulatedArray::SetUp();
    wrapper = Connect(group);
  }
  std::shared_ptr<VaSnapshotInfo> Lun(const std::string& volumeName) {
    const auto info = AddVolume(volumeName);
    std::shared_ptr<Vantor::VolumeRecord> volume;
    EXPECT_TRUE(wrapper->FindSerial(info.serialNumber, volume));
    auto lun = std::make_shared<VaSnapshotInfo>();
    lun->mSourceSerialNumber = info.serialNumber;
    lun->mVolume = volume;
    lun->mVolumeName = volumeName;
    return lun;
  }
  void FailNext(const std::string& op) { sim().injectFault({group.id, op, 500, "SM_internal", "lost it", 1}); }
  std::vector<std::string> Ids(const std::vector<Vantor::SnapshotRecord>& snapshots) {
    std::vector<std::string> ids;
    for (const auto& s : snapshots) ids.push_back(s.mId);
    return ids;
  }
  std::vector<std::string> IdsOnArray() {
    std::vector<std::string> ids;
    for (const auto& s : Snapshots()) ids.push_back(s["id"]);
    return ids;
  }

  std::unique_ptr<VaVssArrayWrapper> wrapper;
};

}  // namespace

TEST_F(SnapshotsOfSet, CreateWhoseReadBackFailedIsRememberedUntilTheArrayCanBeSearched) {
  const auto data = Lun("data");
  const auto logs = Lun("logs");
  const GUID set = wincompat::NewGuid();
  FailNext("search:snapshots");  // the read-back after the bulk create
  EXPECT_EQ(wrapper->CreateSnapshotSet(set, {data, logs}), VSS_E_PROVIDER_VETO);
  EXPECT_FALSE(data->mSnapshotExists);
  const auto made = IdsOnArray();
  ASSERT_EQ(made.size(), 2u);

  // The search fails too: what the create's answer named is handed out all the same, once.
  FailNext("search:snapshots");
  std::vector<Vantor::SnapshotRecord> found;
  EXPECT_EQ(wrapper->FindSnapshotsOfSet(set, found), E_FAIL);
  EXPECT_EQ(Ids(found), made);
  EXPECT_EQ(found[0].mName, wincompat::GuidToString(set));
  EXPECT_TRUE(trace.Contains("** FindSnapshotsOfSet() (findSnapshotsByName) failed! '"));

  // Now the array answers: it finds the set's snapshots by name, and only those.
  const GUID other = wincompat::NewGuid();
  ASSERT_EQ(wrapper->CreateSnapshotSet(other, {Lun("unrelated")}), S_OK);
  EXPECT_EQ(wrapper->FindSnapshotsOfSet(set, found), S_OK);
  EXPECT_EQ(Ids(found), made);
  EXPECT_EQ(found[1].mVolName, "logs");
  for (const auto& snapshot : found)
    EXPECT_EQ(wrapper->DeleteSnapshot(snapshot.mId, snapshot.mName, snapshot.mVolName), S_OK);
  EXPECT_EQ(wrapper->FindSnapshotsOfSet(set, found), S_OK);
  EXPECT_TRUE(found.empty());
  EXPECT_EQ(IdsOnArray().size(), 1u);
}

TEST_F(SnapshotsOfSet, AnswerThatHidesASnapshotsNameIsNoAnswer) {
  const auto data = Lun("data");
  const GUID set = wincompat::NewGuid();
  ASSERT_EQ(wrapper->CreateSnapshotSet(set, {data}), S_OK);
  arraysim::FaultSpec hidden;
  hidden.group = group.id;
  hidden.op = "search:snapshots";
  hidden.omit = "name";
  sim().injectFault(hidden);
  std::vector<Vantor::SnapshotRecord> found;
  EXPECT_EQ(wrapper->FindSnapshotsOfSet(set, found), E_FAIL);
  EXPECT_TRUE(found.empty());
  EXPECT_EQ(wrapper->FindSnapshotsOfSet(set, found), S_OK);
  EXPECT_EQ(Ids(found), std::vector<std::string>{data->mSnapshotId});
}
