#include "arraysim/ArrayState.h"

#include "arraysim/ArrayError.h"
#include "arraysim/JsonAccess.h"
#include "arraysim/SearchFilter.h"

#include <algorithm>
#include <set>
#include <stdexcept>

namespace arraysim {
namespace {

constexpr int kBlockSize = 4096;

std::string last8(const std::string& text) { return text.size() > 8 ? text.substr(text.size() - 8) : text; }

nlohmann::json aclJson(const std::vector<AccessControlRecord>& acl) {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& r : acl) list.push_back({{"access_protocol", r.accessProtocol}, {"initiator_name", r.initiatorName}});
    return list;
}

nlohmann::json metadataJson(const std::vector<KeyValue>& metadata) {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& kv : metadata) list.push_back({{"key", kv.key}, {"value", kv.value}});
    return list;
}

// The LUN attributes volumes and snapshots answer alike.
void putLunAttributes(nlohmann::json& object, const Lun& lun) {
    const std::span<const std::uint8_t> eui(lun.eui64);
    object["id"] = lun.id;
    object["name"] = lun.name;
    object["description"] = lun.description;
    object["size"] = lun.sizeMiB;
    object["serial_number"] = lun.serialNumber;
    object["target_name"] = lun.targetName;
    object["online"] = lun.online;
    object["access_control_records"] = aclJson(lun.acl);
    object["vpd_t10"] = lun.vpdT10;
    object["vpd_ieee0"] = toHex(eui.first(8));
    object["vpd_ieee1"] = toHex(eui.subspan(8, 8));
    object["agent_type"] = lun.agentType;
    object["metadata"] = metadataJson(lun.metadata);
    object["volcoll_id"] = lun.volcollId;
    object["creation_time"] = lun.creationTime;
}

void checkVolumeSpec(const VolumeSpec& spec) {
    if (spec.name.empty()) throw std::invalid_argument("a volume needs a name");
    if (spec.sizeMiB <= 0) throw std::invalid_argument("a volume needs a positive size");
    if (spec.iscsiTargetScope != "group" && spec.iscsiTargetScope != "volume") {
        throw std::invalid_argument("iscsi_target_scope must be \"group\" or \"volume\"");
    }
    if (spec.agentType != "none" && spec.agentType != "vvol") {
        throw std::invalid_argument("agent_type must be \"none\" or \"vvol\"");
    }
    if (spec.presentation != "iscsi" && spec.presentation != "virtual_disk") {
        throw std::invalid_argument("presentation must be \"iscsi\" or \"virtual_disk\"");
    }
    for (const auto& r : spec.acl) {
        if (r.accessProtocol != "iscsi" && r.accessProtocol != "fc") {
            throw std::invalid_argument("access_protocol must be \"iscsi\" or \"fc\"");
        }
        if (r.initiatorName.empty()) throw std::invalid_argument("an access control record needs an initiator");
    }
}

}  // namespace

// ---- control side -------------------------------------------------------------------------

GroupInfo ArrayState::addGroup(const GroupSpec& spec, const std::string& address,
                               std::uint16_t restPort, std::uint16_t soapPort) {
    if (spec.name.empty()) throw std::invalid_argument("a group needs a name");
    if (spec.sessionTimeoutS <= 0) throw std::invalid_argument("session_timeout_s must be positive");
    const std::scoped_lock lock(mMutex);
    Group group;
    group.id = mIds.objectId(kGroupKind);
    group.name = spec.name;
    group.address = address;
    group.version = spec.version;
    group.username = spec.username;
    group.password = spec.password;
    group.rest = spec.rest;
    group.sessionTimeoutS = spec.sessionTimeoutS;
    group.clockOffsetS = spec.clockOffsetS;
    group.restPort = restPort;
    group.soapPort = soapPort;
    group.targetName = iscsiTargetName(spec.name, "group", "g" + last8(group.id));
    group.soapProtocols = spec.rest ? std::vector<std::string>{"soap-v1", "rest-v1"}
                                    : std::vector<std::string>{"soap-v1"};
    mGroups.push_back(group);
    return groupInfo(mGroups.back());
}

