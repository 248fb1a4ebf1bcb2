// The operations wrapper against a simulated group and the emulated host: serial lookups with
// their cache, snapshot sets (one volume behind several LUNs, virtual-volume collections, what
// a failed create left), import and removal of snapshots over iSCSI, and their failure lines.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "SimulatedArray.h"
#include "array/VaVssArrayWrapper.h"
#include "array/VantorArray.h"
#include "messages/VantorVssMessages.h"
#include "provider/SnapshotSetInfo.h"
#include "wincompat/Guid.h"
#include "wincompat/WideString.h"

namespace {

using nlohmann::json;
using Luns = std::vector<std::shared_ptr<VaSnapshotInfo>>;

class ArrayWrapper : public arraytest::OverSimulatedArray {
 protected:
  void SetUp() override {
    OverSimulatedArray::SetUp();
    wrapper = Connect(group);
  }

  std::shared_ptr<Vantor::VolumeRecord> Volume(const arraysim::VolumeInfo& info) {
    std::shared_ptr<Vantor::VolumeRecord> volume;
    EXPECT_TRUE(wrapper->FindSerial(info.serialNumber, volume));
    return volume;
  }
  static std::shared_ptr<VaSnapshotInfo> Lun(const std::shared_ptr<Vantor::VolumeRecord>& volume) {
    auto lun = std::make_shared<VaSnapshotInfo>();
    lun->mSourceSerialNumber = volume->mSerialNumber;
    lun->mVolume = volume;
    lun->mVolumeName = volume->mName;
    return lun;
  }
  // A virtual volume of `collection` with this host in its ACL, found by its device serial.
  std::shared_ptr<Vantor::VolumeRecord> VirtualVolume(const std::string& name, const std::string& collection) {
    arraysim::VolumeSpec definition;
    definition.name = name;
    definition.agentType = "vvol";
    definition.volcollId = collection;
    definition.metadata = {{"vp_vs_VAN_VIRTUAL_DEVICE_ID", "6000c29" + name}};
    definition.acl.push_back({"iscsi", host.initiator()});
    sim().addVolume(group.id, definition);
    std::shared_ptr<Vantor::VolumeRecord> volume;
    EXPECT_TRUE(wrapper->FindVirtualVolume("6000C29" + name, true, volume));
    return volume;
  }
  std::shared_ptr<Vantor::SnapshotRecord> SnapshotOf(const std::shared_ptr<VaSnapshotInfo>& lun) {
    std::shared_ptr<Vantor::SnapshotRecord> snapshot;
    EXPECT_TRUE(wrapper->FindSerial(lun->mSnapshotSerialNumber, snapshot));
    return snapshot;
  }
  HRESULT Commit(const Luns& luns) { return wrapper->CreateSnapshotSet(wincompat::NewGuid(), luns); }
  std::vector<std::string> TargetsLoggedIn() {
    std::vector<std::string> targets;
    for (const auto& session : sim().hostSessions(host.initiator())) targets.push_back(session["target_name"]);
    return targets;
  }

  template <class List>
  static std::vector<std::string> Ids(const List& list) {
    std::vector<std::string> ids;
    for (const auto& s : list) ids.push_back(Id(s));
    return ids;
  }
  static std::string Id(const Vantor::SnapshotRecord& s) { return s.mId; }
  static std::string Id(const json& s) { return s["id"]; }
  std::vector<std::string> IdsOnArray() { return Ids(Snapshots()); }

