#include "restsdk/v1/VolumeObjectSet.h"

#include "RecordCodec.h"
#include "Session.h"

namespace VantorStorage::WS::v1 {

VolumeObjectSet::VolumeObjectSet(std::shared_ptr<detail::Session> session) : mSession(std::move(session)) {}

VolumeListPtr VolumeObjectSet::getObjectList(const GetParams& params) {
  static const std::string path = "/v1/volumes/search";
  const detail::JsonAnswer answer = mSession->call("POST", path, detail::RecordCodec::writeSearch(params));
  return mSession->readAnswer("POST", path, [&] { return detail::RecordCodec::readVolumeList(answer.root()); });
}

VolumeListPtr VolumeObjectSet::getObjectList(const std::shared_ptr<GetParams>& params) {
  return getObjectList(params ? *params : GetParams{});
}

std::shared_ptr<Volume> VolumeObjectSet::updateObject(const std::string& id, const Volume& changes, bool force) {
  const std::string path = "/v1/volumes/" + detail::pathSegment(id, "volume id");
  const detail::JsonAnswer answer = mSession->call("PUT", path, detail::RecordCodec::writeVolumeUpdate(changes, force));
  return mSession->readAnswer("PUT", path, [&] { return detail::RecordCodec::readVolumeAnswer(answer.root()); });
}

std::shared_ptr<Volume> VolumeObjectSet::restore(const std::string& volumeId, const std::string& snapshotId) {
  const std::string path = "/v1/volumes/" + detail::pathSegment(volumeId, "volume id") + "/actions/restore";
  if (snapshotId.empty()) throw ApiException("The snapshot id to restore from must not be empty");
  const detail::JsonAnswer answer = mSession->call("POST", path, detail::RecordCodec::writeVolumeRestore(volumeId, snapshotId));
  return mSession->readAnswer("POST", path, [&] { return detail::RecordCodec::readVolumeAnswer(answer.root()); });
}

}  // namespace VantorStorage::WS::v1