VolumeInfo ArrayState::addVolume(const std::string& groupId, const VolumeSpec& spec) {
    checkVolumeSpec(spec);
    const std::scoped_lock lock(mMutex);
    const Group& group = groupRef(groupId);
    const bool taken = std::any_of(mVolumes.begin(), mVolumes.end(), [&](const Volume& v) {
        return v.groupId == groupId && v.name == spec.name;
    });
    if (taken) throw std::invalid_argument("volume name '" + spec.name + "' already exists in the group");
    Volume volume;
    volume.id = mIds.objectId(kVolumeKind);
    volume.groupId = groupId;
    volume.name = spec.name;
    volume.description = spec.description;
    volume.serialNumber = mIds.serialNumber();
    volume.vpdT10 = t10Designator(volume.serialNumber);
    volume.eui64 = mIds.eui64();
    volume.sizeMiB = spec.sizeMiB;
    volume.online = true;
    volume.agentType = spec.agentType;
    volume.volcollId = spec.volcollId;
    volume.metadata = spec.metadata;
    volume.acl = spec.acl;
    volume.iscsiTargetScope = spec.iscsiTargetScope;
    volume.creationTime = groupNow(group);
    volume.targetName = spec.iscsiTargetScope == "group"
                            ? group.targetName
                            : iscsiTargetName(group.name, spec.name, "v" + volume.serialNumber.substr(0, 8));
    if (spec.presentation == "virtual_disk") presentAsVirtualDisk(volume);
    mVolumes.push_back(volume);
    const std::span<const std::uint8_t> eui(volume.eui64);
    return {volume.id,
            volume.name,
            volume.serialNumber,
            volume.targetName,
            volume.vpdT10,
            toHex(eui.first(8)),
            toHex(eui.subspan(8, 8)),
            volume.virtualDisk ? volume.virtualDisk->serialNumber : std::string()};
}

nlohmann::json ArrayState::volume(const std::string& volumeId) const {
    const std::scoped_lock lock(mMutex);
    const Volume* v = findVolume(volumeId);
    if (v == nullptr) throw std::out_of_range("no volume " + volumeId);
    return volumeJson(*v);
}

std::uint64_t ArrayState::writeVolume(const std::string& volumeId) {
    const std::scoped_lock lock(mMutex);
    const auto it = std::find_if(mVolumes.begin(), mVolumes.end(), [&](const Volume& v) { return v.id == volumeId; });
    if (it == mVolumes.end()) throw std::out_of_range("no volume " + volumeId);
    // A new version number, never an old one: a write after a restore is new data, not the
    // data of a later snapshot that happened to have the next number.
    it->dataVersion = ++it->lastVersion;
    return it->dataVersion;
}

std::vector<GroupInfo> ArrayState::groups() const {
    const std::scoped_lock lock(mMutex);
    std::vector<GroupInfo> infos;
    for (const auto& g : mGroups) infos.push_back(groupInfo(g));
    return infos;
}

void ArrayState::setCertificateSha256(const std::string& groupId, std::string sha256) {
    const std::scoped_lock lock(mMutex);
    groupRef(groupId).certificateSha256 = std::move(sha256);
}

bool ArrayState::hasAddress(const std::string& address) const {
    const std::scoped_lock lock(mMutex);
    return std::any_of(mGroups.begin(), mGroups.end(), [&](const Group& g) { return g.address == address; });
}

void ArrayState::setSoapProtocols(const std::string& groupId, std::vector<std::string> protocols) {
    const std::scoped_lock lock(mMutex);
    groupRef(groupId).soapProtocols = std::move(protocols);
}

std::vector<std::string> ArrayState::soapProtocols(const std::string& groupId) const {
    const std::scoped_lock lock(mMutex);
    return groupRef(groupId).soapProtocols;
}

void ArrayState::injectFault(const FaultSpec& fault) {
    const std::scoped_lock lock(mMutex);
    groupRef(fault.group);
    mFaults.add(fault);
}

void ArrayState::clearFaults() {
    const std::scoped_lock lock(mMutex);
    mFaults.clear();
}

void ArrayState::expireSessions(const std::string& groupId) {
    const std::scoped_lock lock(mMutex);
    groupRef(groupId);
    std::erase_if(mSessions, [&](const RestSession& s) { return s.groupId == groupId; });
}

