#pragma once
// Snapshots of the group.
#include <memory>
#include <string>

#include "restsdk/v1/GetParams.h"
#include "restsdk/v1/Snapshot.h"
#include "restsdk/v1/VsSnapVol.h"
#include "restsdk/v1/VsSnapVolListReturn.h"

namespace VantorStorage::WS::detail {
class Session;
}

namespace VantorStorage::WS::v1 {

class SnapshotObjectSet {
 public:
  explicit SnapshotObjectSet(std::shared_ptr<detail::Session> session);

  // The matching snapshots in the array's order; never null, may be empty.
  SnapshotListPtr getObjectList(const GetParams& params);
  SnapshotListPtr getObjectList(const std::shared_ptr<GetParams>& params);
  // One snapshot per entry, taken at one instant, all or nothing. Throws ApiException for an
  // empty list, a null entry, an entry without vol_id or snap_name, or a selector naming no
  // snapshot attribute (nothing is sent then). The array answers every attribute of the new
  // snapshots; of those, the ones `read` names are read (all for an empty selector).
  std::shared_ptr<VsSnapVolListReturn> bulkCreate(const VsSnapVolList& snapVols, const AttributeSelector& read = {});
  // Sends the attributes set on `changes` (e.g. setOnline). Answers the updated snapshot.
  std::shared_ptr<Snapshot> updateObject(const std::string& id, const Snapshot& changes);
  void deleteObject(const std::string& id);

 private:
  std::shared_ptr<detail::Session> mSession;
};

}  // namespace VantorStorage::WS::v1
