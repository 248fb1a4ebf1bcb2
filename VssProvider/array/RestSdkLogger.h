#pragma once
// Sends the REST client library's own log lines into the provider's file trace, so one trace
// tells what the provider asked and what the library did about it.
#include <string>

#include "restsdk/VantorApiLogger.h"

namespace Vantor {

class RestSdkLogger final : public VantorStorage::WS::VantorApiLogger {
 public:
  void logDebug(const std::string& message) override;
  void logInfo(const std::string& message) override;
  void logError(const std::string& message) override;
  void logWarning(const std::string& message) override;
  void logFatal(const std::string& message) override;
};

}  // namespace Vantor
