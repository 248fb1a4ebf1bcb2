#include "service/win32/InstallSeams.h"

#include <memory>

#include "platform/win32/Win32DsmDevice.h"
#include "platform/win32/Win32EventLog.h"
#include "platform/win32/Win32FibreChannelPorts.h"
#include "platform/win32/Win32IscsiInitiator.h"
#include "platform/win32/Win32Registry.h"
#include "platform/win32/Win32ServiceAccount.h"
#include "platform/win32/Win32StorageDevices.h"

namespace service {

void InstallWin32Seams() {
  platform::RegistrySlot::Install(std::make_unique<platform::Win32Registry>());
  platform::EventLogSlot::Install(std::make_unique<platform::Win32EventLog>());
  platform::StorageDevicesSlot::Install(std::make_unique<platform::Win32StorageDevices>());
  platform::DsmDeviceSlot::Install(std::make_unique<platform::Win32DsmDevice>());
  platform::IscsiInitiatorSlot::Install(std::make_unique<platform::Win32IscsiInitiator>());
  platform::FibreChannelPortsSlot::Install(std::make_unique<platform::Win32FibreChannelPorts>());
  platform::ServiceAccountSlot::Install(std::make_unique<platform::Win32ServiceAccount>());
}

}  // namespace service
