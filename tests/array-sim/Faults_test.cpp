// Injected faults and the request log, seen from a REST client over HTTPS: status faults,
// delays, drops, malformed and reshaped answers (wrong types, missing attributes, oversized
// lists, trickled bodies, lost answers) and the fault that strikes the N-th request only.

#include "SimTestClient.h"

#include "arraysim/Simulator.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>

using nlohmann::json;

namespace {

class Faults : public ::testing::Test {
protected:
    void SetUp() override {
        arraysim::GroupSpec spec;
        spec.name = "grp-a";
        group = sim.addGroup(spec);
        spec.name = "grp-b";
        other = sim.addGroup(spec);
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
    std::size_t snapshotsOnArray() { return sim.state()["groups"][0]["snapshots"].size(); }

    arraysim::Simulator sim;
    arraysim::GroupInfo group;
    arraysim::GroupInfo other;
    std::string volumeId;
};

TEST_F(Faults, StatusFaultsHitTheNextCountRequestsOfTheirOperationOnly) {
    auto client = loggedIn();
    auto f = fault("search:volumes");
    f.status = 503;
    f.code = "SM_unavailable";
    f.text = "Service is busy";
    f.count = 2;
    sim.injectFault(f);
    auto elsewhere = f;
    elsewhere.group = other.id;
    elsewhere.op = "search:snapshots";
    sim.injectFault(elsewhere);

    EXPECT_EQ(client.rest("POST", "/v1/snapshots/search").status, 200);  // other operation
    for (int i = 0; i < 2; ++i) {
        const auto reply = client.rest("POST", "/v1/volumes/search");
        EXPECT_EQ(reply.status, 503);
        EXPECT_EQ(reply.json(), (json{{"messages", {{{"code", "SM_unavailable"}, {"text", "Service is busy"},
                                                      {"severity", "error"}}}}}));
    }
    EXPECT_EQ(client.rest("POST", "/v1/volumes/search").status, 200);

    EXPECT_EQ(sim.requestCount(group.id, "search:volumes"), 3);
    const json requests = sim.requestLog()["requests"];
    ASSERT_EQ(requests.size(), 5u);  // tokens, search:snapshots, three search:volumes
    EXPECT_EQ(requests[2]["injected"], true);
    EXPECT_EQ(requests[4]["injected"], false);
    EXPECT_EQ(requests[4]["status"], 200);

    // A status with no code answers an empty message list.
    auto bare = fault("bulk_create");
    bare.status = 500;
    sim.injectFault(bare);
    const auto reply = client.rest("POST", "/v1/snapshots/bulk_create", json::object());
    EXPECT_EQ(reply.status, 500);
    EXPECT_EQ(reply.json(), (json{{"messages", json::array()}}));
}

// (A delay: tests/e2e, the restore, the late create and the password search.)
TEST_F(Faults, DropAndMalformedBodies) {
    auto client = loggedIn();
    auto drop = fault("update:volumes");
    drop.drop = true;
    sim.injectFault(drop);
    EXPECT_THROW(client.rest("PUT", "/v1/volumes/x", {{"data", {{"online", false}}}}), Poco::Exception);

    auto malformed = fault("debug_log");
    malformed.malformed = true;
    malformed.status = 500;
    sim.injectFault(malformed);
    auto fresh = loggedIn();
    const auto reply = fresh.rest("POST", "/v1/debug_log", {{"data", {{"message", "m"}, {"level", "info"}}}});
    EXPECT_EQ(reply.status, 500);
    EXPECT_TRUE(reply.json().is_discarded()) << reply.text;

    auto unauth = fault("tokens");
    unauth.status = 401;
    unauth.code = "SM_http_unauthorized";
    sim.injectFault(unauth);
    simtest::RestClient refused(group.address, group.restPort);
    EXPECT_EQ(refused.login().status, 401);
    EXPECT_EQ(refused.login().status, 201);

    const json requests = sim.requestLog()["requests"];
    bool sawDrop = false;
    for (const auto& r : requests) {
        if (r["op"] == "update:volumes") {
            EXPECT_EQ(r["status"], 0);
            sawDrop = true;
        }
    }
    EXPECT_TRUE(sawDrop);
}

TEST_F(Faults, CountsTheConnectionsEachGroupAccepted) {
    sim.resetLog();
    {
        auto client = loggedIn();
        for (int i = 0; i < 3; ++i) EXPECT_EQ(client.rest("POST", "/v1/volumes/search").status, 200);
    }
    EXPECT_EQ(sim.connectionCount(group.id), 1);  // one kept-alive connection
    {
        auto second = loggedIn();
        simtest::RestClient third(other.address, other.restPort);
        EXPECT_EQ(third.login().status, 201);
    }
    EXPECT_EQ(sim.connectionCount(group.id), 2);
    EXPECT_EQ(sim.connectionCount(other.id), 1);
    EXPECT_EQ(sim.requestCount(group.id, "tokens"), 2);

    sim.resetLog();
    EXPECT_EQ(sim.connectionCount(group.id), 0);
    EXPECT_TRUE(sim.requestLog()["requests"].empty());
}

// (Skip: tests/e2e/RestoreAndSweep_test.cpp lets db-data's requests through and strikes db-log's.)
TEST_F(Faults, WrongTypeAndMissingAttributeReachEveryObjectOfOneAnswer) {
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

    // An error answer is never reshaped. (That the next answer is whole again:
    // ArrayWrapper_test.cpp, a hidden name.)
    auto refused = fault("update:volumes");
    refused.omit = "messages";
    sim.injectFault(refused);
    EXPECT_EQ(client.rest("PUT", "/v1/volumes/nosuchvolume", {{"data", {{"online", true}}}}).code(), "SM_enoent");
}

TEST_F(Faults, OversizedListRepeatsTheAnswersEntriesButTheArrayDoesTheWorkOnce) {
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
}

TEST_F(Faults, LostAnswerStillDidTheWork) {
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

TEST_F(Faults, TrickledAnswerArrivesWholeButSlowly) {
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
}

TEST_F(Faults, ControlApiTakesEveryMember) {
    simtest::Client control("127.0.0.1", sim.controlPort(), false);
    const json body = {{"group", group.id}, {"op", "search:snapshots"}, {"status", 503}, {"code", "SM_unavailable"},
                       {"text", "busy"},    {"delay_ms", 4},  {"skip", 1},  {"lost", true},  {"trickle_ms", 5},
                       {"trickle_bytes", 3}, {"wrong_type", "id"}, {"omit", "name"}, {"oversize", 7}};
    ASSERT_EQ(control.call("POST", "/control/faults", body).status, 200);
    const json pending = sim.state()["faults"][0];
    for (const auto& [name, value] : body.items()) EXPECT_EQ(pending[name], value) << name;
    // (A member of the wrong type: Control_test.cpp, through the same reader.)
}

TEST_F(Faults, InvalidFaultsAreRefused) {
    const std::pair<const char*, std::function<void(arraysim::FaultSpec&)>> invalid[] = {
        {"unknown operation", [](auto& f) { f.op = "search:everything"; }},
        {"zero count", [](auto& f) { f.count = 0; }},
        {"negative skip", [](auto& f) { f.skip = -1; }},
        {"oversize beyond the bound", [](auto& f) { f.oversize = 100001; }},
        {"empty trickle pieces", [](auto& f) { f.trickleBytes = 0; }},
    };
    for (const auto& [what, spoil] : invalid) {
        auto f = fault("tokens");
        spoil(f);
        EXPECT_THROW(sim.injectFault(f), std::invalid_argument) << what;
    }
    auto lost = fault("tokens");
    lost.group = "00nosuchgroup";
    EXPECT_THROW(sim.injectFault(lost), std::out_of_range);
    EXPECT_TRUE(sim.state()["faults"].empty());
}

}  // namespace
