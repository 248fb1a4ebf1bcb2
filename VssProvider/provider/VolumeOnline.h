#pragma once
// Bringing a volume back online after the provider sent it an offline for an in-place restore.
// Every host that uses the volume loses it while it is offline, so whatever the offline, the
// restore or the online answered, the provider keeps at it until the array itself says the
// volume is online. An array may still carry out a request whose answer never came: after an
// offline of unknown outcome the state is watched for a while longer and the volume is put
// online again if it went offline.
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "array/ArrayRecords.h"

class VaVssArrayWrapper;

namespace provider {

struct RestoreSettings {
  // How long the online is retried and read back before the volume is given up as offline;
  // a watch after an offline of unknown outcome comes on top.
  std::chrono::milliseconds onlineDeadline{std::chrono::seconds(60)};
  // Between two online attempts, and between two reads of the state while watching.
  std::chrono::milliseconds retryPause{std::chrono::seconds(1)};
  // This host's initiator names; a restore goes only onto a volume presented to one of them.
  std::function<std::vector<std::string>()> hostInitiators;
};

// The settings the service runs with (hostInitiators: ThisHostInitiators).
RestoreSettings DefaultRestoreSettings();

// True once the array reports the volume online and, for `watch` from then on, kept reporting
// it so (an offline in between is undone by another online). False when the deadline passed
// first; the caller reports the volume.
bool BringVolumeOnline(VaVssArrayWrapper& array, const Vantor::VolumeRecord& volume, const RestoreSettings& settings,
                       std::chrono::milliseconds watch);

}  // namespace provider
