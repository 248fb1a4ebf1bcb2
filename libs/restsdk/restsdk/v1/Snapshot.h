#pragma once
// An array snapshot as answered by a search or a bulk create, or a change to send with
// SnapshotObjectSet::updateObject (set only what should change).
#include <cstdint>
#include <string>

#include "restsdk/v1/AccessControlRecord.h"
#include "restsdk/v1/Record.h"
#include "restsdk/v1/VsKeyValue.h"

namespace VantorStorage::WS::v1 {

class Snapshot : public Record {
 public:
  const std::string& getId() const { return required(mId, "Id"); }
  const std::string& getName() const { return required(mName, "Name"); }
  std::int64_t getSize() const { return required(mSize, "Size"); }  // MiB
  const std::string& getSerialNumber() const { return required(mSerialNumber, "SerialNumber"); }
  const std::string& getDescription() const { return required(mDescription, "Description"); }
  const std::string& getTargetName() const { return required(mTargetName, "TargetName"); }
  const std::string& getVolName() const { return required(mVolName, "VolName"); }
  const std::string& getVolId() const { return required(mVolId, "VolId"); }
  bool getOnline() const { return required(mOnline, "Online"); }
  bool getWritable() const { return required(mWritable, "Writable"); }
  // Seconds since 1970-01-01 UTC when the array made the snapshot.
  std::int64_t getCreationTime() const { return required(mCreationTime, "CreationTime"); }
  // iSCSI connections to the snapshot's LUN now.
  std::int64_t getNumConnections() const { return required(mNumConnections, "NumConnections"); }
  // Never null when set (an explicit JSON null reads as an empty list).
  AccessControlRecordListPtr getAccessControlRecords() const {
    return required(mAccessControlRecords, "AccessControlRecords");
  }
  // Raw designator bytes, as for Volume.
  const std::string& getVpdT10() const { return required(mVpdT10, "VpdT10"); }
  const std::string& getVpdIeee0() const { return required(mVpdIeee0, "VpdIeee0"); }
  const std::string& getVpdIeee1() const { return required(mVpdIeee1, "VpdIeee1"); }
  // Set but null when the array sent "metadata": null. Metadata is written by every client of
  // the array, so a malformed list (not a list, or pairs that are not two strings) does not fail
  // the whole answer: that snapshot reads as having no metadata attribute.
  VsKeyValueListPtr getMetadata() const { return required(mMetadata, "Metadata"); }

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
  std::optional<std::string> mTargetName;
  std::optional<std::string> mVolName;
  std::optional<std::string> mVolId;
  std::optional<bool> mOnline;
  std::optional<bool> mWritable;
  std::optional<std::int64_t> mCreationTime;
  std::optional<std::int64_t> mNumConnections;
  std::optional<AccessControlRecordListPtr> mAccessControlRecords;
  std::optional<std::string> mVpdT10;
  std::optional<std::string> mVpdIeee0;
  std::optional<std::string> mVpdIeee1;
  std::optional<VsKeyValueListPtr> mMetadata;
};

using SnapshotList = ObjectList<Snapshot>;
using SnapshotListPtr = ObjectListPtr<Snapshot>;

}  // namespace VantorStorage::WS::v1
