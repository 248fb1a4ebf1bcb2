// The rules the simulated array enforces, exercised over real HTTPS against an in-process
// simulator, with the simulator's state as the evidence.

#include "SimTestClient.h"

#include "arraysim/Simulator.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <thread>

using nlohmann::json;

namespace {

constexpr const char* kHost = "iqn.1991-05.com.microsoft:host1";

class ArrayRules : public ::testing::Test {
protected:
    void SetUp() override {
        arraysim::GroupSpec spec;
        spec.name = "grp-a";
        group = sim.addGroup(spec);
        arraysim::VolumeSpec v;
        v.name = "vol-a";
        v.acl = {{"iscsi", kHost}};
        volA = sim.addVolume(group.id, v);
        v.name = "vol-b";
        v.iscsiTargetScope = "group";
        v.volcollId = "coll-1";
        volB = sim.addVolume(group.id, v);
        client = std::make_unique<simtest::RestClient>(group.address, group.restPort);
        ASSERT_EQ(client->login().status, 201);
    }

    simtest::Reply bulk(const json& entries) {
        return client->rest("POST", "/v1/snapshots/bulk_create", {{"data", {{"snap_vol_list", entries}}}});
    }
    std::string snapshot(const arraysim::VolumeInfo& volume, const std::string& name) {
        const auto reply = bulk(json::array({{{"vol_id", volume.id}, {"snap_name", name}}}));
        EXPECT_EQ(reply.status, 201) << reply.text;
        return reply.json()["data"]["snap_list"][0]["id"];
    }
    json groupState() { return sim.state()["groups"][0]; }
    json find(const char* list, const std::string& id) {
        const json state = groupState();
        for (const auto& o : state[list]) {
            if (o["id"] == id) return o;
        }
        return nullptr;
    }
    simtest::Reply setOnline(const std::string& set, const std::string& id, bool online, bool force = false) {
        return client->rest("PUT", "/v1/" + set + "/" + id, {{"data", {{"online", online}}}, {"force", force}});
    }

    arraysim::Simulator sim;
    arraysim::GroupInfo group;
    arraysim::VolumeInfo volA;
    arraysim::VolumeInfo volB;
    std::unique_ptr<simtest::RestClient> client;
};

TEST_F(ArrayRules, BulkCreateIsAllOrNothingWithUniqueNamesPerVolume) {
    snapshot(volA, "daily");
    struct Case {
        const char* what;
        json entries;
        int status;
        const char* code;
    };
    const Case refused[] = {
        {"name taken on the volume",
         {{{"vol_id", volB.id}, {"snap_name", "daily"}}, {{"vol_id", volA.id}, {"snap_name", "daily"}}}, 400,
         "SM_invalid_arg"},
        {"same name twice in one request",
         {{{"vol_id", volB.id}, {"snap_name", "x"}}, {{"vol_id", volB.id}, {"snap_name", "x"}}}, 400, "SM_invalid_arg"},
        {"unknown volume", {{{"vol_id", volB.id}, {"snap_name", "y"}}, {{"vol_id", "06nothere"}, {"snap_name", "y"}}},
         404, "SM_enoent"},
        {"missing snap_name", {{{"vol_id", volB.id}}}, 400, "SM_invalid_arg"},
        {"empty list", json::array(), 400, "SM_invalid_arg"},
    };
    for (const auto& c : refused) {
        const auto reply = bulk(c.entries);
        EXPECT_EQ(reply.status, c.status) << c.what;
        EXPECT_EQ(reply.code(), c.code) << c.what;
        EXPECT_EQ(groupState()["snapshots"].size(), 1u) << c.what << ": nothing may be created";
    }

    sim.writeVolume(volB.id);
    // (The group target of a group-scoped parent, metadata and the offline state: ArrayWrapper_test.cpp.)
    const auto reply = bulk({{{"vol_id", volB.id}, {"snap_name", "daily"}},
                             {{"vol_id", volA.id}, {"snap_name", "hourly"}}});
    ASSERT_EQ(reply.status, 201) << reply.text;
    const json list = reply.json()["data"]["snap_list"];
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0]["vol_name"], "vol-b");  // request order
    EXPECT_EQ(list[1]["vol_name"], "vol-a");
    EXPECT_NE(list[1]["target_name"], volA.targetName);   // volume-scoped: a target of its own
    EXPECT_EQ(list[0]["volcoll_id"], "coll-1");
    EXPECT_EQ(list[0]["creation_time"], list[1]["creation_time"]);
    std::set<std::string> identities = {volA.serialNumber, volB.serialNumber, volA.vpdIeee1, volB.vpdIeee1};
    for (const auto& s : list) {
        EXPECT_EQ(s["writable"], false);
        EXPECT_EQ(s["serial_number"].get<std::string>().size(), 32u);
        EXPECT_TRUE(identities.insert(s["serial_number"]).second);
        EXPECT_TRUE(identities.insert(s["vpd_ieee1"]).second);
    }
    EXPECT_EQ(find("snapshots", list[0]["id"])["data_version"], 2);  // the write before
    EXPECT_EQ(find("snapshots", list[1]["id"])["data_version"], 1);
}

