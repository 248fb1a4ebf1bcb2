// Each request against a simulated array group over real HTTPS: the queries find what the
// array holds, the changes show in the array's state, and an expired session is renewed.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SimulatedArray.h"
#include "array/RestCallGroup.h"
#include "array/RestCallLogMessageToGMD.h"
#include "array/RestCallSnapshot.h"
#include "array/RestCallVolume.h"
#include "array/VantorArray.h"

namespace {

using nlohmann::json;

class RestCalls : public arraytest::OverSimulatedArray {
 protected:
  void SetUp() override {
    OverSimulatedArray::SetUp();
    Vantor::Array::InitRest("array-tests");
    array = std::make_unique<Vantor::Array>(group.address,
                                            Vantor::LoginInfo(arraytest::kArrayUser, arraytest::kArrayPassword));
  }
  std::vector<std::string> CreateSnapshots(const std::set<std::string>& volumeIds) {
    Vantor::RestCallSnapVolList call(*array, "{set-1}", volumeIds);
    call.Execute();
    return call.GetCreatedSnapshotIds();
  }

  std::unique_ptr<Vantor::Array> array;
};

TEST_F(RestCalls, QueriesFindWhatTheArrayHolds) {
  EXPECT_EQ(array->GetGroupId(), group.id);
  Vantor::RestCallGetGroupCurrVer version(*array);
  version.Execute();
  EXPECT_EQ(version.GetCurrentVersion(), "6.1.0.0-12345-opt");

  const auto data = AddVolume("sql-data", "group");
  Vantor::RestCallFindVolBySerial bySerial(*array, data.serialNumber);
  bySerial.Execute();
  const Vantor::VolumeRecord& volume = bySerial.GetVolume();
  EXPECT_EQ(volume.mId, data.id);
  EXPECT_EQ(volume.mName, "sql-data");
  EXPECT_EQ(volume.mSerialNumber, data.serialNumber);
  EXPECT_EQ(volume.mTargetName, group.targetName);
  EXPECT_EQ(volume.mTargetScope, Vantor::TARGET_SCOPE_GROUP);
  EXPECT_EQ(volume.mAccessProtocols, (std::vector<std::uint32_t>{Vantor::ACCESS_PROTOCOL_ISCSI}));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(volume.mVpdT10.data())), data.vpdT10);

  Vantor::RestCallFindVolById byId(*array, data.id);
  byId.Execute();
  EXPECT_EQ(byId.GetVolume().mTargetName, group.targetName);
  EXPECT_FALSE(byId.GetVolume().mIsVirtualVolume);

  arraysim::VolumeSpec vvol;
  vvol.name = "vm-disk";
  vvol.agentType = "vvol";
  vvol.volcollId = "vc-7";
  vvol.metadata = {{"vp_vs_VAN_VIRTUAL_DEVICE_ID", "6000c29a0b1c2d3e"}};
  const auto disk = sim().addVolume(group.id, vvol);
  Vantor::RestCallFindVvolBySerial byDevice(*array, "6000C29A0B1C2D3E");
  byDevice.Execute();
  EXPECT_EQ(byDevice.GetVolume().mId, disk.id);
  EXPECT_TRUE(byDevice.GetVolume().mIsVirtualVolume);
  EXPECT_EQ(byDevice.GetVolume().mVolumeCollectionId, "vc-7");
  Vantor::RestCallGetVolumeIdsOfVolumeCollection collection(*array, "vc-7");
  collection.Execute();
  EXPECT_EQ(collection.GetVolumeCollection().mVolumeIds, (std::vector<std::string>{disk.id}));
  EXPECT_EQ(collection.GetVolumeCollection().mVolumeNames, (std::vector<std::string>{"vm-disk"}));

  const auto ids = CreateSnapshots({data.id});
  ASSERT_EQ(ids.size(), 1u);
  Vantor::RestCallFindSnapshotsByIDs byIds(*array, ids);
  byIds.Execute();
  ASSERT_EQ(byIds.GetSnapshots().size(), 1u);
  const Vantor::SnapshotRecord& snapshot = byIds.GetSnapshots().front();
  EXPECT_EQ(snapshot.mVolId, data.id);
  EXPECT_EQ(snapshot.mVolName, "sql-data");
  EXPECT_EQ(snapshot.mName, "{set-1}");
  Vantor::RestCallFindSnapBySerial snapBySerial(*array, snapshot.mSerialNumber);
  snapBySerial.Execute();
  EXPECT_EQ(snapBySerial.GetSnapshot().mId, ids.front());
  EXPECT_EQ(snapBySerial.GetSnapshot().mVpdIeee0, snapshot.mVpdIeee0);
}

TEST_F(RestCalls, ChangesReachTheArray) {
  const auto first = AddVolume("exchange-db");
  const auto second = AddVolume("exchange-log");
  const auto ids = CreateSnapshots({first.id, second.id});
  ASSERT_EQ(ids.size(), 2u);
  const json created = Find("snapshots", ids.front());
  EXPECT_EQ(created["online"], false);
  EXPECT_EQ(created["writable"], false);
  EXPECT_EQ(created["metadata"], json::parse(R"([{"key":"vss_vs_snapshot_set_id","value":"{set-1}"}])"));

  Vantor::RestCallOnlineSnap(*array, ids.front(), true).Execute();
  EXPECT_EQ(Find("snapshots", ids.front())["online"], true);
  Vantor::RestCallOnlineSnap(*array, ids.front(), true).Execute();  // already online: not a failure
  Vantor::RestCallOnlineSnap(*array, ids.front(), false).Execute();
  EXPECT_EQ(Find("snapshots", ids.front())["online"], false);

  Vantor::RestCallDeleteSnapBySnapId(*array, ids.back()).Execute();
  EXPECT_EQ(Find("snapshots", ids.back()), nullptr);

  sim().writeVolume(first.id);
  Vantor::RestCallOnlineVolume(*array, first.id, false).Execute();
  EXPECT_EQ(Find("volumes", first.id)["online"], false);
  Vantor::RestCallRestoreVolume(*array, first.id, ids.front()).Execute();
  Vantor::RestCallOnlineVolume(*array, first.id, true).Execute();
  EXPECT_EQ(Find("volumes", first.id)["online"], true);
  EXPECT_EQ(Find("volumes", first.id)["data_version"], Find("snapshots", ids.front())["data_version"]);

  Vantor::RestCallLogMessageToGMD(*array, "QTK-VSS:commit done", "info").Execute();
  const auto log = GroupState()["debug_log"];
  ASSERT_FALSE(log.empty());
  EXPECT_EQ(log.back(), (json{{"level", "info"}, {"message", "QTK-VSS:commit done"}}));
}

TEST_F(RestCalls, ExpiredSessionIsRenewedWithoutTheCallerNoticing) {
  const auto data = AddVolume("files");
  sim().expireSessions(group.id);
  Vantor::RestCallFindVolBySerial call(*array, data.serialNumber);
  call.Execute();
  EXPECT_EQ(call.GetVolume().mId, data.id);
  EXPECT_EQ(sim().requestCount(group.id, "tokens"), 2);
  EXPECT_EQ(sim().requestCount(group.id, "search:volumes"), 2);
}

}  // namespace
