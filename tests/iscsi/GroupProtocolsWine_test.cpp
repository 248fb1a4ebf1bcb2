// The protocol query of the Windows build, under Wine, against the native simulator that the
// fixture started (its ready file names the groups). A refused connection is left to the
// native tests: under Wine gSOAP reports it only after the whole connect timeout.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "HostTestSupport.h"
#include "array/GroupProtocols.h"
#include "http/Transport.h"

namespace {

// The fixture's ready file, as Wine names the Unix path (drive Z: is the root).
nlohmann::json ReadyDocument() {
  const char* unixPath = std::getenv("VANTOR_SIM_READY_FILE");
  if (!unixPath) return {};
  std::string path = std::string("Z:") + unixPath;
  for (auto& c : path) {
    if (c == '/') c = '\\';
  }
  std::ifstream in(path);
  if (!in) return {};
  return nlohmann::json::parse(in, nullptr, false);
}

TEST(GroupProtocolsUnderWine, AnswersTheNativeSimulatorsListsAndFaults) {
  const nlohmann::json ready = ReadyDocument();
  if (!ready.is_object()) GTEST_SKIP() << "the native simulator is not running (see the fixture's output)";
  std::map<std::string, nlohmann::json> groups;
  for (const auto& group : ready.at("groups")) groups[group.at("name").get<std::string>()] = group;

  hosttest::TraceCapture trace;
  EXPECT_EQ(Vantor::GetProtocols(groups.at("rest").at("address")), Vantor::GROUP_PROTOCOLS_REST);
  EXPECT_EQ(Vantor::GetProtocols(groups.at("upper").at("address")), Vantor::GROUP_PROTOCOLS_REST);
  EXPECT_EQ(Vantor::GetProtocols(groups.at("soaponly").at("address")), Vantor::GROUP_PROTOCOLS_NO_REST);
  EXPECT_EQ(Vantor::GetProtocols(groups.at("empty").at("address")), Vantor::GROUP_PROTOCOLS_NO_REST);
  EXPECT_TRUE(trace.Contains("getProtocols returned empty protocol list."));

  vantor::http::Request fault;
  fault.method = "POST";
  fault.host = "127.0.0.1";
  fault.port = static_cast<std::uint16_t>(ready.at("control_port").get<int>());
  fault.path = "/control/faults";
  fault.headers.push_back({"Content-Type", "application/json"});
  fault.body = nlohmann::json{{"group", groups.at("rest").at("id")}, {"op", "soap"}, {"status", 500}, {"count", 1}}.dump();
  ASSERT_EQ(vantor::http::sendOnce(fault).status, 200);
  EXPECT_EQ(Vantor::GetProtocols(groups.at("rest").at("address")), Vantor::GROUP_PROTOCOLS_QUERY_FAILED);
  EXPECT_TRUE(trace.Contains(" returned by getProtocols."));
  EXPECT_EQ(Vantor::GetProtocols(groups.at("rest").at("address")), Vantor::GROUP_PROTOCOLS_REST);
}

}  // namespace