TEST_F(ArrayRules, OnlineStateChangesAndDeletion) {
    const std::string snap = snapshot(volA, "s1");
    EXPECT_EQ(setOnline("snapshots", snap, false).code(), "SM_ealready");
    EXPECT_EQ(setOnline("snapshots", snap, true).status, 200);
    EXPECT_EQ(setOnline("snapshots", snap, true).code(), "SM_ealready");
    EXPECT_EQ(client->rest("DELETE", "/v1/snapshots/" + snap).code(), "SM_ebusy");
    EXPECT_EQ(setOnline("snapshots", snap, false).status, 200);
    EXPECT_EQ(client->rest("DELETE", "/v1/snapshots/" + snap).status, 200);
    EXPECT_EQ(client->rest("DELETE", "/v1/snapshots/" + snap).code(), "SM_enoent");
    EXPECT_TRUE(groupState()["snapshots"].empty());
    EXPECT_EQ(setOnline("volumes", volA.id, true).code(), "SM_ealready");
}

TEST_F(ArrayRules, RestoreNeedsAnOfflineVolumeAndItsOwnSnapshot) {
    const std::string own = snapshot(volA, "before");
    const std::string other = snapshot(volB, "before");
    sim.writeVolume(volA.id);
    const auto restore = [&](const std::string& snap) {
        return client->rest("POST", "/v1/volumes/" + volA.id + "/actions/restore",
                            {{"data", {{"id", volA.id}, {"base_snap_id", snap}}}});
    };
    EXPECT_EQ(restore(own).code(), "SM_ebusy");
    ASSERT_EQ(setOnline("volumes", volA.id, false).status, 200);
    EXPECT_EQ(restore(other).code(), "SM_invalid_arg");
    EXPECT_EQ(restore("05missing").code(), "SM_enoent");
    EXPECT_EQ(find("volumes", volA.id)["data_version"], 2);
    EXPECT_EQ(restore(own).status, 200);
    EXPECT_EQ(find("volumes", volA.id)["data_version"], 1);
    EXPECT_EQ(restore(own).code(), "SM_ealready");
    // A write after the restore is new data, not that of any snapshot.
    sim.writeVolume(volA.id);
    EXPECT_EQ(find("volumes", volA.id)["data_version"], 3);
}

TEST_F(ArrayRules, OfflineWithConnectionsNeedsForceAndEndsTheSessions) {
    const auto login = sim.iscsiLogin(kHost, volA.targetName);
    ASSERT_EQ(login.status, 0u);
    EXPECT_EQ(find("volumes", volA.id)["num_connections"], 1);
    EXPECT_EQ(setOnline("volumes", volA.id, false).code(), "SM_ebusy");
    EXPECT_EQ(setOnline("volumes", volA.id, false, true).status, 200);
    EXPECT_TRUE(sim.hostSessions(kHost).empty());
    EXPECT_EQ(find("volumes", volA.id)["num_connections"], 0);
}

// The group's clock and the creation times: tests/e2e/AdministratorScenarios_test.cpp (prune).
TEST_F(ArrayRules, CreationTimesFollowTheGroupsClockAndSnapshotsCountOnlyTheSessionsThatCarryThem) {
    const auto hostNow = [] { return std::chrono::system_clock::now().time_since_epoch() / std::chrono::seconds(1); };
    arraysim::GroupSpec ahead;
    ahead.name = "grp-ahead";
    ahead.clockOffsetS = 3600;
    arraysim::VolumeSpec v;
    v.name = "vol-c";
    const std::int64_t before = hostNow();
    sim.addVolume(sim.addGroup(ahead).id, v);
    const std::int64_t made = sim.state()["groups"][1]["volumes"][0]["creation_time"];
    EXPECT_GE(made, before + 3600);
    EXPECT_LE(made, hostNow() + 3600);
    const std::string own = snapshot(volA, "own-target");
    const std::string shared = snapshot(volB, "group-target");
    // A session to a snapshot's own target counts whatever its state (offlining a snapshot
    // ends no session); under the group's target only an online snapshot is carried.
    const std::string ownTarget = find("snapshots", own)["target_name"];
    ASSERT_EQ(setOnline("snapshots", own, true).status, 200);
    ASSERT_EQ(sim.iscsiLogin(kHost, ownTarget).status, 0u);
    ASSERT_EQ(setOnline("snapshots", own, false).status, 200);
    ASSERT_EQ(sim.iscsiLogin(kHost, group.targetName).status, 0u);
    EXPECT_EQ(find("snapshots", own)["num_connections"], 1);
    EXPECT_EQ(find("snapshots", shared)["num_connections"], 0);
    ASSERT_EQ(setOnline("snapshots", shared, true).status, 200);
    EXPECT_EQ(find("snapshots", shared)["num_connections"], 1);
}

