#pragma once
// Volumes of the group.
#include <memory>
#include <string>

#include "restsdk/v1/GetParams.h"
#include "restsdk/v1/Volume.h"

namespace VantorStorage::WS::detail {
class Session;
}

namespace VantorStorage::WS::v1 {

class VolumeObjectSet {
 public:
  explicit VolumeObjectSet(std::shared_ptr<detail::Session> session);

  // The matching volumes in the array's order; never null, may be empty.
  VolumeListPtr getObjectList(const GetParams& params);
  VolumeListPtr getObjectList(const std::shared_ptr<GetParams>& params);
  // Sends the attributes set on `changes` (e.g. setOnline). force lets an offline proceed
  // while hosts are connected (their sessions end). Answers the updated volume.
  std::shared_ptr<Volume> updateObject(const std::string& id, const Volume& changes, bool force = false);
  // Replaces the (offline) volume's data by that of one of its own snapshots.
  std::shared_ptr<Volume> restore(const std::string& volumeId, const std::string& snapshotId);

 private:
  std::shared_ptr<detail::Session> mSession;
};

}  // namespace VantorStorage::WS::v1
