#pragma once
// The group (one object).
#include <memory>

#include "restsdk/v1/GetParams.h"
#include "restsdk/v1/Group.h"

namespace VantorStorage::WS::detail {
class Session;
}

namespace VantorStorage::WS::v1 {

class GroupObjectSet {
 public:
  explicit GroupObjectSet(std::shared_ptr<detail::Session> session);

  // Never null, may be empty.
  GroupListPtr getObjectList(const GetParams& params);
  GroupListPtr getObjectList(const std::shared_ptr<GetParams>& params);

 private:
  std::shared_ptr<detail::Session> mSession;
};

}  // namespace VantorStorage::WS::v1
