#pragma once
// Writes one line into the array group's own log, so that what the provider did shows next to
// what the array did. Best effort: no failure of it ever reaches the caller.
#include <string>

#include "array/RestCall.h"

namespace Vantor {

class RestCallLogMessageToGMD final : public RestCall {
 public:
  // level: "info", "warning" or "error".
  RestCallLogMessageToGMD(RestConnection& restConn, std::string message, std::string level)
      : RestCall(restConn), mMessage(std::move(message)), mLevel(std::move(level)) {}

 protected:
  void Call() override;
  std::string GetName() const override { return "Log to GMD - Create Object. Message: \"" + mMessage; }
  bool IsExceptionIgnorable(const VantorStorage::WS::GroupMgmtServerException& /*e*/) const override { return true; }
  bool IgnoreAllExceptions() const override { return true; }

 private:
  std::string mMessage;
  std::string mLevel;
};

}  // namespace Vantor
