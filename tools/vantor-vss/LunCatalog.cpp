#include "LunCatalog.h"

#include <algorithm>
#include <stdexcept>
#include <tuple>

#include "LunJson.h"
#include "platform/StorageDeviceDescriptors.h"
#include "platform/StorageDevices.h"
#include "wincompat/WideString.h"

namespace vantorvss {
namespace {

constexpr DWORD kIdentifierBufferSize = 4096;

std::vector<provider::LunIdentifier> QueryIdentifiers(const std::wstring& device) {
  std::unique_ptr<platform::StorageDevice> handle;
  if (platform::TheStorageDevices().OpenDevice(device, handle) != ERROR_SUCCESS || !handle) return {};
  std::vector<BYTE> buffer(kIdentifierBufferSize, 0);
  DWORD returned = 0;
  if (handle->QueryDeviceIdProperty(buffer.data(), kIdentifierBufferSize, &returned) != ERROR_SUCCESS) return {};
  const auto walk = platform::WalkStorageDeviceIdDescriptor(
      std::span<const std::uint8_t>(buffer.data(), std::min<std::size_t>(returned, buffer.size())));
  std::vector<provider::LunIdentifier> ids;
  for (const auto& id : walk.identifiers) {
    // VSS describes the logical unit: identifiers of the target port are not the LUN's.
    if (id.association != platform::StorageIdAssocDevice) continue;
    ids.push_back({static_cast<VDS_STORAGE_IDENTIFIER_CODE_SET>(id.codeSet), static_cast<VDS_STORAGE_IDENTIFIER_TYPE>(id.type),
                   std::vector<std::uint8_t>(id.identifier.begin(), id.identifier.end())});
  }
  return ids;
}

using Identifier = std::tuple<int, int, std::vector<std::uint8_t>>;

std::vector<Identifier> Normalised(std::vector<Identifier> ids) {
  for (auto& [codeSet, type, bytes] : ids) {
    if (codeSet == VDSStorageIdCodeSetAscii)
      while (!bytes.empty() && bytes.back() == 0) bytes.pop_back();
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

std::string Describe(const std::vector<Identifier>& ids) {
  std::string text;
  for (const auto& [codeSet, type, bytes] : ids)
    text += (text.empty() ? "" : ", ") + std::to_string(codeSet) + "/" + std::to_string(type) + ":" +
            ToHex(bytes.data(), bytes.size());
  return "[" + text + "]";
}

}  // namespace

std::vector<HostDisk> ListHostDisks() {
  std::vector<platform::DiskInfo> disks;
  if (const DWORD status = platform::TheStorageDevices().ListDisks(disks); status != ERROR_SUCCESS)
    throw std::runtime_error("cannot list the host's disks (error " + std::to_string(status) + ")");
  std::vector<HostDisk> out;
  for (const auto& d : disks)
    out.push_back({d.devicePath, d.vendorId, d.productId, d.productRevision, d.serialNumber, QueryIdentifiers(d.devicePath)});
  return out;
}

std::optional<HostDisk> FindDisk(const std::vector<HostDisk>& disks, const std::string& volume) {
  for (const auto& disk : disks)
    if (disk.serial == volume || wincompat::ToNarrow(disk.device) == volume) return disk;
  return std::nullopt;
}

provider::OwnedLunInformation ToLunInformation(const HostDisk& disk) {
  provider::OwnedLunInformation lun;
  if (!provider::BuildLunInformation(lun.get(), disk.vendor, disk.product, disk.revision, disk.serial, disk.identifiers))
    throw std::runtime_error("out of memory building a LUN description");
  return lun;
}

std::string IdentityDifference(const HostDisk& disk, const VDS_LUN_INFORMATION& target) {
  const auto text = [](const char* s) { return std::string(s ? s : ""); };
  const std::pair<const char*, std::pair<std::string, std::string>> strings[] = {
      {"vendor", {disk.vendor, text(target.m_szVendorId)}},
      {"product", {disk.product, text(target.m_szProductId)}},
      {"revision", {disk.revision, text(target.m_szProductRevision)}},
      {"serial number", {disk.serial, text(target.m_szSerialNumber)}}};
  for (const auto& [what, values] : strings)
    if (values.first != values.second) return what + std::string(" '") + values.first + "', not '" + values.second + "'";

  std::vector<Identifier> reported;
  for (const auto& id : disk.identifiers) reported.emplace_back(id.codeSet, id.type, id.bytes);
  std::vector<Identifier> given;
  const auto& descriptor = target.m_deviceIdDescriptor;
  for (ULONG i = 0; descriptor.m_rgIdentifiers != nullptr && i < descriptor.m_cIdentifiers; ++i) {
    const auto& id = descriptor.m_rgIdentifiers[i];
    const std::uint8_t* bytes = id.m_rgbIdentifier;
    given.emplace_back(id.m_CodeSet, id.m_Type,
                       bytes ? std::vector<std::uint8_t>(bytes, bytes + id.m_cbIdentifier) : std::vector<std::uint8_t>());
  }
  reported = Normalised(std::move(reported));
  given = Normalised(std::move(given));
  if (reported != given) return "identifiers " + Describe(reported) + ", not " + Describe(given);
  return {};
}

LunArray::~LunArray() {
  for (auto& lun : luns_) provider::FreeLunInformation(lun);
}

void LunArray::Add(provider::OwnedLunInformation lun) {
  luns_.push_back(lun.get());
  lun.get() = {};  // the array owns it now
}

}  // namespace vantorvss
