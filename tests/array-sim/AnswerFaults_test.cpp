// Faults that shape an answer the array really gives (wrong types, missing attributes,
// oversized lists, slow bodies, lost answers) and the fault that strikes the N-th request only.

#include "SimTestClient.h"

#include "arraysim/Simulator.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <chrono>

using nlohmann::json;

namespace {

class AnswerFaults : public ::testing::Test {
protected:
    void SetUp() override {
        arraysim::GroupSpec spec;
        spec.name = "grp-a";
        group = sim.addGroup(spec);
        arraysim::VolumeSpec volume;
        volume.name = "vol-a";
        volume.acl = {{"iscsi", "iqn.1991-05.com.microsoft:host1"}};
        volumeId = sim.addVolume(group.id, volume).id;
        volume.name = "vol-b";
        sim.addVolume(group.id, volume);
    }
    simtest::RestClient loggedIn() {
        simtest::RestClient client(group.address, group.restPort);
        EXPECT_EQ(client.login().status, 201);
        return client;
    }
    arraysim::FaultSpec fault(const std::string& op) {
        arraysim::FaultSpec f;
        f.group = group.id;
        f.op = op;
        return f;
    }
    static json searchVolumes(simtest::RestClient& client) {
        const auto reply = client.rest("POST", "/v1/volumes/search",
                                       {{"fields", {"name", "size", "online", "access_control_records"}}});
        EXPECT_EQ(reply.status, 200) << reply.text;
        return reply.json()["data"];
    }
    json bulkCreate(const std::string& name) const {
        return {{"data", {{"snap_vol_list", {{{"vol_id", volumeId}, {"snap_name", name}}}}}}};
    }
    std::size_t snapshotsOnArray() {
        const json state = sim.state();
        return state["groups"][0]["snapshots"].size();
    }

    arraysim::Simulator sim;
    arraysim::GroupInfo group;
    std::string volumeId;
};

TEST_F(AnswerFaults, SkipLetsTheFirstMatchingRequestsThroughAndStrikesTheNext) {
    auto client = loggedIn();
    auto third = fault("search:volumes");
    third.status = 500;
    third.code = "SM_internal";
    third.skip = 2;
    sim.injectFault(third);
    EXPECT_EQ(sim.state()["faults"][0]["skip"], 2);
    EXPECT_EQ(client.rest("POST", "/v1/snapshots/search").status, 200);  // not a matching request
    EXPECT_EQ(client.rest("POST", "/v1/volumes/search").status, 200);
    EXPECT_EQ(sim.state()["faults"][0]["skip"], 1);
    EXPECT_EQ(client.rest("POST", "/v1/volumes/search").status, 200);
    EXPECT_EQ(client.rest("POST", "/v1/volumes/search").code(), "SM_internal");
    EXPECT_EQ(client.rest("POST", "/v1/volumes/search").status, 200);
    EXPECT_TRUE(sim.state()["faults"].empty());

    auto negative = fault("search:volumes");
    negative.skip = -1;
    EXPECT_THROW(sim.injectFault(negative), std::invalid_argument);
}

TEST_F(AnswerFaults, WrongTypeAndMissingAttributeReachEveryObjectOfOneAnswer) {
    auto client = loggedIn();
    auto wrong = fault("search:volumes");
    wrong.wrongType = "size";
    sim.injectFault(wrong);
    json volumes = searchVolumes(client);
    ASSERT_EQ(volumes.size(), 2u);
    for (const auto& v : volumes) {
        EXPECT_TRUE(v["size"].is_string()) << v;
        EXPECT_TRUE(v["online"].is_boolean());
    }
    auto name = fault("search:volumes");
    name.wrongType = "online";
    sim.injectFault(name);
    EXPECT_TRUE(searchVolumes(client)[1]["online"].is_string());

    // Left out wherever it occurs, also inside the objects of a list attribute.
    auto missing = fault("search:volumes");
    missing.omit = "initiator_name";
    sim.injectFault(missing);
    volumes = searchVolumes(client);
    ASSERT_EQ(volumes[0]["access_control_records"].size(), 1u);
    EXPECT_FALSE(volumes[0]["access_control_records"][0].contains("initiator_name"));
    EXPECT_EQ(volumes[0]["access_control_records"][0]["access_protocol"], "iscsi");

    // The next answer is whole again, and an error answer is never reshaped.
    volumes = searchVolumes(client);
    EXPECT_TRUE(volumes[0]["size"].is_number());
    EXPECT_TRUE(volumes[0]["access_control_records"][0].contains("initiator_name"));
    auto refused = fault("update:volumes");
    refused.omit = "messages";
    sim.injectFault(refused);
    EXPECT_EQ(client.rest("PUT", "/v1/volumes/nosuchvolume", {{"data", {{"online", true}}}}).code(), "SM_enoent");
}

TEST_F(AnswerFaults, OversizedListRepeatsTheAnswersEntriesButTheArrayDoesTheWorkOnce) {
    auto client = loggedIn();
    auto big = fault("search:volumes");
    big.oversize = 5000;
    sim.injectFault(big);
    const json volumes = searchVolumes(client);
    ASSERT_EQ(volumes.size(), 5000u);
    EXPECT_EQ(volumes[4998], volumes[0]);
    EXPECT_EQ(volumes[4999]["name"], "vol-b");

    auto created = fault("bulk_create");
    created.oversize = 3;
    sim.injectFault(created);
    const auto reply = client.rest("POST", "/v1/snapshots/bulk_create", bulkCreate("set-1"));
    ASSERT_EQ(reply.status, 201) << reply.text;
    EXPECT_EQ(reply.json()["data"]["snap_list"].size(), 3u);
    EXPECT_EQ(snapshotsOnArray(), 1u);

    auto huge = fault("search:volumes");
    huge.oversize = 100001;
    EXPECT_THROW(sim.injectFault(huge), std::invalid_argument);
}

TEST_F(AnswerFaults, LostAnswerStillDidTheWork) {
    auto client = loggedIn();
    auto lost = fault("bulk_create");
    lost.lost = true;
    sim.injectFault(lost);
    EXPECT_THROW(client.rest("POST", "/v1/snapshots/bulk_create", bulkCreate("set-1")), Poco::Exception);
    EXPECT_EQ(snapshotsOnArray(), 1u);
    const json requests = sim.requestLog()["requests"];
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[1]["status"], 0);
    EXPECT_EQ(requests[1]["injected"], true);

