#pragma once
// The array group itself (a search of groups answers exactly one).
#include <string>

#include "restsdk/v1/Record.h"

namespace VantorStorage::WS::v1 {

class Group : public Record {
 public:
  const std::string& getId() const { return required(mId, "Id"); }
  const std::string& getName() const { return required(mName, "Name"); }
  const std::string& getVersionCurrent() const { return required(mVersionCurrent, "VersionCurrent"); }

 private:
  friend struct detail::RecordCodec;
  std::optional<std::string> mId;
  std::optional<std::string> mName;
  std::optional<std::string> mVersionCurrent;
};

using GroupList = ObjectList<Group>;
using GroupListPtr = ObjectListPtr<Group>;

}  // namespace VantorStorage::WS::v1
