#pragma once
// An array volume as answered by a search (only the attributes that were asked for are set),
// or a change to send with VolumeObjectSet::updateObject (set only what should change).
#include <cstdint>
#include <string>

#include "restsdk/v1/AccessControlRecord.h"
#include "restsdk/v1/Record.h"
#include "restsdk/v1/VsKeyValue.h"

namespace VantorStorage::WS::v1 {

class Volume : public Record {
 public:
  const std::string& getId() const { return required(mId, "Id"); }
  const std::string& getName() const { return required(mName, "Name"); }
  std::int64_t getSize() const { return required(mSize, "Size"); }  // MiB
  const std::string& getSerialNumber() const { return required(mSerialNumber, "SerialNumber"); }
  const std::string& getDescription() const { return required(mDescription, "Description"); }
  std::int64_t getBlockSize() const { return required(mBlockSize, "BlockSize"); }
  const std::string& getTargetName() const { return required(mTargetName, "TargetName"); }
  const std::string& getParentVolName() const { return required(mParentVolName, "ParentVolName"); }
  const std::string& getBaseSnapName() const { return required(mBaseSnapName, "BaseSnapName"); }
  std::int64_t getNumConnections() const { return required(mNumConnections, "NumConnections"); }
  bool getOnline() const { return required(mOnline, "Online"); }
  // Seconds since 1970-01-01 UTC when the array made the volume.
  std::int64_t getCreationTime() const { return required(mCreationTime, "CreationTime"); }
  // Never null when set (an explicit JSON null reads as an empty list).
  AccessControlRecordListPtr getAccessControlRecords() const {
    return required(mAccessControlRecords, "AccessControlRecords");
  }
  // Raw designator bytes: T10 as the ASCII text the LUN reports; the two IEEE halves decoded
  // from their hexadecimal wire form (8 bytes each on a sane array).
  const std::string& getVpdT10() const { return required(mVpdT10, "VpdT10"); }
  const std::string& getVpdIeee0() const { return required(mVpdIeee0, "VpdIeee0"); }
  const std::string& getVpdIeee1() const { return required(mVpdIeee1, "VpdIeee1"); }
  const std::string& getIscsiTargetScope() const { return required(mIscsiTargetScope, "IscsiTargetScope"); }
  const std::string& getAgentType() const { return required(mAgentType, "AgentType"); }
  // Set but null when the array sent "metadata": null.
  VsKeyValueListPtr getMetadata() const { return required(mMetadata, "Metadata"); }
  const std::string& getVolcollId() const { return required(mVolcollId, "VolcollId"); }

  void setOnline(bool online) {
    checkMutable("Online");
    mOnline = online;
  }

 private:
  friend struct detail::RecordCodec;
  std::optional<std::string> mId;
  std::optional<std::string> mName;
  std::optional<std::int64_t> mSize;
  std::optional<std::string> mSerialNumber;
  std::optional<std::string> mDescription;
  std::optional<std::int64_t> mBlockSize;
  std::optional<std::string> mTargetName;
  std::optional<std::string> mParentVolName;
  std::optional<std::string> mBaseSnapName;
  std::optional<std::int64_t> mNumConnections;
  std::optional<bool> mOnline;
  std::optional<std::int64_t> mCreationTime;
  std::optional<AccessControlRecordListPtr> mAccessControlRecords;
  std::optional<std::string> mVpdT10;
  std::optional<std::string> mVpdIeee0;
  std::optional<std::string> mVpdIeee1;
  std::optional<std::string> mIscsiTargetScope;
  std::optional<std::string> mAgentType;
  std::optional<VsKeyValueListPtr> mMetadata;
  std::optional<std::string> mVolcollId;
};

using VolumeList = ObjectList<Volume>;
using VolumeListPtr = ObjectListPtr<Volume>;

}  // namespace VantorStorage::WS::v1
