#include "array/ArrayRecords.h"

#include <algorithm>
#include <cstring>

#include "logger/FileLog.h"
#include "restsdk/v1/Snapshot.h"
#include "restsdk/v1/Volume.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"ArrayRecords";

namespace v1 = VantorStorage::WS::v1;

std::vector<std::uint32_t> AccessProtocolsOf(const v1::AccessControlRecordListPtr& records) {
  std::vector<std::uint32_t> protocols;
  if (!records) return protocols;
  for (const auto& record : *records) {
    if (record) protocols.push_back(AccessProtocolFromName(record->getAccessProtocol()));
  }
  return protocols;
}

std::vector<std::string> InitiatorsOf(const v1::AccessControlRecordListPtr& records) {
  std::vector<std::string> names;
  if (!records) return names;
  for (const auto& record : *records) {
    if (record) names.push_back(record->getInitiatorName());
  }
  return names;
}

// The array may send a designator longer than the field; the rest is cut off.
template <std::size_t N>
void CopyDesignator(const std::string& bytes, std::array<std::uint8_t, N>& field) {
  field.fill(0);
  std::memcpy(field.data(), bytes.data(), std::min(bytes.size(), N));
}

template <class Object, class Record>
void CopyDesignators(const Object& object, Record& record) {
  CopyDesignator(object.getVpdT10(), record.mVpdT10);
  CopyDesignator(object.getVpdIeee0(), record.mVpdIeee0);
  CopyDesignator(object.getVpdIeee1(), record.mVpdIeee1);
}

// The attributes both volume searches select.
VolumeRecord CommonVolumeRecord(const v1::Volume& volume) {
  VolumeRecord record;
  record.mId = volume.getId();
  record.mSize = volume.getSize();
  record.mName = volume.getName();
  record.mSerialNumber = volume.getSerialNumber();
  record.mDescription = volume.getDescription();
  record.mBlockSize = volume.getBlockSize();
  record.mTargetName = volume.getTargetName();
  record.mParentVolName = volume.getParentVolName();
  record.mBaseSnapName = volume.getBaseSnapName();
  record.mNumConnections = volume.getNumConnections();
  record.mAccessProtocols = AccessProtocolsOf(volume.getAccessControlRecords());
  record.mAccessInitiators = InitiatorsOf(volume.getAccessControlRecords());
  CopyDesignators(volume, record);
  return record;
}

bool Contains(const std::vector<std::uint32_t>& protocols, std::uint32_t protocol) {
  return std::find(protocols.begin(), protocols.end(), protocol) != protocols.end();
}

}  // namespace

std::uint32_t AccessProtocolFromName(const std::string& name) {
  VA_LOG(MSG_DEBUG, L"Protocol Name: %S", name);
  if (name == "iscsi") return ACCESS_PROTOCOL_ISCSI;
  if (name == "fc") return ACCESS_PROTOCOL_FC;
  return ACCESS_PROTOCOL_UNKNOWN;
}

std::uint32_t TargetScopeFromName(const std::string& name) {
  if (name == "group") return TARGET_SCOPE_GROUP;
  if (name == "volume") return TARGET_SCOPE_VOLUME;
  return TARGET_SCOPE_UNKNOWN;
}

bool SnapshotRecord::HasAccessProtocol(std::uint32_t protocol) const { return Contains(mAccessProtocols, protocol); }

bool VolumeRecord::HasAccessProtocol(std::uint32_t protocol) const { return Contains(mAccessProtocols, protocol); }

VolumeRecord VolumeRecordFromVolume(const v1::Volume& volume) {
  VolumeRecord record = CommonVolumeRecord(volume);
  record.mTargetScope = TargetScopeFromName(volume.getIscsiTargetScope());
  return record;
}

VolumeRecord VirtualVolumeRecordFromVolume(const v1::Volume& volume) {
  VolumeRecord record = CommonVolumeRecord(volume);
  record.mAgentType = volume.getAgentType();
  if (const auto metadata = volume.getMetadata()) {
    for (const auto& pair : *metadata) {
      if (pair) record.mMetadata.emplace_back(pair->getKey(), pair->getValue());
    }
  }
  record.mVolumeCollectionId = volume.getVolcollId();
  record.mIsVirtualVolume = true;
  return record;
}

SnapshotRecord SnapshotRecordFromSnapshot(const v1::Snapshot& snapshot) {
  SnapshotRecord record;
  record.mId = snapshot.getId();
  record.mSize = snapshot.getSize();
  record.mName = snapshot.getName();
  record.mSerialNumber = snapshot.getSerialNumber();
  record.mDescription = snapshot.getDescription();
  record.mTargetName = snapshot.getTargetName();
  record.mVolName = snapshot.getVolName();
  record.mVolId = snapshot.getVolId();
  record.mAccessProtocols = AccessProtocolsOf(snapshot.getAccessControlRecords());
  CopyDesignators(snapshot, record);
  return record;
}

}  // namespace Vantor
