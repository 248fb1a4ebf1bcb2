#pragma once
// The LUNs as VSS sees them: the host's disks described from the storage stack, the identity
// comparison VSS makes on import, and LUN descriptions laid out as VSS passes them.
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
  std::vector<provider::LunIdentifier> identifiers;  // the device's own, from page 0x83
};

// Every disk the host sees now, with its identifiers. Throws std::runtime_error when the
// storage stack cannot be asked.
std::vector<HostDisk> ListHostDisks();
// The disk whose device name or serial number is `volume`.
std::optional<HostDisk> FindDisk(const std::vector<HostDisk>& disks, const std::string& volume);

provider::OwnedLunInformation ToLunInformation(const HostDisk& disk);

// How the identity the storage stack reports for `disk` differs from `target` (what
// GetTargetLuns gave); empty when it does not. Compared as VSS compares on import: vendor,
// product, revision, serial number and the device identifiers, but not the bus type, the disk
// signature or the interconnects. An ASCII designator compares without the zero padding the
// provider gives it.
std::string IdentityDifference(const HostDisk& disk, const VDS_LUN_INFORMATION& target);

// LUN descriptions in one contiguous array that owns them, as VSS passes them; the provider
// may rewrite them in place.
class LunArray {
 public:
  LunArray() = default;
  ~LunArray();
  LunArray(const LunArray&) = delete;
  LunArray& operator=(const LunArray&) = delete;

  void Add(provider::OwnedLunInformation lun);
  VDS_LUN_INFORMATION* data() { return luns_.data(); }
  VDS_LUN_INFORMATION& operator[](std::size_t i) { return luns_[i]; }
  const VDS_LUN_INFORMATION& operator[](std::size_t i) const { return luns_[i]; }
  std::size_t size() const { return luns_.size(); }
  LONG count() const { return static_cast<LONG>(luns_.size()); }

 private:
  std::vector<VDS_LUN_INFORMATION> luns_;
};

}  // namespace vantorvss
