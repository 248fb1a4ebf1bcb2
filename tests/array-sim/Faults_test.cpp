// Injected faults and the request log, seen from a REST client over HTTPS.

#include "SimTestClient.h"

#include "arraysim/Simulator.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <chrono>

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

    arraysim::Simulator sim;
    arraysim::GroupInfo group;
    arraysim::GroupInfo other;
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

TEST_F(Faults, DelayDropAndMalformedBodies) {
    auto client = loggedIn();
    auto slow = fault("search:groups");
    slow.delayMs = 300;
    sim.injectFault(slow);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.rest("POST", "/v1/groups/search").status, 200);  // slowed, not failed
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));

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
    EXPECT_EQ(sim.requestCount(group.id, "search:volumes"), 3);
    {
        auto second = loggedIn();
        simtest::RestClient third(other.address, other.restPort);
        EXPECT_EQ(third.login().status, 201);
    }
    EXPECT_EQ(sim.connectionCount(group.id), 2);
    EXPECT_EQ(sim.connectionCount(other.id), 1);
    const json log = sim.requestLog();
    EXPECT_EQ(log["groups"][group.id]["connections"], 2);
    EXPECT_EQ(log["groups"][group.id]["counts"]["tokens"], 2);

    sim.resetLog();
    EXPECT_EQ(sim.connectionCount(group.id), 0);
    EXPECT_TRUE(sim.requestLog()["requests"].empty());
}

TEST_F(Faults, UnknownOperationsAndGroupsAreRefused) {
    EXPECT_THROW(sim.injectFault(fault("search:everything")), std::invalid_argument);
    auto zero = fault("tokens");
    zero.count = 0;
    EXPECT_THROW(sim.injectFault(zero), std::invalid_argument);
    auto lost = fault("tokens");
    lost.group = "00nosuchgroup";
    EXPECT_THROW(sim.injectFault(lost), std::out_of_range);
}

}  // namespace
