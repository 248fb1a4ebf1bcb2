// Which snapshots the listing takes for a shadow copy's: only those whose metadata holds a set
// id under the commit's key, whatever else the array keeps or sends malformed; and what it
// reports about each when the array leaves attributes out.
#include <gtest/gtest.h>

#include "ScriptedArray.h"
#include "array/RestCallShadowCopySnapshots.h"

namespace {

using nlohmann::json;

class ShadowCopySnapshots : public arraytest::OverScriptedArray {
 protected:
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

TEST_F(ShadowCopySnapshots, OnlySnapshotsCarryingASetIdAreListed) {
  array->Session();
  json partial = Snapshot("partial", SetId("{11111111-2222-3333-4444-555555555555}"));
  for (const char* attribute : {"creation_time", "online", "num_connections", "access_control_records"})
    partial.erase(attribute);
  array->Objects(json::array({
      Snapshot("ours", SetId("{0A1B2C3D-0000-1111-2222-333344445555}")),
      Snapshot("manual", json::array({{{"key", "owner"}, {"value", "admin"}}})),
      Snapshot("no-metadata", nullptr),
      Snapshot("number", json::array({{{"key", "vss_vs_snapshot_set_id"}, {"value", 7}}})),
      Snapshot("not-a-list", "vss_vs_snapshot_set_id"),
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

TEST_F(ShadowCopySnapshots, AFailingSearchThrowsInsteadOfListingNothing) {
  array->Session();
  array->Error(503, "SM_unavailable");
  Vantor::RestCallFindShadowCopySnapshots call(*connection);
  EXPECT_THROW(call.Execute(), std::exception);
}

}  // namespace
