#include "restsdk/v1/DebugLogObjectSet.h"

#include "RecordCodec.h"
#include "Session.h"

namespace VantorStorage::WS::v1 {

DebugLogObjectSet::DebugLogObjectSet(std::shared_ptr<detail::Session> session) : mSession(std::move(session)) {}

void DebugLogObjectSet::createObject(const DebugLog& entry) {
  mSession->call("POST", "/v1/debug_log", detail::RecordCodec::writeDebugLog(entry));
}

}  // namespace VantorStorage::WS::v1
