// What the client puts on the wire for each operation, and what it refuses to send.
#include "ScriptedClient.h"
#include <functional>


namespace restsdk_test {
namespace {

using nlohmann::json;
using namespace VantorStorage::WS;

using Requests = ClientOverScriptedArray;

std::shared_ptr<v1::SearchFilter> leaf(const std::string& field, const std::string& value) {
  return std::make_shared<v1::SearchFilter>(field, v1::OPERATOR_EQUALS, value);
}

TEST_F(Requests, SearchSendsFilterAndFieldsInTheCallersOrder) {
  logIn();
  auto params = std::make_shared<v1::GetParams>();
  params->setSearchFilter(std::make_shared<v1::SearchFilter>(
      v1::SearchFilter::FilterList{leaf("agent_type", "vvol"), leaf("metadata.vp_vs_VAN_VIRTUAL_DEVICE_ID", "abc")},
      v1::OPERATOR_AND));
  for (const char* field : {"id", "size", "name", "metadata", "id"}) params->getAttributeSelector().addAttribute(field);
  array->AnswerRaw(200, R"({"data":[]})");
  client->getV1ObjectSetFactory()->getVolumeObjectSet()->getObjectList(params);

  const auto& request = array->LastRequest();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.path, "/v1/volumes/search");
  // (Host, port and TLS: every request of tests/array against the simulator's HTTPS.)
  ASSERT_NE(testsupport::ScriptedArray::Header(request, "X-Auth-Token"), nullptr);
  EXPECT_EQ(*testsupport::ScriptedArray::Header(request, "X-Auth-Token"), "secret-token");
  EXPECT_EQ(*testsupport::ScriptedArray::Header(request, "Content-Type"), "application/json");
  EXPECT_EQ(array->LastJson(), json::parse(R"({
      "filter":{"operator":"and","criteria":[
          {"field":"agent_type","operator":"equals","value":"vvol"},
          {"field":"metadata.vp_vs_VAN_VIRTUAL_DEVICE_ID","operator":"equals","value":"abc"}]},
      "fields":["id","size","name","metadata"]})"));

  // One condition still travels in an "or" group; no filter and no fields send neither.
  params = std::make_shared<v1::GetParams>();
  params->setSearchFilter(std::make_shared<v1::SearchFilter>(v1::SearchFilter::FilterList{leaf("id", "s1")},
                                                             v1::OPERATOR_OR));
  array->AnswerRaw(200, R"({"data":[]})");
  client->getV1ObjectSetFactory()->getSnapshotObjectSet()->getObjectList(params);
  EXPECT_EQ(array->LastRequest().path, "/v1/snapshots/search");
  EXPECT_EQ(array->LastJson(), json::parse(R"({"filter":{"operator":"or","criteria":[
      {"field":"id","operator":"equals","value":"s1"}]}})"));
  array->AnswerRaw(200, R"({"data":[]})");
  client->getV1ObjectSetFactory()->getGroupObjectSet()->getObjectList(v1::GetParams{});
  EXPECT_EQ(array->LastRequest().path, "/v1/groups/search");
  EXPECT_EQ(array->LastJson(), json::object());
}

