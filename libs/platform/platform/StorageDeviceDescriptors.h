#pragma once
// Walkers for the two records the storage stack answers about a disk, and the builder the
// emulated host and the tests use to make the first one. Both records are device output:
// every read is checked against the end of the buffer, and a length or offset that would make
// the walk stand still or leave the buffer ends it.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/StorageDevices.h"

namespace platform {

// STORAGE_DEVICE_ID_DESCRIPTOR: Version, Size, NumberOfIdentifiers (three ULONGs), then the
// STORAGE_IDENTIFIER records, each CodeSet, Type (ULONGs), IdentifierSize, NextOffset (USHORTs),
// Association (ULONG) and IdentifierSize bytes; NextOffset counts from the record's start.
inline constexpr std::size_t kDeviceIdDescriptorHeaderSize = 12;
inline constexpr std::size_t kStorageIdentifierHeaderSize = 16;

// STORAGE_IDENTIFIER_CODE_SET, STORAGE_IDENTIFIER_TYPE and STORAGE_ASSOCIATION_TYPE values.
enum StorageIdCodeSet : std::uint32_t { StorageIdCodeSetBinary = 1, StorageIdCodeSetAscii = 2, StorageIdCodeSetUtf8 = 3 };
enum StorageIdType : std::uint32_t {
  StorageIdTypeVendorSpecific = 0,
  StorageIdTypeVendorId = 1,
  StorageIdTypeEUI64 = 2,
  StorageIdTypeFCPHName = 3,
  StorageIdTypePortRelative = 4,
};
enum StorageIdAssociation : std::uint32_t { StorageIdAssocDevice = 0, StorageIdAssocPort = 1, StorageIdAssocTarget = 2 };

struct StorageIdentifierView {
  std::uint32_t codeSet = 0;
  std::uint32_t type = 0;
  std::uint32_t association = 0;
  std::span<const std::uint8_t> identifier;  // inside the walked buffer
};

enum class DeviceIdWalkStatus {
  Complete,          // every identifier the header announces was read
  HeaderTruncated,   // fewer bytes than the 12-byte header, or a Size below it
  RecordTruncated,   // an identifier's header or bytes run past the buffer (or past Size)
  BadNextOffset,     // a NextOffset of 0 or one that points into the record itself
};

struct DeviceIdWalk {
  DeviceIdWalkStatus status = DeviceIdWalkStatus::Complete;
  std::uint32_t version = 0;
  std::uint32_t declaredCount = 0;
  std::vector<StorageIdentifierView> identifiers;  // those read before the walk ended
};

const char* ToString(DeviceIdWalkStatus status);

// Walks the descriptor in `bytes` (what the query returned). The header's Size narrows the
// walk further when it is smaller than the buffer; a larger Size (a partial answer) does not
// widen it.
DeviceIdWalk WalkStorageDeviceIdDescriptor(std::span<const std::uint8_t> bytes);

struct StorageIdentifierSpec {
  std::uint32_t codeSet = 0;
  std::uint32_t type = 0;
  std::uint32_t association = StorageIdAssocDevice;
  std::vector<std::uint8_t> identifier;
};

// A well-formed descriptor (version 1, records 4-byte aligned) holding `identifiers`; throws
// std::length_error for an identifier too large for the record's 16-bit fields.
std::vector<std::uint8_t> BuildStorageDeviceIdDescriptor(const std::vector<StorageIdentifierSpec>& identifiers);

// STORAGE_DEVICE_DESCRIPTOR (StorageDeviceProperty): fills the vendor, product, revision and
// serial strings of `disk` from their offsets. An offset of 0, outside the buffer, or a string
// without a terminator inside the buffer leaves that string empty. False when the buffer is
// shorter than the fixed part of the record.
bool ReadStorageDeviceDescriptorStrings(std::span<const std::uint8_t> bytes, DiskInfo& disk);

}  // namespace platform
