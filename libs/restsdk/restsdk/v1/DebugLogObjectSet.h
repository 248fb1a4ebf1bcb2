#pragma once
// The array's debug log: write only.
#include <memory>

#include "restsdk/v1/DebugLog.h"

namespace VantorStorage::WS::detail {
class Session;
}

namespace VantorStorage::WS::v1 {

class DebugLogObjectSet {
 public:
  explicit DebugLogObjectSet(std::shared_ptr<detail::Session> session);

  // Throws ApiException when message or level is not set.
  void createObject(const DebugLog& entry);

 private:
  std::shared_ptr<detail::Session> mSession;
};

}  // namespace VantorStorage::WS::v1
