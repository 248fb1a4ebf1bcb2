#pragma once
// Storage devices of the emulated host: the disks the array simulator lets this initiator see
// (one per volume or online snapshot behind a logged-in target), with device identifier
// descriptors built from the designators the simulator reports.
#include "platform/StorageDevices.h"
#include "platform/emulated/EmulatedHostChannel.h"

namespace platform {

class EmulatedStorageDevices final : public StorageDevices {
 public:
  explicit EmulatedStorageDevices(EmulatedHostEndpoint endpoint);

  DWORD OpenDevice(const std::wstring& devicePath, std::unique_ptr<StorageDevice>& device) override;
  DWORD ListDisks(std::vector<DiskInfo>& disks) override;

 private:
  EmulatedHostChannel mChannel;
};

}  // namespace platform
