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
