#pragma once
// Scenario files of the vantor-array-sim executable (format in docs/array-simulator.md) and the
// ready file it writes once every server listens.

#include "arraysim/Simulator.h"

#include <nlohmann/json.hpp>

namespace arraysim {

// Adds the scenario's groups with their volumes, then its faults (which name groups by name).
// Throws std::invalid_argument for a malformed scenario.
void applyScenario(Simulator& simulator, const nlohmann::json& scenario);

// {"control_port","control_url","groups":[{"id","name","address",...}]}
nlohmann::json readyDocument(const Simulator& simulator);

}  // namespace arraysim
