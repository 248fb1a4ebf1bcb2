#pragma once
// VDS_LUN_INFORMATION owns CoTaskMemAlloc'd strings and identifier blocks. These helpers are the
// only code that allocates or frees them, so neither leaks nor double frees can creep in.
#include <cstdint>
#include <string>
#include <vector>

#include "wincompat/VssTypes.h"

namespace provider {

// A narrow copy in task memory; null on allocation failure or for a null source.
char* CoTaskStrDup(const char* text);

// Frees everything `lun` owns and zeroes it; the struct itself stays (it is often an array slot).
void FreeLunInformation(VDS_LUN_INFORMATION& lun);

// Replaces identifier `identifier` of `lun`'s descriptor by `bytes` (fresh task memory);
// false on allocation failure, leaving the old bytes in place.
bool ReplaceIdentifierBytes(VDS_STORAGE_IDENTIFIER& identifier, const std::uint8_t* bytes, ULONG size);

// Whole-string comparison of a possibly null LUN string.
inline bool LunStringIs(const char* value, const char* expected) {
  return value != nullptr && std::string(value) == expected;
}
// A possibly null LUN string, for log lines.
inline const char* LunString(const char* value) { return value ? value : ""; }

// A LUN of the array, and a virtual machine's disk (which may be backed by an array volume).
inline bool IsArrayLun(const VDS_LUN_INFORMATION& lun) {
  return LunStringIs(lun.m_szVendorId, "Vantor") && LunStringIs(lun.m_szProductId, "Server");
}
inline bool IsVirtualDisk(const VDS_LUN_INFORMATION& lun) {
  return LunStringIs(lun.m_szVendorId, "VMware") && LunStringIs(lun.m_szProductId, "Virtual disk");
}

// An owned VDS_LUN_INFORMATION (for the tool and tests; VSS owns the ones it passes in).
class OwnedLunInformation {
 public:
  OwnedLunInformation() : lun_{} {}
  ~OwnedLunInformation() { FreeLunInformation(lun_); }
  OwnedLunInformation(const OwnedLunInformation&) = delete;
  OwnedLunInformation& operator=(const OwnedLunInformation&) = delete;
  OwnedLunInformation(OwnedLunInformation&& other) noexcept : lun_(other.lun_) { other.lun_ = {}; }
  OwnedLunInformation& operator=(OwnedLunInformation&& other) noexcept {
    if (this != &other) {
      FreeLunInformation(lun_);
      lun_ = other.lun_;
      other.lun_ = {};
    }
    return *this;
  }
  VDS_LUN_INFORMATION& get() { return lun_; }
  const VDS_LUN_INFORMATION& get() const { return lun_; }

 private:
  VDS_LUN_INFORMATION lun_;
};

struct LunIdentifier {
  VDS_STORAGE_IDENTIFIER_CODE_SET codeSet;
  VDS_STORAGE_IDENTIFIER_TYPE type;
  std::vector<std::uint8_t> bytes;
};

// Builds a LUN description as VSS passes it; the device id descriptor gets version 16 and the
// given identifiers. Returns false on allocation failure (the LUN then owns nothing).
bool BuildLunInformation(VDS_LUN_INFORMATION& lun, const std::string& vendor, const std::string& product,
                         const std::string& revision, const std::string& serial,
                         const std::vector<LunIdentifier>& identifiers);

}  // namespace provider
