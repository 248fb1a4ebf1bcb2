#include "provider/VolumeOnline.h"

#include <algorithm>
#include <optional>
#include <thread>

#include "array/VaVssArrayWrapper.h"
#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "provider/HostInitiators.h"

namespace provider {
namespace {

constexpr const wchar_t* kLogSource = L"VaVssHwProvider";

using Clock = std::chrono::steady_clock;

std::optional<bool> ReadOnline(VaVssArrayWrapper& array, const Vantor::VolumeRecord& volume) {
  bool online = false;
  if (FAILED(array.ReadVolumeOnline(volume, online))) return std::nullopt;
  return online;
}

void PauseUntil(Clock::time_point end, std::chrono::milliseconds pause) {
  const auto now = Clock::now();
  if (now < end) std::this_thread::sleep_for(std::min<Clock::duration>(pause, end - now));
}

}  // namespace

RestoreSettings DefaultRestoreSettings() {
  RestoreSettings settings;
  settings.hostInitiators = ThisHostInitiators;
  return settings;
}

bool BringVolumeOnline(VaVssArrayWrapper& array, const Vantor::VolumeRecord& volume, const RestoreSettings& settings,
                       std::chrono::milliseconds watch) {
  CLogger scope(L"CVaVssHwProvider::BringVolumeOnline");
  const auto deadline = Clock::now() + settings.onlineDeadline + watch;
  std::optional<Clock::time_point> watchEnd;  // set once the array first says online
  bool onlineJustSent = false;
  for (;;) {
    // A volume the array reports online counts as online, whoever put it so.
    const std::optional<bool> online = ReadOnline(array, volume);
    const auto now = Clock::now();
    if (online.value_or(false)) {
      if (!watchEnd) {
        watchEnd = now + watch;
        if (watch.count() > 0)
          VA_LOG(MSG_INFO, L"Volume %S is online; watching it for %lld ms in case the array still takes it offline",
                 volume.mName, static_cast<long long>(watch.count()));
      }
      if (now >= *watchEnd) return true;
      onlineJustSent = false;
      PauseUntil(*watchEnd, settings.retryPause);
      continue;
    }
    if (now >= deadline) return false;
    if (onlineJustSent) {
      PauseUntil(deadline, settings.retryPause);  // the array has not come round yet
    } else if (online.has_value() && watchEnd) {
      VA_LOG(MSG_WARNING, L"Volume %S went offline after it was online again; putting it online once more",
             volume.mName);
    }
    // The answer does not count either way (SM_ealready is an online volume): the next read tells.
    array.OnlineVolume(volume);
    onlineJustSent = true;
  }
}

}  // namespace provider
