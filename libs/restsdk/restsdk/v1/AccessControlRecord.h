#pragma once
// Who may connect to a volume or snapshot: a protocol ("iscsi" or "fc" on the wire, passed
// through as sent) and an initiator name.
#include <string>

#include "restsdk/v1/Record.h"

namespace VantorStorage::WS::v1 {

class AccessControlRecord : public Record {
 public:
  const std::string& getAccessProtocol() const { return required(mAccessProtocol, "AccessProtocol"); }
  const std::string& getInitiatorName() const { return required(mInitiatorName, "InitiatorName"); }

 private:
  friend struct detail::RecordCodec;
  std::optional<std::string> mAccessProtocol;
  std::optional<std::string> mInitiatorName;
};

using AccessControlRecordList = ObjectList<AccessControlRecord>;
using AccessControlRecordListPtr = ObjectListPtr<AccessControlRecord>;

}  // namespace VantorStorage::WS::v1
