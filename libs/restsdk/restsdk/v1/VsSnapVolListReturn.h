#pragma once
// The answer of a bulk snapshot create: the new snapshots, in request order.
#include "restsdk/v1/Record.h"
#include "restsdk/v1/Snapshot.h"

namespace VantorStorage::WS::v1 {

class VsSnapVolListReturn : public Record {
 public:
  // Never null when set.
  SnapshotListPtr getSnapList() const { return required(mSnapList, "SnapList"); }

 private:
  friend struct detail::RecordCodec;
  std::optional<SnapshotListPtr> mSnapList;
};

}  // namespace VantorStorage::WS::v1
