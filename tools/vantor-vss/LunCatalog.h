#pragma once
// The LUNs as VSS would pass them: the host's disks described from the storage stack, and the
// snapshot LUNs that a shadow copy created (what VSS keeps in its backup components document,
// kept here in a JSON file of the host folder so that import, hide and resync can follow a
// create in a later run).
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "provider/LunInformation.h"

namespace vantorvss {

struct HostDisk {
  std::wstring device;
  std::string vendor;
  std::string product;
  std::string revision;
  std::string serial;
  std::vector<provider::LunIdentifier> identifiers;  // from the device identifier page
};

// Every disk the host sees now, with its identifiers. Throws std::runtime_error when the
// storage stack cannot be asked.
std::vector<HostDisk> ListHostDisks();
// The disk whose device name or serial number is `volume`.
std::optional<HostDisk> FindDisk(const std::vector<HostDisk>& disks, const std::string& volume);

provider::OwnedLunInformation ToLunInformation(const HostDisk& disk);

// A snapshot LUN as GetTargetLuns described it.
struct SnapshotLun {
  std::string snapshotSerial;
  std::string sourceSerial;
  std::string snapshotName;
  std::string vendor;
  std::string product;
  std::string revision;
  std::vector<provider::LunIdentifier> identifiers;
};

SnapshotLun FromTargetLun(const VDS_LUN_INFORMATION& target, const std::string& sourceSerial,
                          const std::string& snapshotName);
provider::OwnedLunInformation ToLunInformation(const SnapshotLun& lun);

class SnapshotStore {
 public:
  explicit SnapshotStore(std::filesystem::path file);
  // Throws std::runtime_error naming the file when it is unreadable or malformed.
  std::vector<SnapshotLun> Load() const;
  void Add(const std::vector<SnapshotLun>& luns) const;
  std::optional<SnapshotLun> Find(const std::string& snapshotSerial) const;

 private:
  void Save(const std::vector<SnapshotLun>& luns) const;
  std::filesystem::path file_;
};

std::string ToHex(const std::vector<std::uint8_t>& bytes);

}  // namespace vantorvss