  std::unique_ptr<VaVssArrayWrapper> wrapper;
};

TEST_F(ArrayWrapper, SerialLookupAsksTheArrayOnlyWhatItDoesNotKnow) {
  const auto data = AddVolume("sql-data");
  std::shared_ptr<Vantor::VolumeRecord> volume;
  EXPECT_FALSE(wrapper->FindVolume(data.serialNumber, false, volume));
  EXPECT_EQ(sim().requestCount(group.id, "search:volumes"), 0);
  ASSERT_TRUE(wrapper->FindSerial(data.serialNumber, volume));
  EXPECT_EQ(volume->mId, data.id);
  ASSERT_TRUE(wrapper->FindSerial(data.serialNumber, volume));
  EXPECT_EQ(sim().requestCount(group.id, "search:volumes"), 1);
  EXPECT_TRUE(trace.Contains("Serial# " + data.serialNumber + ": found = 1, deep discovery = 1"));
  EXPECT_TRUE(trace.Contains("Serial# " + data.serialNumber + ": found = 1, deep discovery = 0"));

  std::shared_ptr<Vantor::SnapshotRecord> snapshot;
  EXPECT_FALSE(wrapper->FindSerial(data.serialNumber, snapshot));  // a volume's serial is no snapshot's
  EXPECT_TRUE(trace.Contains("Could not find snapshot " + data.serialNumber + " on array " + group.address +
                             ". Error: No snapshot found."));
  EXPECT_FALSE(wrapper->FindSerial("0123456789abcdef0123456789abcdef", volume));
  EXPECT_TRUE(trace.Contains("Could not find volume 0123456789abcdef0123456789abcdef on array " + group.address +
                             ". Error: No volume found."));
  EXPECT_EQ(wrapper->GetGroupUid(), group.id);

  // An expired session is renewed under the lookup, which still succeeds.
  sim().expireSessions(group.id);
  EXPECT_TRUE(wrapper->FindVolume(data.serialNumber, true, volume));
  EXPECT_EQ(sim().requestCount(group.id, "tokens"), 2);
}

TEST_F(ArrayWrapper, ThreeLunsOfOneVolumeShareOneSnapshot) {
  const auto volume = Volume(AddVolume("sql-data"));
  const Luns luns = {Lun(volume), Lun(volume), Lun(volume)};
  const GUID setId = wincompat::NewGuid();
  ASSERT_EQ(wrapper->CreateSnapshotSet(setId, luns), S_OK);

  ASSERT_EQ(Snapshots().size(), 1u);
  const json made = Snapshots()[0];
  const std::string setText = wincompat::GuidToString(setId);
  EXPECT_EQ(made["name"], setText);
  EXPECT_EQ(made["online"], false);
  EXPECT_EQ(made["metadata"], (json::array({{{"key", "vss_vs_snapshot_set_id"}, {"value", setText}}})));
  for (const auto& lun : luns) {
    EXPECT_TRUE(lun->mSnapshotExists);
    EXPECT_EQ(lun->mSnapshotId, made["id"]);
    EXPECT_EQ(lun->mSnapshotSerialNumber, made["serial_number"]);
    EXPECT_EQ(lun->mSnapshotTargetName, made["target_name"]);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(lun->mSnapshotVendorId.data())), made["vpd_t10"]);
  }
  const auto snapshot = SnapshotOf(luns[0]);
  EXPECT_EQ(std::memcmp(luns[0]->mSnapshotEui64.data(), snapshot->mVpdIeee0.data(), 8), 0);
  EXPECT_EQ(std::memcmp(luns[0]->mSnapshotEui64.data() + 8, snapshot->mVpdIeee1.data(), 8), 0);
  const auto announced = events.WithId(VA_MSG_CREATING_SNAPSHOT);
  ASSERT_EQ(announced.size(), 1u);
  EXPECT_EQ(announced[0].type, EVENTLOG_INFORMATION_TYPE);
  EXPECT_EQ(announced[0].strings.at(0), L"sql-data");
}

TEST_F(ArrayWrapper, VirtualVolumeCollectionIsSnapshottedWhole) {
  const auto a = VirtualVolume("a", "vc-1");
  const auto b = VirtualVolume("b", "vc-1");
  const auto c = VirtualVolume("c", "vc-1");
  const auto d = VirtualVolume("d", "vc-1");
  const auto other = VirtualVolume("e", "vc-2");

  ASSERT_EQ(Commit({Lun(a), Lun(b)}), S_OK);
  EXPECT_EQ(Snapshots().size(), 4u);
  EXPECT_TRUE(trace.Contains("vVol based volume collection is found."));
  EXPECT_EQ(events.WithId(VA_MSG_CREATING_SNAPSHOT).back().strings.at(0),
            wincompat::ToWide(a->mId + ", " + b->mId + ", " + c->mId + ", " + d->mId));

  SetRegistry("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration]\r\n"
              "\"NoAdditionalVolumeInSnapshot\"=dword:00000001\r\n");
  const Luns named = {Lun(a), Lun(b)};
  ASSERT_EQ(Commit(named), S_OK);
  EXPECT_EQ(Snapshots().size(), 6u);
  EXPECT_TRUE(named[0]->mSnapshotExists && named[1]->mSnapshotExists);

  SetRegistry("");
  ASSERT_EQ(Commit({Lun(a), Lun(other)}), S_OK);  // two collections: only the named volumes
  EXPECT_EQ(Snapshots().size(), 8u);
}

