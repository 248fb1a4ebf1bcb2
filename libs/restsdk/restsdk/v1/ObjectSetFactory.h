#pragma once
// Hands out the object sets of one client's session. The sets share the session with the
// client, so they stay usable (and keep the connection) as long as any of them lives.
#include <memory>

#include "restsdk/v1/DebugLogObjectSet.h"
#include "restsdk/v1/GroupObjectSet.h"
#include "restsdk/v1/SnapshotObjectSet.h"
#include "restsdk/v1/VolumeObjectSet.h"

namespace VantorStorage::WS::v1 {

class ObjectSetFactory {
 public:
  explicit ObjectSetFactory(std::shared_ptr<detail::Session> session) : mSession(std::move(session)) {}

  std::shared_ptr<VolumeObjectSet> getVolumeObjectSet() const { return std::make_shared<VolumeObjectSet>(mSession); }
  std::shared_ptr<SnapshotObjectSet> getSnapshotObjectSet() const {
    return std::make_shared<SnapshotObjectSet>(mSession);
  }
  std::shared_ptr<GroupObjectSet> getGroupObjectSet() const { return std::make_shared<GroupObjectSet>(mSession); }
  std::shared_ptr<DebugLogObjectSet> getDebugLogObjectSet() const {
    return std::make_shared<DebugLogObjectSet>(mSession);
  }

 private:
  std::shared_ptr<detail::Session> mSession;
};

}  // namespace VantorStorage::WS::v1
