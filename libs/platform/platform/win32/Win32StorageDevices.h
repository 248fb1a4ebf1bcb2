#pragma once
// Storage devices through CreateFileW, DeviceIoControl and SetupAPI (Windows build).
#include "platform/StorageDevices.h"

namespace platform {

class Win32StorageDevices final : public StorageDevices {
 public:
  DWORD OpenDevice(const std::wstring& devicePath, std::unique_ptr<StorageDevice>& device) override;
  DWORD ListDisks(std::vector<DiskInfo>& disks) override;
};

}  // namespace platform
