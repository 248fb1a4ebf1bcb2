// Answers of the array -> records: missing attributes name the accessor, objects from the array
// are read-only, and malformed answers end in an exception that says what was wrong. (Every
// attribute landing in its accessor: tests/array/ArrayRecords_test.cpp, through to the records.)
#include <functional>

#include "ScriptedClient.h"

namespace restsdk_test {
namespace {

using nlohmann::json;
using namespace VantorStorage::WS;

class RecordMapping : public ClientOverScriptedArray {
 protected:
  v1::VolumeListPtr searchVolumes(const std::string& body) {
    array->AnswerRaw(200, body);
    return client->getV1ObjectSetFactory()->getVolumeObjectSet()->getObjectList(v1::GetParams{});
  }
};

TEST_F(RecordMapping, UnsetAttributesNameTheirAccessorAndObjectsFromTheArrayAreReadOnly) {
  logIn();
  const auto volumes = searchVolumes(
      R"({"data":[{"id":"v","access_control_records":[{}],"metadata":[{"key":"k"}]},
                  {"id":"w","access_control_records":null,"metadata":null,"online":null}]})");
  const v1::Volume& v = *volumes->at(0);
  const std::vector<std::pair<std::string, std::function<void()>>> reads = {
      {"Name", [&] { v.getName(); }},
      {"Size", [&] { v.getSize(); }},
      {"Online", [&] { v.getOnline(); }},
      {"VpdIeee0", [&] { v.getVpdIeee0(); }},
      {"AccessProtocol", [&] { v.getAccessControlRecords()->front()->getAccessProtocol(); }},
      {"Value", [&] { v.getMetadata()->front()->getValue(); }},
      {"Online", [&] { volumes->at(1)->getOnline(); }},
  };
  for (const auto& [name, read] : reads) {
    try {
      read();
      ADD_FAILURE() << name << " did not throw";
    } catch (const AttributeNotSetException& e) {
      EXPECT_EQ(e.getAttributeName(), name);
      EXPECT_NE(std::string(e.what()).find(name), std::string::npos);
    }
  }
  // An explicit null list: access control records read as none, metadata as a null list.
  EXPECT_TRUE(volumes->at(1)->getAccessControlRecords()->empty());
  EXPECT_EQ(volumes->at(1)->getMetadata(), nullptr);

  EXPECT_TRUE(v.isImmutable());
  EXPECT_THROW(volumes->front()->setOnline(false), ImmutableObjectException);
  EXPECT_THROW(v.getMetadata()->front()->setValue("x"), ImmutableObjectException);
  v1::Volume copy = v;
  EXPECT_THROW(copy.setOnline(false), ImmutableObjectException);
  EXPECT_NO_THROW(v1::Volume().setOnline(false));

  // (A snapshot's: tests/array/ArrayRecords_test.cpp, the shadow-copy listing.)
  array->AnswerRaw(200, R"({"data":[{"id":"g","name":"n"}]})");
  const auto groups = client->getV1ObjectSetFactory()->getGroupObjectSet()->getObjectList(v1::GetParams{});
  try {
    groups->front()->getVersionCurrent();
    ADD_FAILURE() << "VersionCurrent did not throw";
  } catch (const AttributeNotSetException& e) {
    EXPECT_EQ(e.getAttributeName(), "VersionCurrent");
  }
}

