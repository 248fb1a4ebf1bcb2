#pragma once
// The storage-device seam: open a disk by its device path, ask the storage stack for the
// disk's device identifiers (IOCTL_STORAGE_QUERY_PROPERTY with StorageDeviceIdProperty), and
// list the host's disks. Win32StorageDevices uses CreateFileW, DeviceIoControl and SetupAPI;
// EmulatedStorageDevices answers from the array simulator's host channel.
//
// Win32 semantics throughout: every call returns a Win32 error code (0 success, 2 no such
// device, 122 buffer smaller than the descriptor header), and the identifier query hands back
// the raw STORAGE_DEVICE_ID_DESCRIPTOR bytes, which StorageDeviceDescriptors.h walks.
#include <memory>
#include <string>
#include <vector>

#include "platform/SeamSlot.h"
#include "wincompat/WinTypes.h"

namespace platform {

// One disk of the host as the storage stack describes it (STORAGE_DEVICE_DESCRIPTOR strings,
// trailing blanks removed).
struct DiskInfo {
  std::wstring devicePath;  // "\\.\PhysicalDriveN"
  std::string vendorId;
  std::string productId;
  std::string productRevision;
  std::string serialNumber;
};

// An open disk; the handle closes when the object goes.
class StorageDevice {
 public:
  virtual ~StorageDevice() = default;
  // IOCTL_STORAGE_QUERY_PROPERTY, StorageDeviceIdProperty, PropertyStandardQuery. A buffer
  // smaller than the whole descriptor receives its beginning (the header's Size tells the
  // full length); one smaller than the 8-byte descriptor header fails with 122.
  virtual DWORD QueryDeviceIdProperty(BYTE* buffer, DWORD bufferSize, DWORD* bytesReturned) = 0;
};

class StorageDevices {
 public:
  virtual ~StorageDevices() = default;
  // CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, OPEN_EXISTING,
  // FILE_ATTRIBUTE_NORMAL); on failure the GetLastError code and no device.
  virtual DWORD OpenDevice(const std::wstring& devicePath, std::unique_ptr<StorageDevice>& device) = 0;
  // Every disk the host sees now, in the order the system enumerates them.
  virtual DWORD ListDisks(std::vector<DiskInfo>& disks) = 0;
};

using StorageDevicesSlot = SeamSlot<StorageDevices>;
inline StorageDevices& TheStorageDevices() { return StorageDevicesSlot::Get(); }

}  // namespace platform
