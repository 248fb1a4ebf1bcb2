#include "arraysim/SpecJson.h"

#include <stdexcept>

namespace arraysim {
namespace {

void requireObject(const nlohmann::json& json, const char* what) {
    if (!json.is_object()) throw std::invalid_argument(std::string(what) + " must be a JSON object");
}

// The member converted to T, or fallback when absent or null; a value of another type is the
// caller's mistake.
template <typename T>
T member(const nlohmann::json& json, const char* name, T fallback) {
    const auto it = json.find(name);
    if (it == json.end() || it->is_null()) return fallback;
    try {
        return it->get<T>();
    } catch (const nlohmann::json::exception&) {
        throw std::invalid_argument(std::string("'") + name + "' has the wrong type");
    }
}

}  // namespace

std::vector<std::string> stringListFromJson(const nlohmann::json& json, const char* what) {
    if (!json.is_array()) throw std::invalid_argument(std::string(what) + " must be a list of strings");
    std::vector<std::string> list;
    for (const auto& item : json) {
        if (!item.is_string()) throw std::invalid_argument(std::string(what) + " must be a list of strings");
        list.push_back(item.get<std::string>());
    }
    return list;
}

GroupSpec groupSpecFromJson(const nlohmann::json& json) {
    requireObject(json, "a group");
    GroupSpec spec;
    spec.name = member(json, "name", spec.name);
    spec.address = member(json, "address", spec.address);
    spec.version = member(json, "version", spec.version);
    spec.rest = member(json, "rest", spec.rest);
    spec.username = member(json, "username", spec.username);
    spec.password = member(json, "password", spec.password);
    spec.sessionTimeoutS = member(json, "session_timeout_s", spec.sessionTimeoutS);
    spec.certificateFile = member(json, "certificate_file", spec.certificateFile);
    spec.clockOffsetS = member(json, "clock_offset_s", spec.clockOffsetS);
    return spec;
}

VolumeSpec volumeSpecFromJson(const nlohmann::json& json) {
    requireObject(json, "a volume");
    VolumeSpec spec;
    spec.name = member(json, "name", spec.name);
    spec.sizeMiB = member(json, "size", spec.sizeMiB);
    spec.description = member(json, "description", spec.description);
    spec.iscsiTargetScope = member(json, "iscsi_target_scope", spec.iscsiTargetScope);
    spec.agentType = member(json, "agent_type", spec.agentType);
    spec.volcollId = member(json, "volcoll_id", spec.volcollId);
    spec.presentation = member(json, "presentation", spec.presentation);
    for (const auto& pair : member(json, "metadata", nlohmann::json::array())) {
        requireObject(pair, "a metadata entry");
        spec.metadata.push_back({member(pair, "key", std::string()), member(pair, "value", std::string())});
    }
    for (const auto& record : member(json, "acl", nlohmann::json::array())) {
        requireObject(record, "an access control record");
        spec.acl.push_back({member(record, "access_protocol", std::string("iscsi")),
                            member(record, "initiator_name", std::string())});
    }
    return spec;
}

FaultSpec faultSpecFromJson(const nlohmann::json& json) {
    requireObject(json, "a fault");
    FaultSpec fault;
    fault.group = member(json, "group", fault.group);
    fault.op = member(json, "op", fault.op);
    fault.status = member(json, "status", fault.status);
    fault.code = member(json, "code", fault.code);
    fault.text = member(json, "text", fault.text);
    fault.count = member(json, "count", fault.count);
    fault.delayMs = member(json, "delay_ms", fault.delayMs);
    fault.drop = member(json, "drop", fault.drop);
    fault.malformed = member(json, "malformed", fault.malformed);
    fault.skip = member(json, "skip", fault.skip);
    fault.lost = member(json, "lost", fault.lost);
    fault.trickleMs = member(json, "trickle_ms", fault.trickleMs);
    fault.trickleBytes = member(json, "trickle_bytes", fault.trickleBytes);
    fault.wrongType = member(json, "wrong_type", fault.wrongType);
    fault.omit = member(json, "omit", fault.omit);
    fault.oversize = member(json, "oversize", fault.oversize);
    fault.floodBytes = member(json, "flood_bytes", fault.floodBytes);
    fault.nestDepth = member(json, "nest_depth", fault.nestDepth);
    return fault;
}

nlohmann::json toJson(const GroupInfo& group) {
    return {{"id", group.id},
            {"name", group.name},
            {"address", group.address},
            {"rest_port", group.restPort},
            {"soap_port", group.soapPort},
            {"target_name", group.targetName},
            {"certificate_sha256", group.certificateSha256},
            {"rest_url", group.restUrl()},
            {"soap_url", group.soapUrl()}};
}

nlohmann::json toJson(const VolumeInfo& volume) {
    return {{"id", volume.id},
            {"name", volume.name},
            {"serial_number", volume.serialNumber},
            {"target_name", volume.targetName},
            {"vpd_t10", volume.vpdT10},
            {"vpd_ieee0", volume.vpdIeee0},
            {"vpd_ieee1", volume.vpdIeee1},
            {"virtual_disk_serial", volume.virtualDiskSerial}};
}

}  // namespace arraysim
