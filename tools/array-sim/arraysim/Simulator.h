#pragma once
// The array simulator as a library: tests start it in-process, the vantor-array-sim executable
// wraps it. Every operation of the control API has a C++ twin here; both go through the same
// state object under one mutex, so a test may mix them freely.
//
// Errors of the C++ operations: std::out_of_range for an unknown group or volume id,
// std::invalid_argument for a bad spec, std::runtime_error when a server cannot listen.
//
// Lifetime: the constructor starts the control server (127.0.0.1, free port unless asked) and
// returns once it listens; addGroup starts that group's REST (HTTPS) and SOAP (HTTP) servers
// and returns once they listen; the destructor stops everything.

#include <nlohmann/json.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace arraysim {

inline constexpr std::uint16_t kDefaultRestPort = 5392;
inline constexpr std::uint16_t kDefaultSoapPort = 4210;

struct KeyValue {
    std::string key;
    std::string value;
};

struct AccessControlRecord {
    std::string accessProtocol = "iscsi";  // "iscsi" or "fc"
    std::string initiatorName;
};

struct GroupSpec {
    std::string name = "group";
    // Management address. Empty: a random 127.x.y.z that is free for both ports (so two
    // simulators in two test processes never collide).
    std::string address;
    std::string version = "6.1.0.0-900000-opt";  // the group's version_current
    bool rest = true;                 // false: no REST server, SOAP answers only "soap-v1"
    std::string username = "admin";
    std::string password = "admin";
    int sessionTimeoutS = 1800;
    // PEM file with the REST server's key and certificate: loaded when it exists, else made
    // and written there (readable by its owner only). Empty: a certificate of its own, kept in
    // memory only.
    std::string certificateFile;
    // How far the group's clock runs ahead of the host's (negative: behind); creation times of
    // its volumes and snapshots follow that clock.
    std::int64_t clockOffsetS = 0;
};

// A new certificate for a group's REST server.
struct CertificateSpec {
    bool expired = false;  // valid until yesterday
};

struct GroupInfo {
    std::string id;
    std::string name;
    std::string address;
    std::uint16_t restPort = kDefaultRestPort;
    std::uint16_t soapPort = kDefaultSoapPort;
    std::string targetName;  // the group-scoped iSCSI target
    std::string certificateSha256;  // SHA-256 of the REST server's DER certificate, lower-case hex

    std::string restUrl() const;  // "https://ADDRESS:PORT"
    std::string soapUrl() const;  // "http://ADDRESS:PORT/soap"
};

struct VolumeSpec {
    std::string name;
    std::int64_t sizeMiB = 1024;
    std::string description;
    std::string iscsiTargetScope = "volume";  // "group" or "volume"
    std::string agentType = "none";           // "none" or "vvol"
    std::string volcollId;                    // empty: in no volume collection
    std::vector<KeyValue> metadata;
    std::vector<AccessControlRecord> acl;
    // "iscsi": hosts reach the volume through its iSCSI target. "virtual_disk": the volume backs
    // a virtual machine's disk; every host its ACL names sees that disk (vendor "VMware",
    // product "Virtual disk") with the disk's own serial number and designators, without any
    // iSCSI session. Such a volume is a virtual volume (agent_type "vvol") whose metadata key
    // vp_vs_VAN_VIRTUAL_DEVICE_ID holds the disk's serial number (taken from this definition's
    // metadata when it sets that key, made up otherwise).
    std::string presentation = "iscsi";
};

inline constexpr const char* kVirtualDeviceIdKey = "vp_vs_VAN_VIRTUAL_DEVICE_ID";

struct VolumeInfo {
    std::string id;
    std::string name;
    std::string serialNumber;  // 32 lower-case hex digits
    std::string targetName;
    std::string vpdT10;    // ASCII T10 vendor identification designator
    std::string vpdIeee0;  // 16 hex digits: EUI-64 bytes 0..7 in device order
    std::string vpdIeee1;  // 16 hex digits: EUI-64 bytes 8..15 in device order
    std::string virtualDiskSerial;  // the virtual disk's serial number; empty for "iscsi"
};