TEST_F(ArrayRules, MalformedRequestsAreRefusedWithoutSideEffects) {
    struct Case {
        const char* what;
        const char* method;
        std::string path;
        std::string body;
        int status;
    };
    const Case cases[] = {
        {"not JSON", "POST", "/v1/snapshots/bulk_create", "{\"data\": [", 400},
        // Valid JSON in a member the search ignores: only the depth is wrong.
        {"nested too deeply", "POST", "/v1/volumes/search",
         "{\"x\":" + std::string(100, '[') + std::string(100, ']') + "}", 400},
        {"data missing", "PUT", "/v1/volumes/" + volA.id, "{}", 400},
        {"online not a boolean", "PUT", "/v1/volumes/" + volA.id, R"({"data":{"online":"no"}})", 400},
        {"snap_vol_list not a list", "POST", "/v1/snapshots/bulk_create", R"({"data":{"snap_vol_list":{}}})", 400},
        {"restore without snapshot", "POST", "/v1/volumes/" + volA.id + "/actions/restore", R"({"data":{}})", 400},
        {"unknown level", "POST", "/v1/debug_log", R"({"data":{"message":"m","level":"loud"}})", 400},
        {"unknown volume", "PUT", "/v1/volumes/06nosuch", R"({"data":{"online":false}})", 404},
        {"unknown route", "GET", "/v1/volumes", "", 404},
    };
    for (const auto& c : cases) {
        const auto reply = client->callText(c.method, c.path, c.body, client->token);
        EXPECT_EQ(reply.status, c.status) << c.what << ": " << reply.text;
        EXPECT_FALSE(reply.code().empty()) << c.what;
    }
    const json state = groupState();
    EXPECT_TRUE(state["snapshots"].empty());
    EXPECT_EQ(state["volumes"][0]["online"], true);
    EXPECT_TRUE(state["debug_log"].empty());
}

TEST_F(ArrayRules, SessionsNeedValidUnexpiredTokens) {
    simtest::RestClient other(group.address, group.restPort);
    EXPECT_EQ(other.login("admin", "wrong").code(), "SM_http_unauthorized");
    EXPECT_EQ(other.rest("POST", "/v1/volumes/search").status, 401);
    other.token = "not-a-token";
    EXPECT_EQ(other.rest("POST", "/v1/volumes/search").code(), "SM_http_unauthorized");

    // (An expired session: Control_test.cpp over the control API, ArrayWrapper_test.cpp renewing it.)
    arraysim::GroupSpec shortLived;
    shortLived.name = "grp-short";
    shortLived.sessionTimeoutS = 1;
    const auto second = sim.addGroup(shortLived);
    simtest::RestClient idle(second.address, second.restPort);
    ASSERT_EQ(idle.login().status, 201);
    EXPECT_EQ(idle.rest("POST", "/v1/volumes/search").status, 200);
    std::this_thread::sleep_for(std::chrono::milliseconds(1300));  // idle beyond its 1 s timeout
    EXPECT_EQ(idle.rest("POST", "/v1/volumes/search").code(), "SM_http_unauthorized");
    // The session is gone, not just refused once.
    EXPECT_EQ(idle.rest("POST", "/v1/volumes/search").code(), "SM_http_unauthorized");

    ASSERT_EQ(client->login().status, 201);
    const auto login = client->login();
    const std::string tokenId = login.json()["data"]["id"];
    EXPECT_EQ(client->rest("DELETE", "/v1/tokens/" + tokenId).status, 200);
    EXPECT_EQ(client->rest("POST", "/v1/volumes/search").status, 401);
}

}  // namespace
