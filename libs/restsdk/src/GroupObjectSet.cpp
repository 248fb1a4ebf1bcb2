#include "restsdk/v1/GroupObjectSet.h"

#include "RecordCodec.h"
#include "Session.h"

namespace VantorStorage::WS::v1 {

GroupObjectSet::GroupObjectSet(std::shared_ptr<detail::Session> session) : mSession(std::move(session)) {}

GroupListPtr GroupObjectSet::getObjectList(const GetParams& params) {
  static const std::string path = "/v1/groups/search";
  const nlohmann::json body = detail::RecordCodec::writeSearch(params);
  const nlohmann::json answer = mSession->call("POST", path, &body);
  return mSession->readAnswer("POST", path, [&] { return detail::RecordCodec::readGroupList(answer); });
}

GroupListPtr GroupObjectSet::getObjectList(const std::shared_ptr<GetParams>& params) {
  return getObjectList(params ? *params : GetParams{});
}

}  // namespace VantorStorage::WS::v1