nlohmann::json ArrayState::state() const {
    const std::scoped_lock lock(mMutex);
    const auto now = std::chrono::steady_clock::now();
    nlohmann::json groups = nlohmann::json::array();
    for (const auto& g : mGroups) {
        nlohmann::json group = groupJson(g);
        group["address"] = g.address;
        group["rest"] = g.rest;
        group["rest_port"] = g.restPort;
        group["certificate_sha256"] = g.certificateSha256;
        group["soap_port"] = g.soapPort;
        group["session_timeout_s"] = g.sessionTimeoutS;
        group["soap_protocols"] = g.soapProtocols;
        group["volumes"] = nlohmann::json::array();
        group["snapshots"] = nlohmann::json::array();
        group["sessions"] = nlohmann::json::array();
        group["debug_log"] = nlohmann::json::array();
        std::map<std::string, nlohmann::json> collections;
        for (const auto& v : mVolumes) {
            if (v.groupId != g.id) continue;
            nlohmann::json volume = volumeJson(v);
            volume["data_version"] = v.dataVersion;
            if (v.virtualDisk) volume["virtual_disk_serial"] = v.virtualDisk->serialNumber;
            group["volumes"].push_back(volume);
            if (!v.volcollId.empty()) collections[v.volcollId].push_back(v.id);
        }
        group["volume_collections"] = nlohmann::json::array();
        for (const auto& [id, members] : collections) {
            group["volume_collections"].push_back({{"id", id}, {"volume_ids", members}});
        }
        for (const auto& s : mSnapshots) {
            if (s.groupId != g.id) continue;
            nlohmann::json snapshot = snapshotJson(s);
            snapshot["data_version"] = s.dataVersion;
            group["snapshots"].push_back(snapshot);
        }
        for (const auto& s : mSessions) {
            if (s.groupId != g.id) continue;
            const auto idle = std::chrono::duration_cast<std::chrono::milliseconds>(now - s.lastUsed);
            group["sessions"].push_back({{"id", s.id}, {"username", s.username}, {"app_name", s.appName},
                                         {"idle_ms", idle.count()}});
        }
        for (const auto& [level, message] : g.debugLog) {
            group["debug_log"].push_back({{"level", level}, {"message", message}});
        }
        groups.push_back(group);
    }
    nlohmann::json hosts = nlohmann::json::array();
    std::set<std::string> initiators;
    for (const auto& [initiator, host] : mHosts) initiators.insert(initiator);
    for (const auto& s : mIscsiSessions) initiators.insert(s.initiator);
    for (const auto& initiator : initiators) {
        nlohmann::json sessions = nlohmann::json::array();
        for (const auto& s : mIscsiSessions) {
            if (s.initiator != initiator) continue;
            sessions.push_back({{"session_id", s.id}, {"target_name", s.targetName}, {"connections", s.connections},
                                {"header_digest", s.headerDigest}, {"data_digest", s.dataDigest}});
        }
        hosts.push_back({{"initiator", initiator}, {"iscsi_sessions", sessions}});
    }
    return {{"groups", groups}, {"hosts", hosts}, {"faults", mFaults.toJson()}};
}

nlohmann::json ArrayState::requestLog() const {
    const std::scoped_lock lock(mMutex);
    return mLog.toJson();
}

void ArrayState::resetLog() {
    const std::scoped_lock lock(mMutex);
    mLog.reset();
}

int ArrayState::requestCount(const std::string& groupId, const std::string& op) const {
    const std::scoped_lock lock(mMutex);
    return mLog.count(groupId, op);
}

int ArrayState::connectionCount(const std::string& groupId) const {
    const std::scoped_lock lock(mMutex);
    return mLog.connections(groupId);
}

double ArrayState::accountedMs(const std::string& groupId) const {
    const std::scoped_lock lock(mMutex);
    return mLog.accountedMs(groupId);
}

// ---- request bookkeeping ------------------------------------------------------------------

RequestTicket ArrayState::beginRequest(const std::string& groupId, const std::string& op,
                                       const std::string& method, const std::string& path) {
    const std::scoped_lock lock(mMutex);
    RequestTicket ticket;
    ticket.ticket = mLog.begin(groupId, op, method, path);
    ticket.fault = mFaults.take(groupId, op);
    return ticket;
}

