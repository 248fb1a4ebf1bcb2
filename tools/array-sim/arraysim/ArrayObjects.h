#pragma once
// The records the simulated array keeps. Plain data; the array state owns and guards them.

#include "arraysim/Identifiers.h"
#include "arraysim/Simulator.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace arraysim {

struct Group {
    std::string id;
    std::string name;
    std::string address;
    std::string version;
    std::string username;
    std::string password;
    std::string targetName;  // the group-scoped target
    bool rest = true;
    int sessionTimeoutS = 1800;
    std::int64_t clockOffsetS = 0;
    std::uint16_t restPort = kDefaultRestPort;
    std::uint16_t soapPort = kDefaultSoapPort;
    std::string certificateSha256;  // of the certificate the REST server presents
    std::vector<std::string> soapProtocols;
    std::vector<std::pair<std::string, std::string>> debugLog;  // (level, message)
};

// Now on a group's clock, in seconds since the epoch.
inline std::int64_t groupNow(const Group& group) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now).count() + group.clockOffsetS;
}

// What volumes and snapshots share: a LUN with its identity and the initiators allowed on it.
struct Lun {
    std::string id;
    std::string groupId;
    std::string name;
    std::string description;
    std::string serialNumber;
    std::string targetName;
    std::string vpdT10;
    Eui64 eui64{};
    std::int64_t sizeMiB = 0;
    bool online = false;
    std::string agentType = "none";
    std::string volcollId;
    std::vector<KeyValue> metadata;
    std::vector<AccessControlRecord> acl;
    std::uint64_t dataVersion = 1;  // what the LUN's blocks hold; equal versions, equal data
    std::int64_t creationTime = 0;  // seconds since the epoch on the group's clock
};

// The disk a hypervisor makes of a volume for its virtual machines: an identity of its own.
struct VirtualDisk {
    std::string serialNumber;
    std::string vpdT10;
    Eui64 eui64{};
};

struct Volume : Lun {
    std::string iscsiTargetScope = "volume";
    std::optional<VirtualDisk> virtualDisk;  // set when presented as a virtual disk
    std::uint64_t lastVersion = 1;  // the highest data version this volume ever had
};

struct Snapshot : Lun {
    std::string volumeId;
    bool writable = false;  // creationTime is equal for the snapshots of one bulk create
};

struct RestSession {
    std::string id;
    std::string token;
    std::string groupId;
    std::string username;
    std::string appName;
    std::chrono::steady_clock::time_point lastUsed;
};

struct IscsiSession {
    std::string id;
    std::string initiator;
    std::string targetName;
    int connections = 1;
    bool headerDigest = false;
    bool dataDigest = false;
};

// What one emulated host has seen: its disk numbers stay with a LUN once given, as Windows
// keeps a disk's number while it stays attached.
struct Host {
    std::vector<std::string> driveSerials;  // index + 1 is the PhysicalDrive number
};

}  // namespace arraysim
