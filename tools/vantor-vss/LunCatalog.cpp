#include "LunCatalog.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

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

std::vector<std::uint8_t> FromHex(const std::string& hex) {
  if (hex.size() % 2 != 0) throw std::runtime_error("odd-length hex text");
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < hex.size(); i += 2)
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
  return bytes;
}

nlohmann::json ToJson(const SnapshotLun& lun) {
  nlohmann::json ids = nlohmann::json::array();
  for (const auto& id : lun.identifiers)
    ids.push_back({{"code_set", static_cast<int>(id.codeSet)}, {"type", static_cast<int>(id.type)}, {"bytes", ToHex(id.bytes)}});
  return {{"snapshot_serial", lun.snapshotSerial}, {"source_serial", lun.sourceSerial},
          {"snapshot_name", lun.snapshotName},     {"vendor", lun.vendor},
          {"product", lun.product},                {"revision", lun.revision},
          {"identifiers", ids}};
}

SnapshotLun FromJson(const nlohmann::json& j) {
  SnapshotLun lun;
  lun.snapshotSerial = j.at("snapshot_serial").get<std::string>();
  lun.sourceSerial = j.at("source_serial").get<std::string>();
  lun.snapshotName = j.at("snapshot_name").get<std::string>();
  lun.vendor = j.at("vendor").get<std::string>();
  lun.product = j.at("product").get<std::string>();
  lun.revision = j.at("revision").get<std::string>();
  for (const auto& id : j.at("identifiers"))
    lun.identifiers.push_back({static_cast<VDS_STORAGE_IDENTIFIER_CODE_SET>(id.at("code_set").get<int>()),
                               static_cast<VDS_STORAGE_IDENTIFIER_TYPE>(id.at("type").get<int>()),
                               FromHex(id.at("bytes").get<std::string>())});
  return lun;
}

provider::OwnedLunInformation Build(const std::string& vendor, const std::string& product, const std::string& revision,
                                    const std::string& serial, const std::vector<provider::LunIdentifier>& ids) {
  provider::OwnedLunInformation lun;
  if (!provider::BuildLunInformation(lun.get(), vendor, product, revision, serial, ids))
    throw std::runtime_error("out of memory building a LUN description");
  return lun;
}

}  // namespace

std::string ToHex(const std::vector<std::uint8_t>& bytes) {
  static const char* digits = "0123456789abcdef";
  std::string hex;
  for (const auto b : bytes) {
    hex += digits[b >> 4];
    hex += digits[b & 0xF];
  }
  return hex;
}

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
  return Build(disk.vendor, disk.product, disk.revision, disk.serial, disk.identifiers);
}

SnapshotLun FromTargetLun(const VDS_LUN_INFORMATION& target, const std::string& sourceSerial,
                          const std::string& snapshotName) {
  auto text = [](const char* s) { return std::string(s ? s : ""); };
  SnapshotLun lun{text(target.m_szSerialNumber), sourceSerial, snapshotName, text(target.m_szVendorId),
                  text(target.m_szProductId), text(target.m_szProductRevision), {}};
  const auto& descriptor = target.m_deviceIdDescriptor;
  for (ULONG i = 0; descriptor.m_rgIdentifiers != nullptr && i < descriptor.m_cIdentifiers; ++i) {
    const auto& id = descriptor.m_rgIdentifiers[i];
    lun.identifiers.push_back(
        {id.m_CodeSet, id.m_Type, std::vector<std::uint8_t>(id.m_rgbIdentifier, id.m_rgbIdentifier + id.m_cbIdentifier)});
  }
  return lun;
}

provider::OwnedLunInformation ToLunInformation(const SnapshotLun& lun) {
  return Build(lun.vendor, lun.product, lun.revision, lun.snapshotSerial, lun.identifiers);
}

SnapshotStore::SnapshotStore(std::filesystem::path file) : file_(std::move(file)) {}

std::vector<SnapshotLun> SnapshotStore::Load() const {
  std::vector<SnapshotLun> luns;
  std::ifstream in(file_);
  if (!in) return luns;
  try {
    nlohmann::json j;
    in >> j;
    for (const auto& entry : j.at("snapshots")) luns.push_back(FromJson(entry));
  } catch (const std::exception& e) {
    throw std::runtime_error(file_.string() + " is malformed: " + e.what());
  }
  return luns;
}

void SnapshotStore::Add(const std::vector<SnapshotLun>& added) const {
  std::vector<SnapshotLun> luns = Load();
  for (const auto& lun : added) {
    std::erase_if(luns, [&](const SnapshotLun& old) { return old.snapshotSerial == lun.snapshotSerial; });
    luns.push_back(lun);
  }
  Save(luns);
}

std::optional<SnapshotLun> SnapshotStore::Find(const std::string& snapshotSerial) const {
  for (auto& lun : Load())
    if (lun.snapshotSerial == snapshotSerial) return lun;
  return std::nullopt;
}

void SnapshotStore::Save(const std::vector<SnapshotLun>& luns) const {
  nlohmann::json j;
  j["snapshots"] = nlohmann::json::array();
  for (const auto& lun : luns) j["snapshots"].push_back(ToJson(lun));
  const std::filesystem::path temporary = file_.string() + ".tmp";
  {
    std::ofstream out(temporary, std::ios::trunc);
    out << j.dump(2) << '\n';
    if (!out) throw std::runtime_error("cannot write " + temporary.string());
  }
  std::filesystem::rename(temporary, file_);
}

}  // namespace vantorvss
