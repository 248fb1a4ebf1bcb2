#include "platform/emulated/EmulatedStorageDevices.h"

#include <algorithm>
#include <cstring>
#include <cwctype>

#include "platform/StorageDeviceDescriptors.h"
#include "wincompat/WideString.h"

namespace platform {
namespace {

bool EqualsIgnoreCase(const std::wstring& a, const std::wstring& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](wchar_t x, wchar_t y) {
           return std::towlower(static_cast<wint_t>(x)) == std::towlower(static_cast<wint_t>(y));
         });
}

std::string StringField(const nlohmann::json& object, const char* name) {
  const auto it = object.find(name);
  return it != object.end() && it->is_string() ? it->get<std::string>() : std::string();
}

class EmulatedStorageDevice final : public StorageDevice {
 public:
  explicit EmulatedStorageDevice(std::vector<std::uint8_t> descriptor) : mDescriptor(std::move(descriptor)) {}

  DWORD QueryDeviceIdProperty(BYTE* buffer, DWORD bufferSize, DWORD* bytesReturned) override {
    if (bytesReturned) *bytesReturned = 0;
    // Like the port driver: below the 8-byte STORAGE_DESCRIPTOR_HEADER nothing is returned,
    // above it as much of the descriptor as fits.
    if (!buffer || bufferSize < 8) return ERROR_INSUFFICIENT_BUFFER;
    const DWORD copied = static_cast<DWORD>(std::min<std::size_t>(bufferSize, mDescriptor.size()));
    std::memcpy(buffer, mDescriptor.data(), copied);
    if (bytesReturned) *bytesReturned = copied;
    return ERROR_SUCCESS;
  }

 private:
  std::vector<std::uint8_t> mDescriptor;
};

// The identifiers an array LUN reports on VPD page 0x83: its T10 vendor identification, its
// EUI-64, and the relative port it was reached through (which the provider must skip).
std::vector<std::uint8_t> DescriptorForDisk(const nlohmann::json& disk) {
  std::vector<StorageIdentifierSpec> ids;
  if (const auto t10 = DecodeHex(StringField(disk, "vpd_t10")); t10 && !t10->empty()) {
    ids.push_back({StorageIdCodeSetAscii, StorageIdTypeVendorId, StorageIdAssocDevice, *t10});
  }
  if (const auto eui = DecodeHex(StringField(disk, "eui64")); eui && !eui->empty()) {
    ids.push_back({StorageIdCodeSetBinary, StorageIdTypeEUI64, StorageIdAssocDevice, *eui});
  }
  ids.push_back({StorageIdCodeSetBinary, StorageIdTypePortRelative, StorageIdAssocPort, {0, 0, 0, 1}});
  return BuildStorageDeviceIdDescriptor(ids);
}

}  // namespace

EmulatedStorageDevices::EmulatedStorageDevices(EmulatedHostEndpoint endpoint) : mChannel(std::move(endpoint)) {}

DWORD EmulatedStorageDevices::OpenDevice(const std::wstring& devicePath, std::unique_ptr<StorageDevice>& device) {
  device.reset();
  nlohmann::json disks;
  try {
    disks = mChannel.Get("disks");
  } catch (const HostChannelError&) {
    return ERROR_GEN_FAILURE;
  }
  if (!disks.is_array()) return ERROR_INVALID_DATA;
  for (const auto& disk : disks) {
    if (!disk.is_object()) continue;
    if (EqualsIgnoreCase(wincompat::ToWide(StringField(disk, "device")), devicePath)) {
      device = std::make_unique<EmulatedStorageDevice>(DescriptorForDisk(disk));
      return ERROR_SUCCESS;
    }
  }
  return ERROR_FILE_NOT_FOUND;
}

DWORD EmulatedStorageDevices::ListDisks(std::vector<DiskInfo>& disks) {
  disks.clear();
  nlohmann::json answer;
  try {
    answer = mChannel.Get("disks");
  } catch (const HostChannelError&) {
    return ERROR_GEN_FAILURE;
  }
  if (!answer.is_array()) return ERROR_INVALID_DATA;
  for (const auto& disk : answer) {
    if (!disk.is_object()) continue;
    DiskInfo info;
    info.devicePath = wincompat::ToWide(StringField(disk, "device"));
    if (info.devicePath.empty()) continue;
    info.vendorId = StringField(disk, "vendor");
    info.productId = StringField(disk, "product");
    info.productRevision = StringField(disk, "revision");
    info.serialNumber = StringField(disk, "serial_number");
    disks.push_back(std::move(info));
  }
  return ERROR_SUCCESS;
}

}  // namespace platform
