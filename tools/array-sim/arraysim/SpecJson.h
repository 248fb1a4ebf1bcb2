#pragma once
// The JSON forms of the simulator's specs and answers, shared by the control API and the
// scenario files. Readers throw std::invalid_argument naming the offending member.

#include "arraysim/Simulator.h"

#include <nlohmann/json.hpp>

namespace arraysim {

GroupSpec groupSpecFromJson(const nlohmann::json& json);
VolumeSpec volumeSpecFromJson(const nlohmann::json& json);
FaultSpec faultSpecFromJson(const nlohmann::json& json);
std::vector<std::string> stringListFromJson(const nlohmann::json& json, const char* what);

nlohmann::json toJson(const GroupInfo& group);
nlohmann::json toJson(const VolumeInfo& volume);

}  // namespace arraysim