// Each write: its method, path and body; bulk create with one entry per volume and its own
// metadata.
TEST_F(Requests, WriteOperationsUseTheirPathsAndBodies) {
  logIn();
  const auto factory = client->getV1ObjectSetFactory();
  v1::VsSnapVolList entries;
  json bulk = json::array();
  for (const std::string volume : {"v2", "v1", "v3"}) {
    const std::string set = volume == "v3" ? "{other}" : "{set}";
    auto entry = std::make_shared<v1::VsSnapVol>();
    entry->setVolId(volume);
    entry->setSnapName("{set}");
    entry->setOnline(false);
    entry->setWritable(false);
    entry->setMetadata(std::make_shared<v1::VsKeyValueList>(
        v1::VsKeyValueList{std::make_shared<v1::VsKeyValue>("vss_vs_snapshot_set_id", set)}));
    entries.push_back(entry);
    bulk.push_back({{"vol_id", volume}, {"snap_name", "{set}"}, {"online", false}, {"writable", false},
                    {"metadata", {{{"key", "vss_vs_snapshot_set_id"}, {"value", set}}}}});
  }
  v1::Snapshot online;
  online.setOnline(true);
  v1::Volume offline;
  offline.setOnline(false);
  const std::string volume = R"({"data":{"id":"v1","online":false}})";
  struct Case {
    int status;
    std::string answer;
    std::function<void()> run;
    const char* method;
    const char* path;
    json body;  // null: none
  };
  const std::vector<Case> cases = {
      {200, R"({"data":{"id":"s1","online":true}})",
       [&] { EXPECT_TRUE(factory->getSnapshotObjectSet()->updateObject("s1", online)->getOnline()); }, "PUT",
       "/v1/snapshots/s1", {{"data", {{"online", true}}}}},
      {200, volume, [&] { factory->getVolumeObjectSet()->updateObject("v1", offline, true); }, "PUT", "/v1/volumes/v1",
       {{"data", {{"online", false}}}, {"force", true}}},
      {200, volume, [&] { EXPECT_EQ(factory->getVolumeObjectSet()->restore("v1", "s1")->getId(), "v1"); }, "POST",
       "/v1/volumes/v1/actions/restore", {{"data", {{"id", "v1"}, {"base_snap_id", "s1"}}}}},
      {200, "{}", [&] { factory->getSnapshotObjectSet()->deleteObject("../x y"); }, "DELETE",
       "/v1/snapshots/%2E%2E%2Fx%20y", nullptr},
      {201, "{}", [&] { factory->getDebugLogObjectSet()->createObject(v1::DebugLog("snapshot set done", "info")); },
       "POST", "/v1/debug_log", {{"data", {{"message", "snapshot set done"}, {"level", "info"}}}}},
      {201, R"({"data":{"snap_list":[]}})", [&] { factory->getSnapshotObjectSet()->bulkCreate(entries); }, "POST",
       "/v1/snapshots/bulk_create", {{"data", {{"snap_vol_list", bulk}}}}},
  };
  for (const Case& c : cases) {
    array->AnswerRaw(c.status, c.answer);
    c.run();
    EXPECT_EQ(array->LastRequest().method, c.method) << c.path;
    EXPECT_EQ(array->LastRequest().path, c.path);
    if (c.body.is_null()) EXPECT_TRUE(array->LastRequest().body.empty()) << c.path;
    else EXPECT_EQ(array->LastJson(), c.body) << c.path;
  }
}

TEST_F(Requests, RequestsThatCannotBeRightAreNotSent) {
  logIn();
  const auto factory = client->getV1ObjectSetFactory();
  auto complete = std::make_shared<v1::VsSnapVol>();
  complete->setVolId("v");
  complete->setSnapName("s");
  auto noVolume = std::make_shared<v1::VsSnapVol>();
  noVolume->setSnapName("s");
  auto badMetadata = std::make_shared<v1::VsSnapVol>(*complete);
  auto pairs = std::make_shared<v1::VsKeyValueList>();
  auto keyOnly = std::make_shared<v1::VsKeyValue>();
  keyOnly->setKey("k");
  pairs->push_back(keyOnly);
  badMetadata->setMetadata(pairs);
  auto deep = leaf("id", "x");
  for (int i = 0; i < 40; ++i) deep = std::make_shared<v1::SearchFilter>(v1::SearchFilter::FilterList{deep}, v1::OPERATOR_OR);
  auto nested = std::make_shared<v1::GetParams>();
  nested->setSearchFilter(deep);
  auto notUtf8 = std::make_shared<v1::GetParams>();
  notUtf8->setSearchFilter(leaf("name", "vol\xC0\xAF"));  // an overlong '/'

  const std::size_t before = array->Sent().size();
  const std::vector<std::pair<const char*, std::function<void()>>> attempts = {
      {"empty bulk", [&] { factory->getSnapshotObjectSet()->bulkCreate({}); }},
      {"null entry", [&] { factory->getSnapshotObjectSet()->bulkCreate({complete, nullptr}); }},
      {"no vol_id", [&] { factory->getSnapshotObjectSet()->bulkCreate({noVolume}); }},
      {"pair without value", [&] { factory->getSnapshotObjectSet()->bulkCreate({badMetadata}); }},
      {"update with nothing set", [&] { factory->getSnapshotObjectSet()->updateObject("s", v1::Snapshot{}); }},
      {"empty id", [&] { factory->getSnapshotObjectSet()->deleteObject(""); }},
      {"log without level", [&] { factory->getDebugLogObjectSet()->createObject(v1::DebugLog{}); }},
      {"filter nested 40 deep", [&] { factory->getVolumeObjectSet()->getObjectList(nested); }},
      {"text not UTF-8", [&] { factory->getVolumeObjectSet()->getObjectList(notUtf8); }},
  };
  for (const auto& [name, attempt] : attempts) EXPECT_THROW(attempt(), ApiException) << name;
  EXPECT_EQ(array->Sent().size(), before);

  EXPECT_THROW(v1::SearchFilter("id", v1::OPERATOR_OR, "x"), ApiException);
  EXPECT_THROW(v1::SearchFilter(v1::SearchFilter::FilterList{}, v1::OPERATOR_EQUALS), ApiException);
  EXPECT_THROW(leaf("id", "x")->addFilter(leaf("id", "y")), ApiException);
}

}  // namespace
}  // namespace restsdk_test
