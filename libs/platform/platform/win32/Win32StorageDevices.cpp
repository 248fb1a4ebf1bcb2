#include "platform/win32/Win32StorageDevices.h"

#include <windows.h>
#include <setupapi.h>
#include <winioctl.h>

#include <cstdio>
#include <vector>

#include "platform/StorageDeviceDescriptors.h"
#include "platform/win32/Win32Handle.h"

namespace platform {
namespace {

using win32::UniqueHandle;

// GUID_DEVINTERFACE_DISK, spelled out so that no unit needs initguid.h.
constexpr GUID kDiskInterface = {0x53f56307, 0xb6bf, 0x11d0, {0x94, 0xf2, 0x00, 0xa0, 0xc9, 0x1e, 0xfb, 0x8b}};

DWORD QueryProperty(HANDLE device, STORAGE_PROPERTY_ID property, BYTE* buffer, DWORD bufferSize, DWORD* bytesReturned) {
  STORAGE_PROPERTY_QUERY query{};
  query.PropertyId = property;
  query.QueryType = PropertyStandardQuery;
  DWORD returned = 0;
  const BOOL ok = DeviceIoControl(device, IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof(query), buffer, bufferSize,
                                  &returned, nullptr);
  if (bytesReturned) *bytesReturned = ok ? returned : 0;
  return ok ? ERROR_SUCCESS : GetLastError();
}

class Win32StorageDevice final : public StorageDevice {
 public:
  explicit Win32StorageDevice(UniqueHandle handle) : mHandle(std::move(handle)) {}
  DWORD QueryDeviceIdProperty(BYTE* buffer, DWORD bufferSize, DWORD* bytesReturned) override {
    return QueryProperty(mHandle.get(), StorageDeviceIdProperty, buffer, bufferSize, bytesReturned);
  }

 private:
  UniqueHandle mHandle;
};

class DeviceInfoSet {
 public:
  explicit DeviceInfoSet(HDEVINFO set) : mSet(set) {}
  ~DeviceInfoSet() {
    if (mSet != INVALID_HANDLE_VALUE) SetupDiDestroyDeviceInfoList(mSet);
  }
  DeviceInfoSet(const DeviceInfoSet&) = delete;
  DeviceInfoSet& operator=(const DeviceInfoSet&) = delete;
  HDEVINFO get() const { return mSet; }

 private:
  HDEVINFO mSet;
};

// Names one disk interface by its "\\.\PhysicalDriveN" path and the strings of its
// STORAGE_DEVICE_DESCRIPTOR; false when the disk cannot be asked.
bool DescribeDisk(const wchar_t* interfacePath, DiskInfo& disk) {
  // No access rights are needed for these two queries, so disks held open by others answer too.
  UniqueHandle device(CreateFileW(interfacePath, 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
  if (!device.valid()) return false;
  STORAGE_DEVICE_NUMBER number{};
  DWORD returned = 0;
  if (!DeviceIoControl(device.get(), IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &number, sizeof(number), &returned,
                       nullptr)) {
    return false;
  }
  wchar_t path[64];
  std::swprintf(path, sizeof(path) / sizeof(path[0]), L"\\\\.\\PhysicalDrive%lu", static_cast<unsigned long>(number.DeviceNumber));
  disk.devicePath = path;
  std::vector<BYTE> buffer(4096);
  if (QueryProperty(device.get(), StorageDeviceProperty, buffer.data(), static_cast<DWORD>(buffer.size()), &returned) ==
      ERROR_SUCCESS) {
    ReadStorageDeviceDescriptorStrings(std::span<const std::uint8_t>(buffer.data(), returned), disk);
  }
  return true;
}

}  // namespace

DWORD Win32StorageDevices::OpenDevice(const std::wstring& devicePath, std::unique_ptr<StorageDevice>& device) {
  device.reset();
  UniqueHandle handle(CreateFileW(devicePath.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!handle.valid()) return GetLastError();
  device = std::make_unique<Win32StorageDevice>(std::move(handle));
  return ERROR_SUCCESS;
}

DWORD Win32StorageDevices::ListDisks(std::vector<DiskInfo>& disks) {
  disks.clear();
  const DeviceInfoSet set(SetupDiGetClassDevsW(&kDiskInterface, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
  if (set.get() == INVALID_HANDLE_VALUE) return GetLastError();
  for (DWORD index = 0;; ++index) {
    SP_DEVICE_INTERFACE_DATA data{};
    data.cbSize = sizeof(data);
    if (!SetupDiEnumDeviceInterfaces(set.get(), nullptr, &kDiskInterface, index, &data)) {
      const DWORD error = GetLastError();
      return error == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : error;
    }
    DWORD needed = 0;
    SetupDiGetDeviceInterfaceDetailW(set.get(), &data, nullptr, 0, &needed, nullptr);
    if (needed < sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W)) continue;
    // The detail record must be aligned like its structure; a DWORD array gives that.
    std::vector<DWORD> storage((needed + sizeof(DWORD) - 1) / sizeof(DWORD));
    auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(storage.data());
    detail->cbSize = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W);
    if (!SetupDiGetDeviceInterfaceDetailW(set.get(), &data, detail, needed, nullptr, nullptr)) continue;
    DiskInfo disk;
    if (DescribeDisk(detail->DevicePath, disk)) disks.push_back(std::move(disk));
  }
}

}  // namespace platform
