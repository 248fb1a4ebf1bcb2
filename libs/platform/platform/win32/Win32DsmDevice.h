#pragma once
// The multipath driver's control device through CreateFileW and DeviceIoControl (Windows build).
#include "platform/DsmDevice.h"

namespace platform {

class Win32DsmDevice final : public DsmDevice {
 public:
  DWORD Open(const std::wstring& devicePath, std::unique_ptr<DsmDeviceHandle>& handle) override;
};

}  // namespace platform
