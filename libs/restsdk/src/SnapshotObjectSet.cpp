#include "restsdk/v1/SnapshotObjectSet.h"

#include "RecordCodec.h"
#include "Session.h"

namespace VantorStorage::WS::v1 {

SnapshotObjectSet::SnapshotObjectSet(std::shared_ptr<detail::Session> session) : mSession(std::move(session)) {}

SnapshotListPtr SnapshotObjectSet::getObjectList(const GetParams& params) {
  static const std::string path = "/v1/snapshots/search";
  const nlohmann::json body = detail::RecordCodec::writeSearch(params);
  const nlohmann::json answer = mSession->call("POST", path, &body);
  return mSession->readAnswer("POST", path, [&] { return detail::RecordCodec::readSnapshotList(answer); });
}

SnapshotListPtr SnapshotObjectSet::getObjectList(const std::shared_ptr<GetParams>& params) {
  return getObjectList(params ? *params : GetParams{});
}

std::shared_ptr<VsSnapVolListReturn> SnapshotObjectSet::bulkCreate(const VsSnapVolList& snapVols) {
  static const std::string path = "/v1/snapshots/bulk_create";
  const nlohmann::json body = detail::RecordCodec::writeBulkCreate(snapVols);
  const nlohmann::json answer = mSession->call("POST", path, &body);
  return mSession->readAnswer("POST", path, [&] { return detail::RecordCodec::readBulkCreateAnswer(answer); });
}

std::shared_ptr<Snapshot> SnapshotObjectSet::updateObject(const std::string& id, const Snapshot& changes) {
  const std::string path = "/v1/snapshots/" + detail::pathSegment(id, "snapshot id");
  const nlohmann::json body = detail::RecordCodec::writeSnapshotUpdate(changes);
  const nlohmann::json answer = mSession->call("PUT", path, &body);
  return mSession->readAnswer("PUT", path, [&] { return detail::RecordCodec::readSnapshotAnswer(answer); });
}

void SnapshotObjectSet::deleteObject(const std::string& id) {
  mSession->call("DELETE", "/v1/snapshots/" + detail::pathSegment(id, "snapshot id"), nullptr);
}

}  // namespace VantorStorage::WS::v1
