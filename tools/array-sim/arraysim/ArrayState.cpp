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
constexpr std::size_t kMaxDebugLog = 1000;

// Now on a group's clock, in seconds since the epoch.
std::int64_t groupNow(const Group& group) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now).count() + group.clockOffsetS;
}

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

std::vector<KeyValue> metadataFrom(const nlohmann::json& entry) {
    std::vector<KeyValue> metadata;
    const auto it = entry.find("metadata");
    if (it == entry.end() || it->is_null()) return metadata;
    if (!it->is_array()) throw invalidArgument("'metadata' must be a list of key/value pairs");
    for (const auto& pair : *it) {
        if (!pair.is_object()) throw invalidArgument("'metadata' must be a list of key/value pairs");
        metadata.push_back({stringMember(pair, "key"), stringMember(pair, "value")});
    }
    return metadata;
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

// ---- REST side ----------------------------------------------------------------------------

nlohmann::json ArrayState::createToken(const std::string& groupId, const nlohmann::json& body) {
    const nlohmann::json& data = objectMember(body, "data");
    const std::string username = stringMember(data, "username");
    const std::string password = stringMember(data, "password");
    const std::string appName = data.contains("app_name") && data["app_name"].is_string()
                                    ? data["app_name"].get<std::string>() : std::string();
    const std::scoped_lock lock(mMutex);
    const Group& group = groupRef(groupId);
    if (username != group.username || password != group.password) {
        throw unauthorized("Invalid username or password");
    }
    RestSession session;
    session.id = mIds.objectId(kTokenKind);
    session.token = mIds.token();
    session.groupId = groupId;
    session.username = username;
    session.appName = appName;
    session.lastUsed = std::chrono::steady_clock::now();
    mSessions.push_back(session);
    return {{"data", {{"id", session.id}, {"session_token", session.token}, {"username", username}}}};
}

void ArrayState::authorize(const std::string& groupId, const std::string& token) {
    if (token.empty()) throw unauthorized("Missing X-Auth-Token header");
    const std::scoped_lock lock(mMutex);
    const Group& group = groupRef(groupId);
    const auto it = std::find_if(mSessions.begin(), mSessions.end(), [&](const RestSession& s) {
        return s.groupId == groupId && s.token == token;
    });
    if (it == mSessions.end()) throw unauthorized("Invalid or expired session token");
    const auto now = std::chrono::steady_clock::now();
    if (now - it->lastUsed > std::chrono::seconds(group.sessionTimeoutS)) {
        mSessions.erase(it);
        throw unauthorized("Session expired");
    }
    it->lastUsed = now;
}

void ArrayState::deleteToken(const std::string& groupId, const std::string& tokenId) {
    const std::scoped_lock lock(mMutex);
    const auto removed = std::erase_if(mSessions, [&](const RestSession& s) {
        return s.groupId == groupId && s.id == tokenId;
    });
    if (removed == 0) throw notFound("No session with id " + tokenId);
}

nlohmann::json ArrayState::search(const std::string& groupId, const std::string& collection,
                                  const nlohmann::json& body) const {
    if (!body.is_null() && !body.is_object()) throw invalidArgument("A search body must be an object");
    const nlohmann::json filter = body.is_object() ? body.value("filter", nlohmann::json()) : nlohmann::json();
    const nlohmann::json fields = body.is_object() ? body.value("fields", nlohmann::json()) : nlohmann::json();
    const std::scoped_lock lock(mMutex);
    const Group& group = groupRef(groupId);
    std::vector<nlohmann::json> candidates;
    if (collection == "volumes") {
        for (const auto& v : mVolumes) if (v.groupId == groupId) candidates.push_back(volumeJson(v));
    } else if (collection == "snapshots") {
        for (const auto& s : mSnapshots) if (s.groupId == groupId) candidates.push_back(snapshotJson(s));
    } else if (collection == "groups") {
        candidates.push_back(groupJson(group));
    } else {
        throw notFound("No object set " + collection);
    }
    nlohmann::json data = nlohmann::json::array();
    for (const auto& object : candidates) {
        if (filter.is_null() || matchesFilter(filter, object)) data.push_back(selectFields(object, fields));
    }
    const auto total = data.size();
    return {{"data", std::move(data)}, {"total", total}};
}

nlohmann::json ArrayState::bulkCreate(const std::string& groupId, const nlohmann::json& body) {
    const nlohmann::json& data = objectMember(body, "data");
    const auto list = data.find("snap_vol_list");
    if (list == data.end() || !list->is_array() || list->empty()) {
        throw invalidArgument("'snap_vol_list' must be a non-empty list");
    }
    struct Request {
        std::size_t volume;
        std::string name;
        std::string description;
        std::vector<KeyValue> metadata;
    };
    std::vector<Request> requests;
    for (const auto& entry : *list) {
        if (!entry.is_object()) throw invalidArgument("Each 'snap_vol_list' entry must be an object");
        requests.push_back({0, stringMember(entry, "snap_name"),
                            entry.value("description", std::string()), metadataFrom(entry)});
        if (requests.back().name.empty()) throw invalidArgument("'snap_name' must not be empty");
    }

    const std::scoped_lock lock(mMutex);
    const Group& group = groupRef(groupId);
    // Every check runs before the first snapshot is made: all or nothing.
    std::set<std::pair<std::string, std::string>> namesInRequest;
    for (std::size_t i = 0; i < requests.size(); ++i) {
        const std::string volumeId = stringMember((*list)[i], "vol_id");
        const auto v = std::find_if(mVolumes.begin(), mVolumes.end(), [&](const Volume& vol) {
            return vol.groupId == groupId && vol.id == volumeId;
        });
        if (v == mVolumes.end()) throw notFound("No volume with id " + volumeId);
        requests[i].volume = static_cast<std::size_t>(v - mVolumes.begin());
        const bool existing = std::any_of(mSnapshots.begin(), mSnapshots.end(), [&](const Snapshot& s) {
            return s.volumeId == volumeId && s.name == requests[i].name;
        });
        if (existing || !namesInRequest.emplace(volumeId, requests[i].name).second) {
            throw invalidArgument("Snapshot name '" + requests[i].name + "' already exists for volume " + v->name);
        }
    }

    const std::int64_t instant = groupNow(group);
    nlohmann::json created = nlohmann::json::array();
    for (const auto& request : requests) {
        const Volume& parent = mVolumes[request.volume];
        Snapshot snapshot;
        snapshot.id = mIds.objectId(kSnapshotKind);
        snapshot.groupId = groupId;
        snapshot.volumeId = parent.id;
        snapshot.name = request.name;
        snapshot.description = request.description;
        snapshot.serialNumber = mIds.serialNumber();
        snapshot.vpdT10 = t10Designator(snapshot.serialNumber);
        snapshot.eui64 = mIds.eui64();
        snapshot.sizeMiB = parent.sizeMiB;
        snapshot.online = false;
        snapshot.writable = false;
        snapshot.agentType = parent.agentType;
        snapshot.volcollId = parent.volcollId;
        snapshot.metadata = request.metadata;
        snapshot.acl = parent.acl;
        snapshot.dataVersion = parent.dataVersion;
        snapshot.creationTime = instant;
        snapshot.targetName =
            parent.iscsiTargetScope == "group"
                ? group.targetName
                : iscsiTargetName(group.name, parent.name + "-" + request.name,
                                  "v" + snapshot.serialNumber.substr(0, 8));
        mSnapshots.push_back(snapshot);
        created.push_back(snapshotJson(mSnapshots.back()));
    }
    return {{"data", {{"snap_list", created}}}};
}

nlohmann::json ArrayState::updateSnapshot(const std::string& groupId, const std::string& id,
                                          const nlohmann::json& body) {
    const bool online = boolMember(objectMember(body, "data"), "online");
    const std::scoped_lock lock(mMutex);
    groupRef(groupId);
    Snapshot* snapshot = findSnapshot(groupId, id);
    if (snapshot == nullptr) throw notFound("No snapshot with id " + id);
    if (snapshot->online == online) {
        throw already(std::string("Snapshot is already ") + (online ? "online" : "offline"));
    }
    snapshot->online = online;
    return {{"data", snapshotJson(*snapshot)}};
}

nlohmann::json ArrayState::updateVolume(const std::string& groupId, const std::string& id,
                                        const nlohmann::json& body) {
    const bool online = boolMember(objectMember(body, "data"), "online");
    const bool force = optionalBool(body, "force", false);
    const std::scoped_lock lock(mMutex);
    groupRef(groupId);
    Volume* volume = findVolume(groupId, id);
    if (volume == nullptr) throw notFound("No volume with id " + id);
    if (volume->online == online) {
        throw already(std::string("Volume is already ") + (online ? "online" : "offline"));
    }
    if (!online) {
        const auto sessions = sessionsReaching(*volume);
        if (!sessions.empty() && !force) {
            throw busy("Volume " + volume->name + " has " + std::to_string(sessions.size()) +
                       " iSCSI connection(s); use force to take it offline");
        }
        endSessions(sessions);
    }
    volume->online = online;
    return {{"data", volumeJson(*volume)}};
}

void ArrayState::deleteSnapshot(const std::string& groupId, const std::string& id) {
    const std::scoped_lock lock(mMutex);
    groupRef(groupId);
    const Snapshot* snapshot = findSnapshot(groupId, id);
    if (snapshot == nullptr) throw notFound("No snapshot with id " + id);
    if (snapshot->online) throw busy("Snapshot " + snapshot->name + " is online");
    std::erase_if(mSnapshots, [&](const Snapshot& s) { return s.id == id; });
}

nlohmann::json ArrayState::restore(const std::string& groupId, const std::string& volumeId,
                                   const nlohmann::json& body) {
    const nlohmann::json& data = objectMember(body, "data");
    const std::string snapshotId = stringMember(data, "base_snap_id");
    if (data.contains("id") && (!data["id"].is_string() || data["id"].get<std::string>() != volumeId)) {
        throw invalidArgument("'id' does not name the volume being restored");
    }
    const std::scoped_lock lock(mMutex);
    groupRef(groupId);
    Volume* volume = findVolume(groupId, volumeId);
    if (volume == nullptr) throw notFound("No volume with id " + volumeId);
    const Snapshot* snapshot = findSnapshot(groupId, snapshotId);
    if (snapshot == nullptr) throw notFound("No snapshot with id " + snapshotId);
    if (snapshot->volumeId != volumeId) {
        throw invalidArgument("Snapshot " + snapshot->name + " is not a snapshot of volume " + volume->name);
    }
    if (volume->online) throw busy("Volume " + volume->name + " must be offline to be restored");
    if (volume->dataVersion == snapshot->dataVersion) {
        throw already("Volume " + volume->name + " already is at snapshot " + snapshot->name);
    }
    volume->dataVersion = snapshot->dataVersion;
    return {{"data", volumeJson(*volume)}};
}

void ArrayState::debugLog(const std::string& groupId, const nlohmann::json& body) {
    const nlohmann::json& data = objectMember(body, "data");
    const std::string message = stringMember(data, "message");
    const std::string level = stringMember(data, "level");
    if (level != "info" && level != "warning" && level != "error") {
        throw invalidArgument("'level' must be info, warning or error");
    }
    const std::scoped_lock lock(mMutex);
    Group& group = groupRef(groupId);
    if (group.debugLog.size() >= kMaxDebugLog) group.debugLog.erase(group.debugLog.begin());
    group.debugLog.emplace_back(level, message);
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
