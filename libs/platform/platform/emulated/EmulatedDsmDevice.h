#pragma once
// The multipath driver of the emulated host: "\\.\Vdsm" answers control code 0x222160 with
// the record the array simulator builds for this initiator's disks.
#include "platform/DsmDevice.h"
#include "platform/emulated/EmulatedHostChannel.h"

namespace platform {

class EmulatedDsmDevice final : public DsmDevice {
 public:
  explicit EmulatedDsmDevice(EmulatedHostEndpoint endpoint);
  DWORD Open(const std::wstring& devicePath, std::unique_ptr<DsmDeviceHandle>& handle) override;

 private:
  std::shared_ptr<const EmulatedHostChannel> mChannel;
};

}  // namespace platform
