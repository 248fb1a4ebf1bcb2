// The REST side of the simulated array: sessions, searches and the writes a provider sends,
// with the rules a real array enforces.
#include "arraysim/ArrayState.h"

#include "arraysim/ArrayError.h"
#include "arraysim/JsonAccess.h"
#include "arraysim/SearchFilter.h"

#include <algorithm>
#include <set>
#include <stdexcept>

namespace arraysim {
namespace {

constexpr std::size_t kMaxDebugLog = 1000;

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

}  // namespace

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

}  // namespace arraysim
