// The host channel: what an emulated Windows host sees of the array. A host is its initiator
// name; it sees a LUN when the LUN is online, its access control list names the initiator for
// iSCSI and the host holds a session to the LUN's target. A volume presented as a virtual
// machine's disk reaches the host through the hypervisor instead: the host sees the disk (with
// the disk's identity, not the volume's) whenever the volume is online and its ACL names it.

#include "arraysim/ArrayState.h"

#include "arraysim/DsmRecord.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <stdexcept>

namespace arraysim {
namespace {

// Status values of the Windows iSCSI initiator interface.
constexpr std::uint32_t kIsdscNotFound = 0xEFFF000B;  // no such target or session
constexpr std::uint32_t kErrorInsufficientBuffer = 122;

bool sameTarget(const std::string& a, const std::string& b) {
    // iSCSI names compare without regard to case, as the initiator does.
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

bool aclNames(const Lun& lun, const std::string& initiator) {
    return std::any_of(lun.acl.begin(), lun.acl.end(), [&](const AccessControlRecord& r) {
        return r.accessProtocol == "iscsi" && r.initiatorName == initiator;
    });
}

constexpr const char* kVirtualDiskVendor = "VMware";
constexpr const char* kVirtualDiskProduct = "Virtual disk";
constexpr const char* kVirtualDiskRevision = "2.0";

// The product revision a LUN reports: major.minor of the group's software version.
std::string revisionOf(const std::string& version) {
    const auto first = version.find('.');
    const auto second = first == std::string::npos ? std::string::npos : version.find('.', first + 1);
    return version.substr(0, std::min<std::size_t>(second, 4));
}

}  // namespace

std::vector<const IscsiSession*> ArrayState::sessionsReaching(const Lun& lun) const {
    std::vector<const IscsiSession*> sessions;
    for (const auto& s : mIscsiSessions) {
        if (s.connections > 0 && sameTarget(s.targetName, lun.targetName) && aclNames(lun, s.initiator)) {
            sessions.push_back(&s);
        }
    }
    return sessions;
}

bool ArrayState::isReachable(const Lun& lun, const std::string& initiator) const {
    if (!lun.online || !aclNames(lun, initiator)) return false;
    return std::any_of(mIscsiSessions.begin(), mIscsiSessions.end(), [&](const IscsiSession& s) {
        return s.initiator == initiator && s.connections > 0 && sameTarget(s.targetName, lun.targetName);
    });
}

void ArrayState::endSessions(const std::vector<const IscsiSession*>& sessions) {
    std::vector<std::string> ids;
    for (const IscsiSession* s : sessions) ids.push_back(s->id);
    std::erase_if(mIscsiSessions, [&](const IscsiSession& s) {
        return std::find(ids.begin(), ids.end(), s.id) != ids.end();
    });
}

void ArrayState::presentAsVirtualDisk(Volume& volume) {
    VirtualDisk disk;
    const auto key = std::find_if(volume.metadata.begin(), volume.metadata.end(),
                                  [](const KeyValue& kv) { return kv.key == kVirtualDeviceIdKey; });
    if (key != volume.metadata.end()) {
        if (key->value.empty()) throw std::invalid_argument(std::string(kVirtualDeviceIdKey) + " must not be empty");
        disk.serialNumber = key->value;
    } else {
        disk.serialNumber = mIds.serialNumber();
        volume.metadata.push_back({kVirtualDeviceIdKey, disk.serialNumber});
    }
    disk.vpdT10 = t10Designator(disk.serialNumber, kVirtualDiskVendor);
    disk.eui64 = mIds.eui64();
    volume.agentType = "vvol";
    volume.virtualDisk = disk;
}

void ArrayState::misreportEui64(const std::string& serialNumber, const Eui64& eui64) {
    const std::scoped_lock lock(mMutex);
    mMisreportedEui64[serialNumber] = eui64;
}

std::vector<ArrayState::Disk> ArrayState::disksOf(const std::string& initiator) const {
    std::vector<Disk> disks;
    for (const auto& group : mGroups) {
        for (const auto& v : mVolumes) {
            if (v.groupId != group.id) continue;
            if (v.virtualDisk) {
                // The hypervisor, not this host's initiator, holds the volume's sessions.
                if (v.online && aclNames(v, initiator)) disks.push_back({&v, &group, &*v.virtualDisk});
            } else if (isReachable(v, initiator)) {
                disks.push_back({&v, &group, nullptr});
            }
        }
        for (const auto& s : mSnapshots) {
            if (s.groupId != group.id) continue;
            bool reachable = isReachable(s, initiator);
            // Snapshots of virtual volumes are presented through their parent's target.
            const Volume* parent = findVolume(s.volumeId);
            if (!reachable && parent != nullptr && parent->agentType == "vvol") {
                Lun viaParent = s;
                viaParent.targetName = parent->targetName;
                reachable = isReachable(viaParent, initiator);
            }
            if (reachable) disks.push_back({&s, &group, nullptr});
        }
    }
    return disks;
}

nlohmann::json ArrayState::hostDisks(const std::string& initiator) {
    const std::scoped_lock lock(mMutex);
    Host& host = mHosts[initiator];
    nlohmann::json disks = nlohmann::json::array();
    for (const Disk& disk : disksOf(initiator)) {
        const std::string& serial = disk.virtualDisk ? disk.virtualDisk->serialNumber : disk.lun->serialNumber;
        auto it = std::find(host.driveSerials.begin(), host.driveSerials.end(), serial);
        if (it == host.driveSerials.end()) {
            host.driveSerials.push_back(serial);
            it = std::prev(host.driveSerials.end());
        }
        // PhysicalDrive0 is the host's own system disk.
        const auto number = std::distance(host.driveSerials.begin(), it) + 1;
        const std::string& t10 = disk.virtualDisk ? disk.virtualDisk->vpdT10 : disk.lun->vpdT10;
        Eui64 eui = disk.virtualDisk ? disk.virtualDisk->eui64 : disk.lun->eui64;
        if (const auto wrong = mMisreportedEui64.find(serial); wrong != mMisreportedEui64.end()) eui = wrong->second;
        disks.push_back({{"device", "\\\\.\\PhysicalDrive" + std::to_string(number)},
                         {"vendor", disk.virtualDisk ? kVirtualDiskVendor : "Vantor"},
                         {"product", disk.virtualDisk ? kVirtualDiskProduct : "Server"},
                         {"revision", disk.virtualDisk ? kVirtualDiskRevision : revisionOf(disk.group->version)},
                         {"serial_number", serial},
                         {"vpd_t10", toHex({reinterpret_cast<const std::uint8_t*>(t10.data()), t10.size()})},
                         {"eui64", toHex(eui)}});
    }
    return disks;
}

std::vector<std::uint8_t> ArrayState::hostDsmRecord(const std::string& initiator) {
    const std::scoped_lock lock(mMutex);
    std::vector<DsmEntry> entries;
    for (const Disk& disk : disksOf(initiator)) {
        // The array's multipath driver never sees a virtual machine's disks.
        if (disk.virtualDisk == nullptr) entries.push_back({disk.lun->serialNumber, disk.group->address});
    }
    return encodeDsmRecord(entries);
}

nlohmann::json ArrayState::hostSessions(const std::string& initiator) const {
    const std::scoped_lock lock(mMutex);
    nlohmann::json sessions = nlohmann::json::array();
    for (const auto& s : mIscsiSessions) {
        if (s.initiator != initiator) continue;
        sessions.push_back({{"session_id", s.id}, {"target_name", s.targetName}, {"connections", s.connections}});
    }
    return sessions;
}

std::optional<std::string> ArrayState::groupOfTarget(const std::string& targetName) const {
    const std::scoped_lock lock(mMutex);
    for (const auto& g : mGroups) {
        if (sameTarget(g.targetName, targetName)) return g.id;
    }
    for (const auto& v : mVolumes) {
        if (sameTarget(v.targetName, targetName)) return v.groupId;
    }
    for (const auto& s : mSnapshots) {
        if (sameTarget(s.targetName, targetName)) return s.groupId;
    }
    return std::nullopt;
}

std::optional<std::string> ArrayState::groupOfSession(const std::string& sessionId) const {
    std::string target;
    {
        const std::scoped_lock lock(mMutex);
        const auto it = std::find_if(mIscsiSessions.begin(), mIscsiSessions.end(),
                                     [&](const IscsiSession& s) { return s.id == sessionId; });
        if (it == mIscsiSessions.end()) return std::nullopt;
        target = it->targetName;
    }
    return groupOfTarget(target);
}

IScsiLoginResult ArrayState::iscsiLogin(const std::string& initiator, const std::string& targetName,
                                        bool headerDigest, bool dataDigest) {
    if (initiator.empty()) throw std::invalid_argument("an initiator name is needed");
    const std::scoped_lock lock(mMutex);
    // A group target is always advertised; a volume or snapshot target only while one of its
    // LUNs is online for this initiator, as an array hides targets the initiator may not use.
    bool advertised = std::any_of(mGroups.begin(), mGroups.end(),
                                  [&](const Group& g) { return sameTarget(g.targetName, targetName); });
    const auto offers = [&](const Lun& lun) {
        return lun.online && aclNames(lun, initiator) && sameTarget(lun.targetName, targetName);
    };
    advertised = advertised || std::any_of(mVolumes.begin(), mVolumes.end(), offers) ||
                 std::any_of(mSnapshots.begin(), mSnapshots.end(), offers);
    if (!advertised) return {kIsdscNotFound, {}};

    char id[40];
    std::snprintf(id, sizeof id, "ffffa0015e7a0010-40000137%08llx",
                  static_cast<unsigned long long>(mNextIscsiSession++));
    mIscsiSessions.push_back({id, initiator, targetName, 1, headerDigest, dataDigest});
    mHosts[initiator];
    return {0, id};
}

std::uint32_t ArrayState::iscsiLogout(const std::string& initiator, const std::string& sessionId) {
    const std::scoped_lock lock(mMutex);
    const auto removed = std::erase_if(mIscsiSessions, [&](const IscsiSession& s) {
        return s.initiator == initiator && s.id == sessionId;
    });
    return removed == 0 ? kIsdscNotFound : 0;
}

std::uint32_t ArrayState::iscsiRefresh(const std::string& /*initiator*/) const {
    const std::scoped_lock lock(mMutex);
    // Every group offers at least its group target, so a host that knows any group has targets
    // and a zero-sized buffer is too small.
    return mGroups.empty() ? 0 : kErrorInsufficientBuffer;
}

}  // namespace arraysim
