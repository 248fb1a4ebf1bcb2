// What the queries copy out of the array's answers: designators cut to their fields, protocol
// and scope codes, the first of several matches, the virtual-volume search with its
// pending-deletion rule, and the shadow copies' snapshots with their owner tags.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ScriptedArray.h"
#include "array/ArrayRecords.h"
#include "array/RestCallShadowCopySnapshots.h"
#include "array/RestCallVolume.h"

namespace {

using nlohmann::json;

class ArrayRecords : public arraytest::OverScriptedArray {
 protected:
  void SetUp() override {
    OverScriptedArray::SetUp();
    array->Session();
  }

  static json Volume(const std::string& id) {
    return {{"id", id},
            {"size", 2048},
            {"name", "name-" + id},
            {"serial_number", "serial-" + id},
            {"description", "about " + id},
            {"block_size", 4096},
            {"target_name", "iqn.target." + id},
            {"parent_vol_name", "parent-" + id},
            {"base_snap_name", "base-" + id},
            {"num_connections", 1},
            {"access_control_records", json::array()},
            {"vpd_t10", "VANTOR  " + id},
            {"vpd_ieee0", "0011223344556677"},
            {"vpd_ieee1", "8899aabbccddeeff"},
            {"iscsi_target_scope", "volume"},
            {"agent_type", "vvol"},
            {"metadata", json::array({{{"key", "vp_vs_VAN_VIRTUAL_DEVICE_ID"}, {"value", "abcd"}}})},
            {"volcoll_id", "vc-1"}};
  }
  static json Snapshot(const std::string& id, const json& metadata) {
    return {{"id", id},
            {"name", "name-" + id},
            {"serial_number", "serial-" + id},
            {"vol_name", "vol-" + id},
            {"creation_time", 1700000000},
            {"online", false},
            {"num_connections", 0},
            {"access_control_records", json::array({{{"access_protocol", "iscsi"}, {"initiator_name", "iqn.a"}},
                                                    {{"access_protocol", "fc"}, {"initiator_name", "wwn"}}})},
            {"metadata", metadata}};
  }
  static json SetId(const std::string& value) {
    return json::array({{{"key", "other"}, {"value", "x"}}, {{"key", "vss_vs_snapshot_set_id"}, {"value", value}}});
  }
};

TEST_F(ArrayRecords, VolumeBySerialTakesTheFirstMatchAndCutsLongDesignators) {
  json first = Volume("v1");
  first["vpd_t10"] = std::string(70, 'T');
  first["vpd_ieee0"] = "00112233445566778899";  // ten bytes
  first["access_control_records"] = json::array({{{"access_protocol", "iscsi"}, {"initiator_name", "a"}},
                                                 {{"access_protocol", "iSCSI"}, {"initiator_name", "b"}},
                                                 {{"access_protocol", "fc"}, {"initiator_name", "c"}}});
  first["iscsi_target_scope"] = "group";
  array->Objects(json::array({first, Volume("v2")}));

  Vantor::RestCallFindVolBySerial call(*connection, "serial-v1");
  call.Execute();
  const Vantor::VolumeRecord& volume = call.GetVolume();
  EXPECT_EQ(volume.mId, "v1");
  EXPECT_EQ(volume.mName, "name-v1");
  EXPECT_EQ(volume.mSerialNumber, "serial-v1");
  EXPECT_EQ(volume.mDescription, "about v1");
  EXPECT_EQ(volume.mTargetName, "iqn.target.v1");
  EXPECT_EQ(volume.mParentVolName + " " + volume.mBaseSnapName, "parent-v1 base-v1");
  EXPECT_EQ(volume.mNumConnections, 1);
  EXPECT_EQ(volume.mSize, 2048);
  EXPECT_EQ(volume.mBlockSize, 4096);
  EXPECT_EQ(volume.mAccessProtocols, (std::vector<std::uint32_t>{1, 0, 2}));
  EXPECT_EQ(volume.mAccessInitiators, (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(volume.mTargetScope, Vantor::TARGET_SCOPE_GROUP);
  EXPECT_FALSE(volume.mIsVirtualVolume);
  EXPECT_EQ(std::string(volume.mVpdT10.begin(), volume.mVpdT10.end()), std::string(56, 'T'));
  EXPECT_EQ(volume.mVpdIeee0, (Vantor::VpdIeee{0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77}));
  EXPECT_EQ(volume.mVpdIeee1, (Vantor::VpdIeee{0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}));
  EXPECT_TRUE(trace.Contains("Expected to find only 1 volume. However, count is: 2"));
}

TEST_F(ArrayRecords, VirtualVolumeSearchLowersTheSerialAndSkipsVolumesBeingDeleted) {
  json deleting = Volume("v1");
  deleting["metadata"].push_back({{"key", "vp_vs_VAN_PENDING_DELETION"}, {"value", "VAN_PENDING_DELETION"}});
  json almost = Volume("v2");  // a near miss of the marker does not count
  almost["metadata"].push_back({{"key", "vp_vs_VAN_PENDING_DELETION"}, {"value", "van_pending_deletion"}});
  array->Objects(json::array({deleting, almost}));

  Vantor::RestCallFindVvolBySerial call(*connection, "ABCD");
  call.Execute();
  EXPECT_EQ(call.GetVolume().mId, "v2");
  EXPECT_TRUE(call.GetVolume().mIsVirtualVolume);
  EXPECT_EQ(call.GetVolume().mVolumeCollectionId, "vc-1");
  EXPECT_EQ(call.GetVolume().mAgentType, "vvol");
  ASSERT_EQ(call.GetVolume().mMetadata.size(), 2u);
  EXPECT_EQ(call.GetVolume().mMetadata[0].second, "abcd");
  EXPECT_EQ(json::parse(array->LastBody())["filter"]["criteria"][1]["value"], "abcd");

  array->Objects(json::array({deleting}));
  try {
    Vantor::RestCallFindVvolBySerial(*connection, "abcd").Execute();
    FAIL() << "a volume being deleted was found";
  } catch (const std::exception& e) {
    EXPECT_EQ(std::string(e.what()), "Volume is set for pending deletion state. Hence ignoring the discovery.");
  }
}

// The shadow copies' listing takes only the snapshots whose metadata holds a set id under the
// commit's key, whatever else the array keeps or sends malformed, and reports what the array
// leaves out as unknown.
TEST_F(ArrayRecords, ShadowCopyListingTakesOnlySnapshotsCarryingASetId) {
  json partial = Snapshot("partial", SetId("{11111111-2222-3333-4444-555555555555}"));
  for (const char* attribute : {"creation_time", "online", "num_connections", "access_control_records"})
    partial.erase(attribute);
  array->Objects(json::array({
      Snapshot("ours", SetId("{0A1B2C3D-0000-1111-2222-333344445555}")),
      Snapshot("manual", json::array({{{"key", "owner"}, {"value", "admin"}}})),
      Snapshot("no-metadata", nullptr),
      Snapshot("number", json::array({{{"key", "vss_vs_snapshot_set_id"}, {"value", 7}}})),
      Snapshot("not-a-list", "vss_vs_snapshot_set_id"),
      Snapshot("bad-entry", json::array({7})),
      Snapshot("not-a-guid", SetId("nightly")),
      partial,
  }));

  Vantor::RestCallFindShadowCopySnapshots call(*connection);
  call.Execute();
  const auto& listed = call.GetSnapshots();
  ASSERT_EQ(listed.size(), 2u);
  const Vantor::ShadowCopySnapshotRecord& ours = listed[0];
  EXPECT_EQ(ours.mId, "ours");
  EXPECT_EQ(ours.mSerialNumber, "serial-ours");
  EXPECT_EQ(ours.mVolName, "vol-ours");
  EXPECT_EQ(ours.mSnapshotSetId, "{0a1b2c3d-0000-1111-2222-333344445555}");  // as the provider writes it
  EXPECT_EQ(ours.mCreationTime, 1700000000);
  EXPECT_EQ(ours.mOnline, false);
  EXPECT_EQ(ours.mNumConnections, 0);
  EXPECT_EQ(ours.mInitiators, std::vector<std::string>{"iqn.a"});

  // What the array left out stays unknown rather than defaulting to "offline, unused".
  const Vantor::ShadowCopySnapshotRecord& unknown = listed[1];
  EXPECT_EQ(unknown.mId, "partial");
  EXPECT_FALSE(unknown.mCreationTime.has_value());
  EXPECT_FALSE(unknown.mOnline.has_value());
  EXPECT_FALSE(unknown.mNumConnections.has_value());
  EXPECT_TRUE(unknown.mInitiators.empty());

  const json request = json::parse(array->LastBody());
  EXPECT_FALSE(request.contains("filter"));
  EXPECT_NE(std::find(request["fields"].begin(), request["fields"].end(), "metadata"), request["fields"].end());
  EXPECT_NE(std::find(request["fields"].begin(), request["fields"].end(), "creation_time"), request["fields"].end());
}

TEST(SnapshotOwner, TagNamesHostAndContextAndAnythingElseNamesNoOwner) {
  const auto owner = Vantor::ParseOwnerTag(Vantor::OwnerTagText("Node-2.corp_x", 0x2d));
  ASSERT_TRUE(owner.has_value());
  EXPECT_EQ(owner->context, 0x2du);
  EXPECT_TRUE(owner->IsHost("NODE-2.CORP_X") && !owner->IsHost("NODE-2"));
  for (const std::string& host : std::vector<std::string>{"", "a b", "a;b", "caf\xc3\xa9", std::string(64, 'a')})
    EXPECT_EQ(Vantor::OwnerTagText(host, 0), "") << host;
  for (const char* bad : {"host=;context=0x00000000", "HOST=a;context=0x00000000", "host=a;context=0x0000000",
                          "host=a;context=0x000000000", "host=a;context=0x0000000g", "host=a;context=0x+0000000",
                          "host=a b;context=0x00000000", "host=a;context=0x00000000;", "host=a;kontext=0x00000000"})
    EXPECT_FALSE(Vantor::ParseOwnerTag(bad).has_value()) << bad;
}

TEST_F(ArrayRecords, AFailingShadowCopySearchThrowsInsteadOfListingNothing) {
  array->Error(503, "SM_unavailable");
  Vantor::RestCallFindShadowCopySnapshots call(*connection);
  EXPECT_THROW(call.Execute(), std::exception);
}

}  // namespace
