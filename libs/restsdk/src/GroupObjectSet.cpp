#include "restsdk/v1/GroupObjectSet.h"

#include "RecordCodec.h"
#include "Session.h"

namespace VantorStorage::WS::v1 {

GroupObjectSet::GroupObjectSet(std::shared_ptr<detail::Session> session) : mSession(std::move(session)) {}

GroupListPtr GroupObjectSet::getObjectList(const GetParams& params) {
  static const std::string path = "/v1/groups/search";
  const detail::JsonAnswer answer = mSession->call("POST", path, detail::RecordCodec::writeSearch(params));
  return mSession->readAnswer("POST", path, [&] { return detail::RecordCodec::readGroupList(answer.root()); });
}

GroupListPtr GroupObjectSet::getObjectList(const std::shared_ptr<GetParams>& params) {
  return getObjectList(params ? *params : GetParams{});
}

}  // namespace VantorStorage::WS::v1
