// The control API over HTTP and the scenario files of the executable.

#include "SimTestClient.h"

#include "arraysim/Scenario.h"
#include "arraysim/Simulator.h"

#include <gtest/gtest.h>

using nlohmann::json;

namespace {

TEST(Control, DrivesTheArrayOverHttp) {
    arraysim::Simulator sim;
    simtest::Client control("127.0.0.1", sim.controlPort(), false);

    const auto added = control.call("POST", "/control/groups",
                                    {{"name", "grp-h"}, {"version", "5.2.1.0-123-opt"}, {"rest", true},
                                     {"username", "ops"}, {"password", "pw"}, {"session_timeout_s", 60}});
    ASSERT_EQ(added.status, 200) << added.text;
    const json group = added.json();
    const auto volume = control.call("POST", "/control/groups/" + group["id"].get<std::string>() + "/volumes",
                                     {{"name", "vol-h"}, {"size", 2048}, {"acl", {{{"initiator_name", "iqn.x:h"}}}}});
    ASSERT_EQ(volume.status, 200) << volume.text;
    const std::string volumeId = volume.json()["id"];

    EXPECT_EQ(control.call("POST", "/control/volumes/" + volumeId + "/write").status, 200);
    const json state = control.call("GET", "/control/state").json();
    EXPECT_EQ(state["groups"][0]["volumes"][0]["data_version"], 2);

    simtest::RestClient rest(group["address"], group["rest_port"]);
    ASSERT_EQ(rest.login("ops", "pw").status, 201);
    EXPECT_EQ(rest.rest("POST", "/v1/volumes/search").status, 200);
    ASSERT_EQ(control.call("POST", "/control/expire_sessions", {{"group", group["id"]}}).status, 200);
    EXPECT_EQ(rest.rest("POST", "/v1/volumes/search").status, 401);

    const json log = control.call("GET", "/control/requests").json();
    EXPECT_EQ(log["groups"][group["id"].get<std::string>()]["counts"]["search:volumes"], 2);
    ASSERT_EQ(control.call("POST", "/control/reset_log").status, 200);
    EXPECT_TRUE(control.call("GET", "/control/requests").json()["requests"].empty());

    struct Refusal {
        const char* method;
        std::string path;
        json body;
        int status;
    };
    const Refusal refusals[] = {
        {"POST", "/control/groups/00nosuch/volumes", {{"name", "v"}}, 404},
        {"POST", "/control/volumes/06nosuch/write", nullptr, 404},
        {"POST", "/control/groups/" + group["id"].get<std::string>() + "/volumes", {{"name", "v"}, {"size", "big"}}, 400},
        {"POST", "/control/groups/" + group["id"].get<std::string>() + "/volumes", {{"name", "vol-h"}}, 400},
        {"POST", "/control/groups", {{"name", "grp-x"}, {"address", group["address"]}}, 400},
        {"GET", "/control/nothing", nullptr, 404},
    };
    for (const auto& r : refusals) EXPECT_EQ(control.call(r.method, r.path, r.body).status, r.status) << r.path;
}

TEST(Control, ScenarioBuildsGroupsVolumesAndFaultsByGroupName) {
    arraysim::Simulator sim;
    const json scenario = {
        {"groups",
         {{{"name", "grp-1"},
           {"soap_protocols", {"soap-v1"}},
           {"volumes", {{{"name", "a"}, {"size", 100}}, {{"name", "b"}, {"agent_type", "vvol"}}}}},
          {{"name", "grp-2"}, {"rest", false}}}},
        {"faults", {{{"group", "grp-1"}, {"op", "tokens"}, {"status", 401}, {"code", "SM_http_unauthorized"}}}}};
    arraysim::applyScenario(sim, scenario);

    const json ready = arraysim::readyDocument(sim);
    EXPECT_EQ(ready["control_port"], sim.controlPort());
    ASSERT_EQ(ready["groups"].size(), 2u);
    const json state = sim.state();
    EXPECT_EQ(state["groups"][0]["volumes"].size(), 2u);
    EXPECT_EQ(state["groups"][1]["soap_protocols"], json({"soap-v1"}));  // a group without REST
    EXPECT_EQ(state["faults"][0]["group"], ready["groups"][0]["id"]);

    simtest::RestClient rest(ready["groups"][0]["address"], ready["groups"][0]["rest_port"]);
    EXPECT_EQ(rest.login().status, 401);

    arraysim::Simulator another;
    EXPECT_THROW(arraysim::applyScenario(another, {{"faults", {{{"group", "nobody"}, {"op", "tokens"}}}}}),
                 std::invalid_argument);
    EXPECT_THROW(arraysim::applyScenario(another, json::array()), std::invalid_argument);
}

}  // namespace