TEST_F(RecordMapping, MalformedAnswersRaiseApiExceptionsThatSayWhy) {
  logIn();
  std::string hugeList = R"({"data":[)";
  for (int i = 0; i <= 100000; ++i) hugeList += i ? ",{}" : "{}";
  hugeList += "]}";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"<html>oops</html>", "the body is not JSON"},
      {std::string(R"({"data":[]})") + '\0' + "garbage", "the body is not JSON"},
      {R"({"data":[]} {})", "the body is not JSON"},
      {"{\"data\":[{\"name\":\"a\xED\xA0\x80\"}]}", "the body is not JSON"},  // a surrogate in UTF-8
      {R"({"data":[{"name":"\ud800"}]})", "the body is not JSON"},
      {R"([1,2])", "not a JSON object"},
      {R"({"total":0})", R"(no "data")"},
      {R"({"data":{}})", "expected an array"},
      {R"({"data":[1]})", "volume 0 is number, expected an object"},
      {R"({"data":[{"id":"a"},{"id":5}]})", "attribute 'id' of volume 1 is number, expected a string"},
      {R"({"data":[{"size":"big"}]})", "attribute 'size' of volume 0 is string, expected an integer"},
      {R"({"data":[{"size":1.5}]})", "expected an integer"},
      {R"({"data":[{"size":18446744073709551615}]})", "out of range"},
      {R"({"data":[{"online":"yes"}]})", "expected a boolean"},
      {R"({"data":[{"vpd_ieee0":"abc"}]})", "odd number of hex digits"},
      {R"({"data":[{"vpd_ieee1":"zz00"}]})", "not hexadecimal"},
      {R"({"data":[{"access_control_records":{}}]})", "expected an array"},
      {R"({"data":[{"access_control_records":[7]}]})", "access control record 0 of volume 0 is number"},
      {R"({"data":[{"metadata":[{"key":1}]}]})", "attribute 'key' of metadata entry 0 of volume 0"},
      {hugeList, "more than any array has"},
  };
  for (const auto& [body, expected] : cases) {
    try {
      searchVolumes(body);
      ADD_FAILURE() << "accepted: " << body.substr(0, 80);
    } catch (const GroupMgmtServerException& e) {
      ADD_FAILURE() << "a 200 answer is no server error: " << e.what();
    } catch (const ApiException& e) {
      EXPECT_NE(std::string(e.what()).find(expected), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find("POST /v1/volumes/search"), std::string::npos) << e.what();
    }
  }
  EXPECT_NE(logger->all().find("E Invalid answer to POST /v1/volumes/search"), std::string::npos);
}

// (Empty and whole answers of both, from the simulator: tests/array/ArrayWrapper_test.cpp.)
TEST_F(RecordMapping, BulkCreateAnswersAreReadAsFarAsAskedAndMalformedOnesRaiseApiExceptions) {
  logIn();
  const auto snapshots = client->getV1ObjectSetFactory()->getSnapshotObjectSet();
  auto entry = std::make_shared<v1::VsSnapVol>();
  entry->setVolId("v");
  entry->setSnapName("s");
  for (const char* body : {R"({"data":{}})", R"({"data":{"snap_list":{}}})", R"({"data":[]})",
                           R"({"data":{"snap_list":[{"vol_id":7}]}})"}) {
    array->AnswerRaw(201, body);
    EXPECT_THROW(snapshots->bulkCreate({entry}), ApiException) << body;
  }

  // Asked for some attributes, the reader leaves the others unset whatever the array sent for
  // them; of two members with one name the first counts.
  const char* answer = R"({"data":{"snap_list":[{"size":"big","id":"s1","vol_name":"v","name":"n","id":"s2"}]}})";
  v1::AttributeSelector naming;
  for (const char* name : {"id", "vol_name"}) naming.addAttribute(name);
  array->AnswerRaw(201, answer);
  const auto made = snapshots->bulkCreate({entry}, naming)->getSnapList();
  ASSERT_EQ(made->size(), 1u);
  EXPECT_EQ(made->front()->getId(), "s1");
  EXPECT_EQ(made->front()->getVolName(), "v");
  EXPECT_THROW(made->front()->getName(), AttributeNotSetException);
  EXPECT_THROW(made->front()->getSize(), AttributeNotSetException);
  array->AnswerRaw(201, answer);
  EXPECT_THROW(snapshots->bulkCreate({entry}), ApiException) << "every attribute read: 'size' is no integer";

  // A name that no snapshot attribute has is the caller's mistake: nothing is sent.
  v1::AttributeSelector misspelt;
  misspelt.addAttribute("volname");
  const std::size_t sent = array->Sent().size();
  EXPECT_THROW(snapshots->bulkCreate({entry}, misspelt), ApiException);
  EXPECT_EQ(array->Sent().size(), sent);
}

}  // namespace
}  // namespace restsdk_test
