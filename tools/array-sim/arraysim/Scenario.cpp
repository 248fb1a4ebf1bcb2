#include "arraysim/Scenario.h"

#include "arraysim/SpecJson.h"

#include <map>
#include <stdexcept>

namespace arraysim {

void applyScenario(Simulator& simulator, const nlohmann::json& scenario) {
    if (!scenario.is_object()) throw std::invalid_argument("a scenario must be a JSON object");
    std::map<std::string, std::string> groupIds;  // name -> id
    for (const auto& group : scenario.value("groups", nlohmann::json::array())) {
        const GroupInfo info = simulator.addGroup(groupSpecFromJson(group));
        if (!groupIds.emplace(info.name, info.id).second) {
            throw std::invalid_argument("two groups are named '" + info.name + "'");
        }
        if (group.contains("soap_protocols")) {
            simulator.setSoapProtocols(info.id, stringListFromJson(group["soap_protocols"], "soap_protocols"));
        }
        for (const auto& volume : group.value("volumes", nlohmann::json::array())) {
            simulator.addVolume(info.id, volumeSpecFromJson(volume));
        }
    }
    for (const auto& faultJson : scenario.value("faults", nlohmann::json::array())) {
        FaultSpec fault = faultSpecFromJson(faultJson);
        const auto id = groupIds.find(fault.group);
        if (id == groupIds.end()) throw std::invalid_argument("a fault names the unknown group '" + fault.group + "'");
        fault.group = id->second;
        simulator.injectFault(fault);
    }
}

nlohmann::json readyDocument(const Simulator& simulator) {
    nlohmann::json groups = nlohmann::json::array();
    for (const auto& group : simulator.groups()) groups.push_back(toJson(group));
    return {{"control_port", simulator.controlPort()}, {"control_url", simulator.controlUrl()}, {"groups", groups}};
}

}  // namespace arraysim
