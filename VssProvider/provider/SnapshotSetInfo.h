#pragma once
// The provider's records of the snapshot sets VSS is preparing: one VaSnapshotSetInfo per set,
// one VaSnapshotInfo per LUN, and the per-array groups that the commit walks.
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "array/ArrayRecords.h"
#include "provider/DeviceIdentity.h"
#include "wincompat/VssTypes.h"

class VaVssArrayWrapper;

// One LUN of one snapshot set.
struct VaSnapshotInfo {
  // Serial number of the array volume behind the LUN (the backing volume's for a virtual disk).
  std::string mSourceSerialNumber;
  // The LUN's serial number as VSS gave it; set only for virtual disks.
  std::string mLunSerialNumber;
  // The backing volume as the array lookup returned it (id, collection id ...), and its name.
  std::shared_ptr<Vantor::VolumeRecord> mVolume;
  std::string mVolumeName;
  // The virtual-volume record taken from the provider's virtual-volume map (virtual disks only).
  std::shared_ptr<Vantor::VolumeRecord> mVirtualVolume;
  LONG mContext = 0;
  // What the snapshot's metadata says of its maker: this host and the set's context
  // (array/SnapshotOwner.h); empty when this host's name is unknown.
  std::string mOwnerTag;

  // Filled by the array wrapper when the snapshot is created: the EUI-64 designator is the
  // array's two 8-byte halves one after the other.
  std::string mSnapshotId;
  std::string mSnapshotName;
  std::string mSnapshotSerialNumber;
  std::string mSnapshotTargetName;
  std::array<std::uint8_t, provider::kVendorIdDesignatorSize> mSnapshotVendorId{};
  std::array<std::uint8_t, provider::kEui64DesignatorSize> mSnapshotEui64{};
  bool mSnapshotExists = false;

  // Copied from the source LUN by GetTargetLuns.
  ULONG mLunVersion = 0;
  BYTE mDeviceType = 0;
  BYTE mDeviceTypeModifier = 0;
  BOOL mCommandQueueing = FALSE;

  // The serial that VSS knows the LUN by: the virtual disk's own, else the source volume's.
  const std::string& KeySerial() const { return mLunSerialNumber.empty() ? mSourceSerialNumber : mLunSerialNumber; }
};

// The LUNs of one set that live on one array group, in the order they were assigned.
struct VaSnapshotGroup {
  std::shared_ptr<VaVssArrayWrapper> mArray;
  std::vector<std::shared_ptr<VaSnapshotInfo>> mSnapshots;
  // Set once the group was asked to create its snapshots, whatever came of it: from then on
  // the array may hold snapshots of the set that no LUN record names.
  bool mCreateRequested = false;
};

struct VaSnapshotSetInfo {
  std::string mSnapshotSetId;
  std::map<std::string, std::shared_ptr<VaSnapshotInfo>> mVolSnapshotInfoMap;
  std::vector<std::shared_ptr<VaSnapshotGroup>> mGroups;
};
