#include "SimulatorControl.h"

#include <atomic>
#include <fstream>
#include <stdexcept>

#include "http/Transport.h"

#ifdef VANTOR_INPROCESS_SIMULATOR
#include "arraysim/Simulator.h"
#endif

namespace restsdk_test {

struct SimulatorControl::InProcess {
#ifdef VANTOR_INPROCESS_SIMULATOR
  arraysim::Simulator simulator;
#endif
};

SimulatorControl::SimulatorControl(std::uint16_t controlPort) : mControlPort(controlPort) {}
SimulatorControl::~SimulatorControl() = default;

std::unique_ptr<SimulatorControl> SimulatorControl::open(std::string& whyNot) {
#ifdef VANTOR_INPROCESS_SIMULATOR
  whyNot.clear();
  auto inProcess = std::make_unique<InProcess>();
  std::unique_ptr<SimulatorControl> control(new SimulatorControl(inProcess->simulator.controlPort()));
  control->mInProcess = std::move(inProcess);
  return control;
#else
  std::ifstream in(kSimulatorReadyFile);
  if (!in) {
    whyNot = std::string("no simulator: ") + kSimulatorReadyFile +
             " is missing (build the native tree's vantor-array-sim; see the fixture's start log)";
    return nullptr;
  }
  const nlohmann::json ready = nlohmann::json::parse(in, nullptr, false);
  if (ready.is_discarded() || !ready.contains("control_port") || !ready["control_port"].is_number_unsigned()) {
    whyNot = std::string(kSimulatorReadyFile) + " has no control_port";
    return nullptr;
  }
  return std::unique_ptr<SimulatorControl>(new SimulatorControl(ready["control_port"].get<std::uint16_t>()));
#endif
}

nlohmann::json SimulatorControl::call(const std::string& method, const std::string& path, const nlohmann::json& body) {
  vantor::http::Request request;
  request.method = method;
  request.host = "127.0.0.1";
  request.port = mControlPort;
  request.path = path;
  if (!body.is_null()) {
    request.headers.push_back({"Content-Type", "application/json"});
    request.body = body.dump();
  }
  const vantor::http::Response response = vantor::http::sendOnce(request);
  if (response.status != 200)
    throw std::runtime_error("control " + method + " " + path + " answered " + std::to_string(response.status) + ": " +
                             response.body);
  return nlohmann::json::parse(response.body);
}

SimGroup SimulatorControl::addGroup(const std::string& version, int sessionTimeoutS) {
  static std::atomic<int> serial{0};
  const nlohmann::json group = call("POST", "/control/groups",
                                    {{"name", "restsdk-" + std::to_string(++serial)},
                                     {"version", version},
                                     {"rest", true},
                                     {"username", "admin"},
                                     {"password", "s3cret"},
                                     {"session_timeout_s", sessionTimeoutS}});
  return SimGroup{group.at("id").get<std::string>(), group.at("address").get<std::string>(),
                  group.at("rest_port").get<std::uint16_t>(), group.at("certificate_sha256").get<std::string>()};
}

std::string SimulatorControl::renewCertificate(const std::string& groupId, bool expired) {
  return call("POST", "/control/groups/" + groupId + "/certificate", {{"expired", expired}})
      .at("certificate_sha256")
      .get<std::string>();
}

nlohmann::json SimulatorControl::requestLog(const std::string& groupId) {
  const nlohmann::json log = call("GET", "/control/requests");
  return log.at("groups").value(groupId, nlohmann::json{{"connections", 0}, {"counts", nlohmann::json::object()}});
}

}  // namespace restsdk_test
