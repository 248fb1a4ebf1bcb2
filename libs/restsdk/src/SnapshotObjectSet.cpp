#include "restsdk/v1/SnapshotObjectSet.h"

#include "RecordCodec.h"
#include "Session.h"

namespace VantorStorage::WS::v1 {

SnapshotObjectSet::SnapshotObjectSet(std::shared_ptr<detail::Session> session) : mSession(std::move(session)) {}

SnapshotListPtr SnapshotObjectSet::getObjectList(const GetParams& params) {
  static const std::string path = "/v1/snapshots/search";
  const detail::JsonAnswer answer = mSession->call("POST", path, detail::RecordCodec::writeSearch(params));
  return mSession->readAnswer("POST", path, [&] { return detail::RecordCodec::readSnapshotList(answer.root()); });
}

SnapshotListPtr SnapshotObjectSet::getObjectList(const std::shared_ptr<GetParams>& params) {
  return getObjectList(params ? *params : GetParams{});
}

std::shared_ptr<VsSnapVolListReturn> SnapshotObjectSet::bulkCreate(const VsSnapVolList& snapVols,
                                                                   const AttributeSelector& read) {
  static const std::string path = "/v1/snapshots/bulk_create";
  const detail::AttributeMask wanted = detail::RecordCodec::snapshotAttributes(read);
  const detail::JsonAnswer answer = mSession->call("POST", path, detail::RecordCodec::writeBulkCreate(snapVols));
  return mSession->readAnswer("POST", path,
                              [&] { return detail::RecordCodec::readBulkCreateAnswer(answer.root(), wanted); });
}

std::shared_ptr<Snapshot> SnapshotObjectSet::updateObject(const std::string& id, const Snapshot& changes) {
  const std::string path = "/v1/snapshots/" + detail::pathSegment(id, "snapshot id");
  const detail::JsonAnswer answer = mSession->call("PUT", path, detail::RecordCodec::writeSnapshotUpdate(changes));
  return mSession->readAnswer("PUT", path, [&] { return detail::RecordCodec::readSnapshotAnswer(answer.root()); });
}

void SnapshotObjectSet::deleteObject(const std::string& id) {
  mSession->call("DELETE", "/v1/snapshots/" + detail::pathSegment(id, "snapshot id"));
}

}  // namespace VantorStorage::WS::v1
