#pragma once
// Drives the array simulator through its control API (plain HTTP on 127.0.0.1), so the same
// client tests run natively against an in-process simulator and in the Windows build, under
// Wine, against the native simulator process that the test fixture started.
#include <nlohmann/json.hpp>

#include <cstdint>
#include <memory>
#include <string>

namespace restsdk_test {

struct SimGroup {
  std::string id;
  std::string address;
  std::uint16_t restPort = 0;
  std::string certificateSha256;  // what the group's REST server presents
};

class SimulatorControl {
 public:
  // An in-process simulator where this build has one; otherwise the simulator process named
  // by the ready file in the working directory. Null with the reason in `whyNot` when neither.
  static std::unique_ptr<SimulatorControl> open(std::string& whyNot);
  ~SimulatorControl();

  nlohmann::json call(const std::string& method, const std::string& path, const nlohmann::json& body = {});

  SimGroup addGroup(const std::string& version = "6.1.0.0", int sessionTimeoutS = 1800);
  // Restarts the group's REST server with a new certificate; answers its fingerprint.
  std::string renewCertificate(const std::string& groupId, bool expired = false);
  // The control server's record of one group: connections and request counts by operation.
  nlohmann::json requestLog(const std::string& groupId);
  int connections(const std::string& groupId) { return requestLog(groupId).at("connections"); }
  int requests(const std::string& groupId, const std::string& op) {
    return requestLog(groupId).at("counts").value(op, 0);
  }

 private:
  struct InProcess;
  explicit SimulatorControl(std::uint16_t controlPort);
  std::uint16_t mControlPort;
  std::unique_ptr<InProcess> mInProcess;
};

// The file the fixture's start script writes (relative to the test's working directory).
inline constexpr const char* kSimulatorReadyFile = "array-sim-ready.json";

}  // namespace restsdk_test