void ArrayState::noteAnswer(std::uint64_t ticket, int status, bool injected) {
    const std::scoped_lock lock(mMutex);
    mLog.note(ticket, status, injected);
}

void ArrayState::finishRequest(std::uint64_t ticket, int status, bool injected) {
    const std::scoped_lock lock(mMutex);
    mLog.finish(ticket, status, injected);
}

void ArrayState::countConnection(const std::string& groupId) {
    const std::scoped_lock lock(mMutex);
    mLog.countConnection(groupId);
}

bool ArrayState::pause(int milliseconds) {
    std::unique_lock lock(mMutex);
    return !mWake.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return mStopping; });
}

void ArrayState::stop() {
    {
        const std::scoped_lock lock(mMutex);
        mStopping = true;
    }
    mWake.notify_all();
}

// ---- lookups and records (lock held) --------------------------------------------------------

const Group* ArrayState::findGroup(const std::string& groupId) const {
    const auto it = std::find_if(mGroups.begin(), mGroups.end(), [&](const Group& g) { return g.id == groupId; });
    return it == mGroups.end() ? nullptr : &*it;
}

const Group& ArrayState::groupRef(const std::string& groupId) const {
    const Group* group = findGroup(groupId);
    if (group == nullptr) throw std::out_of_range("no group " + groupId);
    return *group;
}

Group& ArrayState::groupRef(const std::string& groupId) {
    return const_cast<Group&>(std::as_const(*this).groupRef(groupId));
}

Volume* ArrayState::findVolume(const std::string& groupId, const std::string& id) {
    const auto it = std::find_if(mVolumes.begin(), mVolumes.end(), [&](const Volume& v) {
        return v.groupId == groupId && v.id == id;
    });
    return it == mVolumes.end() ? nullptr : &*it;
}

const Volume* ArrayState::findVolume(const std::string& id) const {
    const auto it = std::find_if(mVolumes.begin(), mVolumes.end(), [&](const Volume& v) { return v.id == id; });
    return it == mVolumes.end() ? nullptr : &*it;
}

Snapshot* ArrayState::findSnapshot(const std::string& groupId, const std::string& id) {
    const auto it = std::find_if(mSnapshots.begin(), mSnapshots.end(), [&](const Snapshot& s) {
        return s.groupId == groupId && s.id == id;
    });
    return it == mSnapshots.end() ? nullptr : &*it;
}

GroupInfo ArrayState::groupInfo(const Group& group) const {
    return {group.id, group.name, group.address, group.restPort, group.soapPort, group.targetName,
            group.certificateSha256};
}

nlohmann::json ArrayState::groupJson(const Group& group) const {
    return {{"id", group.id},
            {"name", group.name},
            {"version_current", group.version},
            {"management_ip", group.address},
            {"group_target_name", group.targetName}};
}

nlohmann::json ArrayState::volumeJson(const Volume& volume) const {
    nlohmann::json object = nlohmann::json::object();
    putLunAttributes(object, volume);
    object["block_size"] = kBlockSize;
    object["parent_vol_name"] = "";
    object["base_snap_name"] = "";
    int connections = 0;
    for (const IscsiSession* s : sessionsReaching(volume)) connections += s->connections;
    object["num_connections"] = connections;
    object["iscsi_target_scope"] = volume.iscsiTargetScope;
    return object;
}

nlohmann::json ArrayState::snapshotJson(const Snapshot& snapshot) const {
    nlohmann::json object = nlohmann::json::object();
    putLunAttributes(object, snapshot);
    const Volume* parent = findVolume(snapshot.volumeId);
    object["vol_id"] = snapshot.volumeId;
    object["vol_name"] = parent != nullptr ? parent->name : std::string();
    object["writable"] = snapshot.writable;
    // A session to the group's target carries only the LUNs that are online; a snapshot's own
    // target carries that snapshot alone, so a session to it counts whatever the state.
    const Group* group = findGroup(snapshot.groupId);
    const bool ownTarget = group == nullptr || snapshot.targetName != group->targetName;
    int connections = 0;
    if (snapshot.online || ownTarget)
        for (const IscsiSession* s : sessionsReaching(snapshot)) connections += s->connections;
    object["num_connections"] = connections;
    return object;
}

}  // namespace arraysim
