#pragma once
// The whole simulated array, every group of it, behind one mutex: the objects, REST sessions,
// iSCSI sessions of the emulated hosts, injected faults and the request log. Each public
// operation takes the lock once, so every operation is atomic with respect to every other
// (a bulk snapshot sees one instant of all its volumes).
//
// REST operations throw ArrayError; control operations throw std::out_of_range for an unknown
// object and std::invalid_argument for a bad request.

#include "arraysim/ArrayObjects.h"
#include "arraysim/FaultTable.h"
#include "arraysim/RequestLog.h"
#include "arraysim/Simulator.h"

#include <nlohmann/json.hpp>

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace arraysim {

struct RequestTicket {
    std::uint64_t ticket = 0;
    std::optional<FaultSpec> fault;
};

class ArrayState {
public:
    // Control side.
    GroupInfo addGroup(const GroupSpec& spec, const std::string& address, std::uint16_t restPort,
                       std::uint16_t soapPort);
    VolumeInfo addVolume(const std::string& groupId, const VolumeSpec& spec);
    nlohmann::json volume(const std::string& volumeId) const;  // every attribute
    std::uint64_t writeVolume(const std::string& volumeId);
    std::vector<GroupInfo> groups() const;
    bool hasAddress(const std::string& address) const;
    void setCertificateSha256(const std::string& groupId, std::string sha256);
    void setSoapProtocols(const std::string& groupId, std::vector<std::string> protocols);
    std::vector<std::string> soapProtocols(const std::string& groupId) const;
    void injectFault(const FaultSpec& fault);
    void clearFaults();
    void expireSessions(const std::string& groupId);
    nlohmann::json state() const;
    nlohmann::json requestLog() const;
    void resetLog();
    int requestCount(const std::string& groupId, const std::string& op) const;
    int connectionCount(const std::string& groupId) const;
    double accountedMs(const std::string& groupId) const;

    // Request bookkeeping of the servers.
    RequestTicket beginRequest(const std::string& groupId, const std::string& op,
                               const std::string& method, const std::string& path);
    // See RequestLog::note and RequestLog::finish.
    void noteAnswer(std::uint64_t ticket, int status, bool injected);
    void finishRequest(std::uint64_t ticket, int status, bool injected);
    void countConnection(const std::string& groupId);
    // An injected delay; false when the simulator began to stop meanwhile.
    bool pause(int milliseconds);
    void stop();

    // REST side.
    nlohmann::json createToken(const std::string& groupId, const nlohmann::json& body);
    void authorize(const std::string& groupId, const std::string& token);
    void deleteToken(const std::string& groupId, const std::string& tokenId);
    nlohmann::json search(const std::string& groupId, const std::string& collection,
                          const nlohmann::json& body) const;
    nlohmann::json bulkCreate(const std::string& groupId, const nlohmann::json& body);
    nlohmann::json updateSnapshot(const std::string& groupId, const std::string& id,
                                  const nlohmann::json& body);
    nlohmann::json updateVolume(const std::string& groupId, const std::string& id,
                                const nlohmann::json& body);
    void deleteSnapshot(const std::string& groupId, const std::string& id);
    nlohmann::json restore(const std::string& groupId, const std::string& volumeId,
                           const nlohmann::json& body);
    void debugLog(const std::string& groupId, const nlohmann::json& body);

    // Host channel (ArrayStateHost.cpp).
    nlohmann::json hostDisks(const std::string& initiator);
    std::vector<std::uint8_t> hostDsmRecord(const std::string& initiator);
    nlohmann::json hostSessions(const std::string& initiator) const;
    std::optional<std::string> groupOfTarget(const std::string& targetName) const;
    std::optional<std::string> groupOfSession(const std::string& sessionId) const;
    IScsiLoginResult iscsiLogin(const std::string& initiator, const std::string& targetName,
                                bool headerDigest, bool dataDigest);
    std::uint32_t iscsiLogout(const std::string& initiator, const std::string& sessionId);
    std::uint32_t iscsiRefresh(const std::string& initiator) const;
    void misreportEui64(const std::string& serialNumber, const Eui64& eui64);

private:
    // Everything below expects mMutex to be held.
    Group& groupRef(const std::string& groupId);
    const Group& groupRef(const std::string& groupId) const;
    const Group* findGroup(const std::string& groupId) const;
    Volume* findVolume(const std::string& groupId, const std::string& id);
    const Volume* findVolume(const std::string& id) const;
    Snapshot* findSnapshot(const std::string& groupId, const std::string& id);
    GroupInfo groupInfo(const Group& group) const;
    nlohmann::json groupJson(const Group& group) const;
    nlohmann::json volumeJson(const Volume& volume) const;
    nlohmann::json snapshotJson(const Snapshot& snapshot) const;
    // iSCSI sessions that reach a LUN: to its target, from an initiator its ACL names.
    std::vector<const IscsiSession*> sessionsReaching(const Lun& lun) const;
    bool isReachable(const Lun& lun, const std::string& initiator) const;
    void endSessions(const std::vector<const IscsiSession*>& sessions);
    // Gives a new volume the identity of the virtual disk a hypervisor makes of it.
    void presentAsVirtualDisk(Volume& volume);
    struct Disk {
        const Lun* lun;
        const Group* group;
        const VirtualDisk* virtualDisk;  // null: the LUN itself, reached over iSCSI
    };
    std::vector<Disk> disksOf(const std::string& initiator) const;

    mutable std::mutex mMutex;
    std::condition_variable mWake;
    bool mStopping = false;
    IdentifierSource mIds;
    std::vector<Group> mGroups;  // creation order, as are the lists below
    std::vector<Volume> mVolumes;
    std::vector<Snapshot> mSnapshots;
    std::vector<RestSession> mSessions;
    std::vector<IscsiSession> mIscsiSessions;
    std::map<std::string, Host> mHosts;
    std::map<std::string, Eui64> mMisreportedEui64;  // LUN serial -> what hosts read instead
    std::uint64_t mNextIscsiSession = 1;
    FaultTable mFaults;
    RequestLog mLog;
};

}  // namespace arraysim
