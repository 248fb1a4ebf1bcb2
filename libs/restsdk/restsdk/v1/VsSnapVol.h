#pragma once
// One entry of a bulk snapshot request: which volume, the new snapshot's name, its initial
// state and its metadata. Only set attributes are sent; vol_id and snap_name are required.
#include <string>

#include "restsdk/v1/Record.h"
#include "restsdk/v1/VsKeyValue.h"

namespace VantorStorage::WS::v1 {

class VsSnapVol : public Record {
 public:
  const std::string& getVolId() const { return required(mVolId, "VolId"); }
  const std::string& getSnapName() const { return required(mSnapName, "SnapName"); }
  bool getOnline() const { return required(mOnline, "Online"); }
  bool getWritable() const { return required(mWritable, "Writable"); }
  VsKeyValueListPtr getMetadata() const { return required(mMetadata, "Metadata"); }

  void setVolId(const std::string& volId) {
    checkMutable("VolId");
    mVolId = volId;
  }
  void setSnapName(const std::string& snapName) {
    checkMutable("SnapName");
    mSnapName = snapName;
  }
  void setOnline(bool online) {
    checkMutable("Online");
    mOnline = online;
  }
  void setWritable(bool writable) {
    checkMutable("Writable");
    mWritable = writable;
  }
  // Several entries may share one list; it is read when the request is sent.
  void setMetadata(VsKeyValueListPtr metadata) {
    checkMutable("Metadata");
    mMetadata = std::move(metadata);
  }

 private:
  friend struct detail::RecordCodec;
  std::optional<std::string> mVolId;
  std::optional<std::string> mSnapName;
  std::optional<bool> mOnline;
  std::optional<bool> mWritable;
  std::optional<VsKeyValueListPtr> mMetadata;
};

using VsSnapVolList = ObjectList<VsSnapVol>;

}  // namespace VantorStorage::WS::v1
