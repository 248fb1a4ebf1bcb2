#include "provider/LunInformation.h"

#include <cstring>

namespace provider {
namespace {

constexpr ULONG kDescriptorVersion = 16;

BYTE* CoTaskBytes(const std::uint8_t* bytes, ULONG size) {
  auto* block = static_cast<BYTE*>(CoTaskMemAlloc(size == 0 ? 1 : size));
  if (block != nullptr && size != 0) std::memcpy(block, bytes, size);
  return block;
}

// One block for the identifier array, each identifier's bytes in their own block (as VSS and
// the provider's rewrite of identifiers expect).
bool CopyIdentifiers(const VDS_STORAGE_DEVICE_ID_DESCRIPTOR& from, VDS_STORAGE_DEVICE_ID_DESCRIPTOR& to) {
  to = {};
  to.m_version = from.m_version;
  if (from.m_cIdentifiers == 0 || from.m_rgIdentifiers == nullptr) return true;
  auto* ids = static_cast<VDS_STORAGE_IDENTIFIER*>(CoTaskMemAlloc(sizeof(VDS_STORAGE_IDENTIFIER) * from.m_cIdentifiers));
  if (ids == nullptr) return false;
  std::memset(static_cast<void*>(ids), 0, sizeof(VDS_STORAGE_IDENTIFIER) * from.m_cIdentifiers);
  to.m_rgIdentifiers = ids;
  to.m_cIdentifiers = from.m_cIdentifiers;
  for (ULONG i = 0; i < from.m_cIdentifiers; ++i) {
    const VDS_STORAGE_IDENTIFIER& src = from.m_rgIdentifiers[i];
    ids[i].m_CodeSet = src.m_CodeSet;
    ids[i].m_Type = src.m_Type;
    if (src.m_rgbIdentifier != nullptr) {
      ids[i].m_rgbIdentifier = CoTaskBytes(src.m_rgbIdentifier, src.m_cbIdentifier);
      if (ids[i].m_rgbIdentifier == nullptr) return false;
      ids[i].m_cbIdentifier = src.m_cbIdentifier;
    }
  }
  return true;
}

void FreeIdentifiers(VDS_STORAGE_DEVICE_ID_DESCRIPTOR& descriptor) {
  if (descriptor.m_rgIdentifiers != nullptr) {
    for (ULONG i = 0; i < descriptor.m_cIdentifiers; ++i) CoTaskMemFree(descriptor.m_rgIdentifiers[i].m_rgbIdentifier);
    CoTaskMemFree(descriptor.m_rgIdentifiers);
  }
  descriptor = {};
}

}  // namespace

char* CoTaskStrDup(const char* text) {
  if (text == nullptr) return nullptr;
  const std::size_t size = std::strlen(text) + 1;
  auto* copy = static_cast<char*>(CoTaskMemAlloc(size));
  if (copy != nullptr) std::memcpy(copy, text, size);
  return copy;
}

void FreeLunInformation(VDS_LUN_INFORMATION& lun) {
  CoTaskMemFree(lun.m_szVendorId);
  CoTaskMemFree(lun.m_szProductId);
  CoTaskMemFree(lun.m_szProductRevision);
  CoTaskMemFree(lun.m_szSerialNumber);
  FreeIdentifiers(lun.m_deviceIdDescriptor);
  if (lun.m_rgInterconnects != nullptr) {
    for (ULONG i = 0; i < lun.m_cInterconnects; ++i) {
      CoTaskMemFree(lun.m_rgInterconnects[i].m_pbPort);
      CoTaskMemFree(lun.m_rgInterconnects[i].m_pbAddress);
    }
    CoTaskMemFree(lun.m_rgInterconnects);
  }
  lun = {};
}

bool CopyLunInformation(const VDS_LUN_INFORMATION& from, VDS_LUN_INFORMATION& to) {
  to = {};
  to.m_version = from.m_version;
  to.m_DeviceType = from.m_DeviceType;
  to.m_DeviceTypeModifier = from.m_DeviceTypeModifier;
  to.m_bCommandQueueing = from.m_bCommandQueueing;
  to.m_BusType = from.m_BusType;
  to.m_diskSignature = from.m_diskSignature;
  const bool stringsCopied = (from.m_szVendorId == nullptr || (to.m_szVendorId = CoTaskStrDup(from.m_szVendorId))) &&
                             (from.m_szProductId == nullptr || (to.m_szProductId = CoTaskStrDup(from.m_szProductId))) &&
                             (from.m_szProductRevision == nullptr ||
                              (to.m_szProductRevision = CoTaskStrDup(from.m_szProductRevision))) &&
                             (from.m_szSerialNumber == nullptr ||
                              (to.m_szSerialNumber = CoTaskStrDup(from.m_szSerialNumber)));
  // Interconnects are not copied: nothing in the provider or the tool reads them.
  if (!stringsCopied || !CopyIdentifiers(from.m_deviceIdDescriptor, to.m_deviceIdDescriptor)) {
    FreeLunInformation(to);
    return false;
  }
  return true;
}

bool ReplaceIdentifierBytes(VDS_STORAGE_IDENTIFIER& identifier, const std::uint8_t* bytes, ULONG size) {
  BYTE* fresh = CoTaskBytes(bytes, size);
  if (fresh == nullptr) return false;
  CoTaskMemFree(identifier.m_rgbIdentifier);
  identifier.m_rgbIdentifier = fresh;
  identifier.m_cbIdentifier = size;
  return true;
}

bool BuildLunInformation(VDS_LUN_INFORMATION& lun, const std::string& vendor, const std::string& product,
                         const std::string& revision, const std::string& serial,
                         const std::vector<LunIdentifier>& identifiers) {
  lun = {};
  lun.m_version = VER_VDS_LUN_INFORMATION;
  lun.m_BusType = VDSBusTypeiScsi;
  lun.m_szVendorId = CoTaskStrDup(vendor.c_str());
  lun.m_szProductId = CoTaskStrDup(product.c_str());
  lun.m_szProductRevision = CoTaskStrDup(revision.c_str());
  lun.m_szSerialNumber = CoTaskStrDup(serial.c_str());
  lun.m_deviceIdDescriptor.m_version = kDescriptorVersion;
  bool ok = lun.m_szVendorId && lun.m_szProductId && lun.m_szProductRevision && lun.m_szSerialNumber;
  if (ok && !identifiers.empty()) {
    const auto count = static_cast<ULONG>(identifiers.size());
    auto* ids = static_cast<VDS_STORAGE_IDENTIFIER*>(CoTaskMemAlloc(sizeof(VDS_STORAGE_IDENTIFIER) * count));
    ok = ids != nullptr;
    if (ok) {
      std::memset(static_cast<void*>(ids), 0, sizeof(VDS_STORAGE_IDENTIFIER) * count);
      lun.m_deviceIdDescriptor.m_rgIdentifiers = ids;
      lun.m_deviceIdDescriptor.m_cIdentifiers = count;
      for (ULONG i = 0; ok && i < count; ++i) {
        ids[i].m_CodeSet = identifiers[i].codeSet;
        ids[i].m_Type = identifiers[i].type;
        ok = ReplaceIdentifierBytes(ids[i], identifiers[i].bytes.data(), static_cast<ULONG>(identifiers[i].bytes.size()));
      }
    }
  }
  if (!ok) FreeLunInformation(lun);
  return ok;
}

}  // namespace provider