// One injected failure. op is one of: tokens, search:volumes, search:snapshots, search:groups,
// bulk_create, update:snapshots, update:volumes, delete:snapshots, restore, debug_log, soap,
// iscsi_login, iscsi_logout. status 0 with only delayMs slows the requests without failing
// them; drop closes the connection without an answer; malformed answers a non-JSON body.
// For iscsi_login/iscsi_logout, status is the Win32/iSCSI status the host channel answers.
// The members after `malformed` apply to REST operations only: they shape an answer that the
// array really gives (the request is carried out first).
struct FaultSpec {
    std::string group;  // group id
    std::string op;
    int status = 0;
    std::string code;
    std::string text;
    int count = 1;
    int delayMs = 0;
    bool drop = false;
    bool malformed = false;
    int skip = 0;           // matching requests let through untouched before the fault strikes
    bool lost = false;      // carried out, then the connection closes without an answer
    int trickleMs = 0;      // the answer's body goes out in pieces this many ms apart
    int trickleBytes = 1;   // bytes per piece
    std::string wrongType{};  // this attribute answers a value of another JSON type
    std::string omit{};       // this attribute is left out of the answer
    int oversize = 0;       // the answer's list is grown to this many entries
    long long floodBytes = 0;  // the answer is this many bytes, made piece by piece as it goes out
    int nestDepth = 0;         // the answer is JSON nested this deep, made as it goes out (REST)
};

struct IScsiLoginResult {
    std::uint32_t status = 0;  // 0 on success
    std::string sessionId;
};

struct Options {
    std::uint16_t controlPort = 0;  // 0: a free port
    std::uint16_t restPort = kDefaultRestPort;
    std::uint16_t soapPort = kDefaultSoapPort;
};

class Simulator {
public:
    explicit Simulator(Options options = {});
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // Control server: "http://127.0.0.1:PORT"; the host channel lives there too (/host/...).
    std::uint16_t controlPort() const;
    std::string controlUrl() const;

    GroupInfo addGroup(const GroupSpec& spec);
    VolumeInfo addVolume(const std::string& groupId, const VolumeSpec& spec);
    void writeVolume(const std::string& volumeId);  // bumps the volume's data version
    std::vector<GroupInfo> groups() const;
    // Restarts the group's REST server on the same address and port with a new certificate
    // (written to its certificate file when it has one); open connections are ended. Answers the
    // group with its new fingerprint.
    GroupInfo renewCertificate(const std::string& groupId, const CertificateSpec& spec = {});

    // What a group's SOAP getProtocols answers (default: "soap-v1","rest-v1" or only
    // "soap-v1" for a group without REST).
    void setSoapProtocols(const std::string& groupId, std::vector<std::string> protocols);

    void injectFault(const FaultSpec& fault);
    void clearFaults();
    void expireSessions(const std::string& groupId);

    // The same documents that GET /control/state and GET /control/requests answer.
    nlohmann::json state() const;
    nlohmann::json requestLog() const;
    void resetLog();
    // Shortcuts into the request log: requests of one operation on one group, and TCP
    // connections the group's REST server accepted since the last reset.
    int requestCount(const std::string& groupId, const std::string& op) const;
    int connectionCount(const std::string& groupId) const;
    // Milliseconds the group spent answering since the last reset (injected delays included).
    double accountedMs(const std::string& groupId) const;

    // The host channel in C++ (the same answers as GET/POST /host/INITIATOR/...). Login and
    // logout meet the iscsi_login/iscsi_logout faults of the target's group (status and delay).
    nlohmann::json hostDisks(const std::string& initiator) const;
    std::vector<std::uint8_t> hostDsmRecord(const std::string& initiator) const;
    nlohmann::json hostSessions(const std::string& initiator) const;
    IScsiLoginResult iscsiLogin(const std::string& initiator, const std::string& targetName,
                                bool headerDigest = false, bool dataDigest = false);
    std::uint32_t iscsiLogout(const std::string& initiator, const std::string& sessionId);
    std::uint32_t iscsiRefresh(const std::string& initiator) const;
    // From now on every host reads the LUN with this serial number with another EUI-64
    // designator (16 bytes as 32 hex digits) on its identifier page, as a storage stack that
    // mixed up two LUNs would. The array's own records stay as they are.
    void misreportEui64(const std::string& serialNumber, const std::string& eui64Hex);

private:
    class Impl;
    std::unique_ptr<Impl> mImpl;
};

}  // namespace arraysim
