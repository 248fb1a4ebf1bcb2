// The device identifier descriptor walk over good and broken descriptors, and the device
// descriptor's string offsets.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/StorageDeviceDescriptors.h"

namespace {

using platform::DeviceIdWalkStatus;
using Bytes = std::vector<std::uint8_t>;

void PutU32(Bytes& b, std::size_t at, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
}
void PutU16(Bytes& b, std::size_t at, std::uint16_t v) {
  b[at] = static_cast<std::uint8_t>(v);
  b[at + 1] = static_cast<std::uint8_t>(v >> 8);
}

// A vendor id (ASCII, 40 bytes), an EUI-64 (binary, 16 bytes) and a relative port.
Bytes ThreeIdentifiers() {
  return platform::BuildStorageDeviceIdDescriptor({
      {platform::StorageIdCodeSetAscii, platform::StorageIdTypeVendorId, platform::StorageIdAssocDevice, Bytes(40, 'V')},
      {platform::StorageIdCodeSetBinary, platform::StorageIdTypeEUI64, platform::StorageIdAssocDevice, Bytes(16, 0xEE)},
      {platform::StorageIdCodeSetBinary, platform::StorageIdTypePortRelative, platform::StorageIdAssocPort, {0, 0, 0, 1}},
  });
}

// Offsets: identifier 0 starts at 12 (its size at 20, NextOffset at 22); identifier 1 at 68.
TEST(StorageDeviceIdWalk, ReadsWellFormedDescriptorsAndStopsInsideTheBufferOnBrokenOnes) {
  struct Case {
    const char* name;
    void (*damage)(Bytes&);
    DeviceIdWalkStatus status;
    std::size_t identifiersRead;
  };
  const Case cases[] = {
      {"well formed", [](Bytes&) {}, DeviceIdWalkStatus::Complete, 3},
      {"shorter than the header", [](Bytes& b) { b.resize(11); }, DeviceIdWalkStatus::HeaderTruncated, 0},
      {"Size below the header", [](Bytes& b) { PutU32(b, 4, 8); }, DeviceIdWalkStatus::HeaderTruncated, 0},
      {"NextOffset of 0", [](Bytes& b) { PutU16(b, 22, 0); }, DeviceIdWalkStatus::BadNextOffset, 1},
      {"NextOffset inside the record", [](Bytes& b) { PutU16(b, 22, 20); }, DeviceIdWalkStatus::BadNextOffset, 1},
      {"NextOffset past the buffer", [](Bytes& b) { PutU16(b, 22, 0xFFF0); }, DeviceIdWalkStatus::RecordTruncated, 1},
      {"identifier size past the buffer", [](Bytes& b) { PutU16(b, 20, 0xFFFF); }, DeviceIdWalkStatus::RecordTruncated, 0},
      {"count larger than the records", [](Bytes& b) { PutU32(b, 8, 1000); }, DeviceIdWalkStatus::RecordTruncated, 3},
      {"Size cuts the last record", [](Bytes& b) { PutU32(b, 4, static_cast<std::uint32_t>(b.size() - 2)); },
       DeviceIdWalkStatus::RecordTruncated, 2},
      {"partial answer (buffer cut)", [](Bytes& b) { b.erase(b.end() - 10, b.end()); }, DeviceIdWalkStatus::RecordTruncated, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes descriptor = ThreeIdentifiers();
    c.damage(descriptor);
    // An exact-size heap copy lets AddressSanitizer catch any read past the end.
    const auto copy = std::make_unique<std::uint8_t[]>(descriptor.size());
    std::memcpy(copy.get(), descriptor.data(), descriptor.size());
    const auto walk = platform::WalkStorageDeviceIdDescriptor({copy.get(), descriptor.size()});
    EXPECT_EQ(walk.status, c.status) << platform::ToString(walk.status);
    EXPECT_EQ(walk.identifiers.size(), c.identifiersRead);
  }
}

TEST(StorageDeviceDescriptor, TakesStringsAtTheirOffsetsAndDropsBadOnes) {
  Bytes d(64, 0);
  PutU32(d, 4, 64);
  PutU32(d, 12, 36);  // vendor
  PutU32(d, 16, 48);  // product
  PutU32(d, 20, 0);   // no revision
  PutU32(d, 24, 60);  // serial without a terminator before the end
  std::memcpy(&d[36], "Vantor  ", 8);
  std::memcpy(&d[48], "Server", 6);
  std::memcpy(&d[60], "ABCD", 4);
  platform::DiskInfo disk;
  ASSERT_TRUE(platform::ReadStorageDeviceDescriptorStrings(d, disk));
  EXPECT_EQ(disk.vendorId, "Vantor");
  EXPECT_EQ(disk.productId, "Server");
  EXPECT_EQ(disk.productRevision, "");
  EXPECT_EQ(disk.serialNumber, "");

  PutU32(d, 12, 5000);
  ASSERT_TRUE(platform::ReadStorageDeviceDescriptorStrings(d, disk));
  EXPECT_EQ(disk.vendorId, "");
  EXPECT_FALSE(platform::ReadStorageDeviceDescriptorStrings(std::span<const std::uint8_t>(d.data(), 20), disk));
}

}  // namespace