    // The same request again is refused by the array: the name is taken now.
    auto again = loggedIn();
    EXPECT_EQ(again.rest("POST", "/v1/snapshots/bulk_create", bulkCreate("set-1")).code(), "SM_invalid_arg");
}

TEST_F(AnswerFaults, TrickledAnswerArrivesWholeButSlowly) {
    auto client = loggedIn();
    auto slow = fault("search:groups");
    slow.trickleMs = 40;
    slow.trickleBytes = 64;
    sim.injectFault(slow);
    const auto start = std::chrono::steady_clock::now();
    const auto reply = client.rest("POST", "/v1/groups/search", {{"fields", {"id", "name"}}});
    const auto elapsed = std::chrono::steady_clock::now() - start;
    ASSERT_EQ(reply.status, 200);
    EXPECT_EQ(reply.json()["data"][0]["id"], group.id);
    const auto pieces = static_cast<int>((reply.text.size() + 63) / 64);
    EXPECT_GE(elapsed, std::chrono::milliseconds(40 * pieces));

    auto zero = fault("search:groups");
    zero.trickleBytes = 0;
    EXPECT_THROW(sim.injectFault(zero), std::invalid_argument);
}

TEST_F(AnswerFaults, ControlApiTakesTheNewMembers) {
    simtest::Client control("127.0.0.1", sim.controlPort(), false);
    const json body = {{"group", group.id}, {"op", "search:snapshots"}, {"skip", 1},        {"lost", true},
                       {"trickle_ms", 5},   {"trickle_bytes", 3},       {"wrong_type", "id"}, {"omit", "name"},
                       {"oversize", 7}};
    ASSERT_EQ(control.call("POST", "/control/faults", body).status, 200);
    const json pending = sim.state()["faults"][0];
    for (const auto& [name, value] : body.items()) EXPECT_EQ(pending[name], value) << name;
    EXPECT_EQ(control.call("POST", "/control/faults", {{"group", group.id}, {"op", "tokens"}, {"lost", "yes"}}).status,
              400);
}

}  // namespace
