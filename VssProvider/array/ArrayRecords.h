#pragma once
// Plain copies of what the array answered about its volumes, snapshots, group and volume
// collections. The array layer keeps these instead of the REST library's objects: they are
// what the wrapper caches by serial number and what the provider matches LUNs against.
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace VantorStorage::WS::v1 {
class Volume;
class Snapshot;
}  // namespace VantorStorage::WS::v1

namespace Vantor {

// Access protocol of an access control record.
enum AccessProtocol : std::uint32_t {
  ACCESS_PROTOCOL_UNKNOWN = 0,
  ACCESS_PROTOCOL_ISCSI = 1,
  ACCESS_PROTOCOL_FC = 2,
};

// Which iSCSI target carries a volume's LUN (and its snapshots'): the group's one target
// ("GST") or a target of the volume's own ("VST").
enum TargetScope : std::uint32_t {
  TARGET_SCOPE_UNKNOWN = 0,
  TARGET_SCOPE_GROUP = 1,
  TARGET_SCOPE_VOLUME = 2,
};

// Exact, case-sensitive names as the array sends them; anything else is unknown (0).
std::uint32_t AccessProtocolFromName(const std::string& name);
std::uint32_t TargetScopeFromName(const std::string& name);

inline constexpr std::size_t kVpdT10Size = 56;
inline constexpr std::size_t kVpdIeeeSize = 8;
using VpdT10 = std::array<std::uint8_t, kVpdT10Size>;
using VpdIeee = std::array<std::uint8_t, kVpdIeeeSize>;

// Virtual-volume metadata keys.
inline constexpr const char* kVirtualDeviceIdKey = "vp_vs_VAN_VIRTUAL_DEVICE_ID";
inline constexpr const char* kPendingDeletionKey = "vp_vs_VAN_PENDING_DELETION";
inline constexpr const char* kPendingDeletionValue = "VAN_PENDING_DELETION";
inline constexpr const char* kVirtualVolumeAgentType = "vvol";
// Every snapshot of a shadow copy carries the snapshot set's id under this metadata key.
inline constexpr const char* kSnapshotSetIdKey = "vss_vs_snapshot_set_id";

struct SnapshotRecord {
  std::string mId;
  std::int64_t mSize = 0;
  std::string mName;
  std::string mSerialNumber;
  std::string mDescription;
  // The iSCSI target to log in to. For a snapshot of a virtual volume the target scope step
  // replaces it with the parent volume's target, through which such snapshots are reached.
  std::string mTargetName;
  std::string mVolName;
  std::string mVolId;
  // One entry per access control record, in the array's order.
  std::vector<std::uint32_t> mAccessProtocols;
  VpdT10 mVpdT10{};
  VpdIeee mVpdIeee0{};
  VpdIeee mVpdIeee1{};
  // Filled by the target scope step, not by the snapshot queries.
  std::uint32_t mTargetScope = TARGET_SCOPE_UNKNOWN;
  bool mParentIsVirtualVolume = false;

  bool HasAccessProtocol(std::uint32_t protocol) const;
};

struct VolumeRecord {
  std::string mId;
  std::string mName;
  std::int64_t mSize = 0;
  std::string mSerialNumber;
  std::string mDescription;
  std::int64_t mBlockSize = 0;
  std::string mTargetName;
  std::string mParentVolName;
  std::string mBaseSnapName;
  std::int64_t mNumConnections = 0;
  std::vector<std::uint32_t> mAccessProtocols;
  // The initiator names of the access-control records, in the array's order (iSCSI names and
  // Fibre Channel port names alike, as the array wrote them).
  std::vector<std::string> mAccessInitiators;
  std::uint32_t mTargetScope = TARGET_SCOPE_UNKNOWN;
  VpdT10 mVpdT10{};
  VpdIeee mVpdIeee0{};
  VpdIeee mVpdIeee1{};
  // Virtual volumes only.
  bool mIsVirtualVolume = false;
  std::string mAgentType;
  std::vector<std::pair<std::string, std::string>> mMetadata;
  std::string mVolumeCollectionId;

  bool HasAccessProtocol(std::uint32_t protocol) const;
};

struct GroupRecord {
  std::string mId;
  std::string mName;
  std::string mCurrentVersion;
};

// The volumes of one volume collection, in the array's order.
struct VolumeCollectionRecord {
  std::string mId;
  std::vector<std::string> mVolumeIds;
  std::vector<std::string> mVolumeNames;
};

// Copies from the library's objects. A missing attribute throws the library's
// AttributeNotSetException naming it; nothing is defaulted.
//
// A volume found by serial number: the attributes of the serial search (incl. target scope).
VolumeRecord VolumeRecordFromVolume(const VantorStorage::WS::v1::Volume& volume);
// A virtual volume: the same without the target scope, plus agent type, metadata and
// collection id; marked as virtual.
VolumeRecord VirtualVolumeRecordFromVolume(const VantorStorage::WS::v1::Volume& volume);
SnapshotRecord SnapshotRecordFromSnapshot(const VantorStorage::WS::v1::Snapshot& snapshot);

}  // namespace Vantor