TEST_F(ArrayWrapper, SnapshotIsExposedHiddenAndDeleted) {
  const auto lun = Lun(Volume(AddVolume("sql-data")));
  ASSERT_EQ(Commit({lun}), S_OK);
  const auto snapshot = SnapshotOf(lun);
  EXPECT_EQ(snapshot->mTargetScope, Vantor::TARGET_SCOPE_VOLUME);
  EXPECT_FALSE(snapshot->mParentIsVirtualVolume);

  EXPECT_EQ(wrapper->OnlineSnapshot(*snapshot), S_OK);
  EXPECT_EQ(Find("snapshots", snapshot->mId)["online"], true);
  EXPECT_EQ(wrapper->ExposeTarget(*snapshot, 0x3), S_OK);
  EXPECT_EQ(TargetsLoggedIn(), (std::vector<std::string>{snapshot->mTargetName}));
  EXPECT_EQ(wrapper->UnexposeSnapshot(*snapshot), S_OK);
  EXPECT_TRUE(TargetsLoggedIn().empty());

  EXPECT_EQ(wrapper->DeleteSnapshot(snapshot->mId, snapshot->mName, "sql-data"), E_FAIL);  // still online
  EXPECT_TRUE(trace.Contains("** DeleteSnapshot() (deleteSnap) failed! '"));
  EXPECT_TRUE(trace.Contains("', volumeName sql-data,  snapshotName " + snapshot->mName));
  EXPECT_TRUE(events.WithId(VA_MSG_SNAPSHOT_DELETED).empty());

  EXPECT_EQ(wrapper->OfflineSnapshot(snapshot->mId, snapshot->mName, "sql-data"), S_OK);
  EXPECT_EQ(wrapper->DeleteSnapshot(snapshot->mId, snapshot->mName, "sql-data"), S_OK);
  EXPECT_TRUE(Snapshots().empty());
  const auto deleted = events.WithId(VA_MSG_SNAPSHOT_DELETED);
  ASSERT_EQ(deleted.size(), 1u);
  EXPECT_EQ(deleted[0].strings, (std::vector<std::wstring>{wincompat::ToWide(snapshot->mName), L"sql-data"}));
  EXPECT_EQ(wrapper->OnlineSnapshot(*snapshot), E_FAIL);
  EXPECT_TRUE(trace.Contains("** OnlineSnapshot (onlineSnap) failed! snapshot " + snapshot->mName + ", parent sql-data"));

  EXPECT_FALSE(trace.Contains(arraytest::kArrayPassword));
  EXPECT_EQ(sim().connectionCount(group.id), 1);  // every request above over one kept connection
}

TEST_F(ArrayWrapper, GroupTargetsAndFibreChannelSnapshotsAreNotLoggedInTwice) {
  const auto gstLun = Lun(Volume(AddVolume("shared", "group")));
  ASSERT_EQ(Commit({gstLun}), S_OK);
  const auto gst = SnapshotOf(gstLun);
  EXPECT_EQ(gst->mTargetScope, Vantor::TARGET_SCOPE_GROUP);
  EXPECT_EQ(gst->mTargetName, group.targetName);
  ASSERT_EQ(wrapper->OnlineSnapshot(*gst), S_OK);
  EXPECT_EQ(wrapper->ExposeTarget(*gst, 0), S_OK);
  EXPECT_EQ(wrapper->ExposeTarget(*gst, 0), S_OK);
  EXPECT_EQ(TargetsLoggedIn().size(), 1u);
  EXPECT_TRUE(trace.Contains("GST Target: " + group.targetName + " is already connected."));
  EXPECT_EQ(wrapper->UnexposeSnapshot(*gst), S_OK);
  EXPECT_EQ(TargetsLoggedIn().size(), 1u);

  arraysim::VolumeSpec fcOnly;
  fcOnly.name = "fc-only";
  fcOnly.acl.push_back({"fc", "wwn-1"});
  const auto fcLun = Lun(Volume(sim().addVolume(group.id, fcOnly)));
  ASSERT_EQ(Commit({fcLun}), S_OK);
  const auto fc = SnapshotOf(fcLun);
  EXPECT_EQ(wrapper->ExposeTarget(*fc, 0), S_OK);
  EXPECT_EQ(TargetsLoggedIn().size(), 1u);
  EXPECT_TRUE(trace.Contains("The iSCSI protocol is not present in the snapshot's ACL list. Skipping expose"));

  // A snapshot of a virtual volume is reached through its parent's target, which stays.
  const auto vvolLun = Lun(VirtualVolume("vm1", "vc-9"));
  ASSERT_EQ(Commit({vvolLun}), S_OK);
  const auto vvolSnapshot = SnapshotOf(vvolLun);
  EXPECT_TRUE(vvolSnapshot->mParentIsVirtualVolume);
  EXPECT_EQ(vvolSnapshot->mTargetName, vvolLun->mVolume->mTargetName);
}

