#include "EmulatedServiceSeams.h"

#include <memory>

#include "platform/emulated/EmulatedDsmDevice.h"
#include "platform/emulated/EmulatedHostChannel.h"
#include "platform/emulated/EmulatedIscsiInitiator.h"
#include "platform/emulated/EmulatedStorageDevices.h"
#include "platform/win32/Win32EventLog.h"
#include "platform/win32/Win32Registry.h"
#include "platform/win32/Win32ServiceAccount.h"

namespace outofprocess {

void InstallEmulatedServiceSeams(const std::filesystem::path& executableDirectory) {
  const platform::EmulatedHostEndpoint endpoint = platform::ReadEmulatedHostEndpoint(executableDirectory / kEmulatedHostFile);
  platform::RegistrySlot::Install(std::make_unique<platform::Win32Registry>());
  platform::ServiceAccountSlot::Install(std::make_unique<platform::Win32ServiceAccount>());
  platform::StorageDevicesSlot::Install(std::make_unique<platform::EmulatedStorageDevices>(endpoint));
  platform::DsmDeviceSlot::Install(std::make_unique<platform::EmulatedDsmDevice>(endpoint));
  platform::IscsiInitiatorSlot::Install(std::make_unique<platform::EmulatedIscsiInitiator>(endpoint));
  platform::EventLogSlot::Install(std::make_unique<platform::Win32EventLog>());
}

}  // namespace outofprocess
