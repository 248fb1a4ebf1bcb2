#pragma once
// The library's log sink. The application hands one to ApiLibrary::initialize; the library
// writes its own lines (requests, sessions, rejected answers) through it and never writes
// secrets (passwords, session tokens) into a message.
#include <string>

namespace VantorStorage::WS {

class VantorApiLogger {
 public:
  VantorApiLogger() = default;
  VantorApiLogger(const VantorApiLogger&) = delete;
  VantorApiLogger& operator=(const VantorApiLogger&) = delete;

  virtual void logDebug(const std::string& message) = 0;
  virtual void logInfo(const std::string& message) = 0;
  virtual void logError(const std::string& message) = 0;
  virtual void logWarning(const std::string& message) = 0;
  virtual void logFatal(const std::string& message) = 0;
  virtual ~VantorApiLogger() = default;
};

}  // namespace VantorStorage::WS