TEST_F(ArrayWrapper, VersionCheckAndArrayLog) {
  std::string version;
  EXPECT_TRUE(wrapper->IsArraySupported(version));
  EXPECT_EQ(version, "6.1.0.0-12345-opt");
  wrapper->LogMessageToGMD("Commit of set 7 done", "info");
  EXPECT_EQ(GroupState()["debug_log"].back()["message"], "QTK-VSS:Commit of set 7 done");

  // The process keeps the first application name (the wrapper's, unless another test of this
  // process came first); the array sees it on every session.
  const std::string first = VantorStorage::WS::ApiLibrary::getInstance().getAppName();
  ASSERT_FALSE(first.empty());
  Vantor::Array::InitRest("another-agent");
  EXPECT_TRUE(trace.Contains("Subsequent call to InitRestSDK(another-agent). Current App Name: " + first));
  EXPECT_EQ(VantorStorage::WS::ApiLibrary::getInstance().getAppName(), first);
  EXPECT_EQ(GroupState()["sessions"][0]["app_name"], first);
}

}  // namespace

// What a snapshot set left when its create failed after the array had made the snapshots: the
// wrapper finds them by the set's name, or remembers them from the create's answer when the
// array cannot be searched.
TEST_F(ArrayWrapper, CreateWhoseReadBackFailedIsRememberedUntilTheArrayCanBeSearched) {
  const auto data = Lun(Volume(AddVolume("data")));
  const auto logs = Lun(Volume(AddVolume("logs")));
  const GUID set = wincompat::NewGuid();
  // The read-back after the bulk create fails.
  sim().injectFault({group.id, "search:snapshots", 500, "SM_internal", "lost it", 1});
  EXPECT_EQ(wrapper->CreateSnapshotSet(set, {data, logs}), VSS_E_PROVIDER_VETO);
  EXPECT_FALSE(data->mSnapshotExists);
  const auto made = IdsOnArray();
  ASSERT_EQ(made.size(), 2u);

  // The search fails too: what the create's answer named is handed out all the same, once.
  sim().injectFault({group.id, "search:snapshots", 500, "SM_internal", "lost it", 1});
  std::vector<Vantor::SnapshotRecord> found;
  EXPECT_EQ(wrapper->FindSnapshotsOfSet(set, found), E_FAIL);
  EXPECT_EQ(Ids(found), made);
  EXPECT_EQ(found[0].mName, wincompat::GuidToString(set));
  EXPECT_TRUE(trace.Contains("** FindSnapshotsOfSet() (findSnapshotsByName) failed! '"));

  // Now the array answers: it finds the set's snapshots by name, and only those.
  const GUID other = wincompat::NewGuid();
  ASSERT_EQ(wrapper->CreateSnapshotSet(other, {Lun(Volume(AddVolume("unrelated")))}), S_OK);
  EXPECT_EQ(wrapper->FindSnapshotsOfSet(set, found), S_OK);
  EXPECT_EQ(Ids(found), made);
  EXPECT_EQ(found[1].mVolName, "logs");
  for (const auto& snapshot : found)
    EXPECT_EQ(wrapper->DeleteSnapshot(snapshot.mId, snapshot.mName, snapshot.mVolName), S_OK);
  EXPECT_EQ(wrapper->FindSnapshotsOfSet(set, found), S_OK);
  EXPECT_TRUE(found.empty());
  EXPECT_EQ(IdsOnArray().size(), 1u);
}

TEST_F(ArrayWrapper, AnswerThatHidesASnapshotsNameIsNoAnswer) {
  const auto data = Lun(Volume(AddVolume("data")));
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
