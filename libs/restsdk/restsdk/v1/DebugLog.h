#pragma once
// A line for the array's own log (the group management daemon's debug log).
#include <string>

#include "restsdk/v1/Record.h"

namespace VantorStorage::WS::v1 {

class DebugLog : public Record {
 public:
  DebugLog() = default;
  DebugLog(const std::string& message, const std::string& level) : mMessage(message), mLevel(level) {}

  const std::string& getMessage() const { return required(mMessage, "Message"); }
  // "info", "warning" or "error".
  const std::string& getLevel() const { return required(mLevel, "Level"); }
  void setMessage(const std::string& message) {
    checkMutable("Message");
    mMessage = message;
  }
  void setLevel(const std::string& level) {
    checkMutable("Level");
    mLevel = level;
  }

 private:
  friend struct detail::RecordCodec;
  std::optional<std::string> mMessage;
  std::optional<std::string> mLevel;
};

}  // namespace VantorStorage::WS::v1
