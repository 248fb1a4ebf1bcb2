#include "platform/StorageDeviceDescriptors.h"

#include <algorithm>
#include <stdexcept>

namespace platform {
namespace {

std::uint32_t ReadU32(std::span<const std::uint8_t> b, std::size_t at) {
  return static_cast<std::uint32_t>(b[at]) | (static_cast<std::uint32_t>(b[at + 1]) << 8) |
         (static_cast<std::uint32_t>(b[at + 2]) << 16) | (static_cast<std::uint32_t>(b[at + 3]) << 24);
}

std::uint16_t ReadU16(std::span<const std::uint8_t> b, std::size_t at) {
  return static_cast<std::uint16_t>(b[at] | (b[at + 1] << 8));
}

void PutU32(std::vector<std::uint8_t>& out, std::size_t at, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) out[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
}

void PutU16(std::vector<std::uint8_t>& out, std::size_t at, std::uint16_t v) {
  out[at] = static_cast<std::uint8_t>(v);
  out[at + 1] = static_cast<std::uint8_t>(v >> 8);
}

std::string ReadTerminated(std::span<const std::uint8_t> bytes, std::uint32_t offset) {
  if (offset == 0 || offset >= bytes.size()) return {};
  const auto begin = bytes.begin() + offset;
  const auto end = std::find(begin, bytes.end(), std::uint8_t{0});
  if (end == bytes.end()) return {};
  std::string text(begin, end);
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

}  // namespace

const char* ToString(DeviceIdWalkStatus status) {
  switch (status) {
    case DeviceIdWalkStatus::Complete: return "complete";
    case DeviceIdWalkStatus::HeaderTruncated: return "header truncated";
    case DeviceIdWalkStatus::RecordTruncated: return "identifier runs past the buffer";
    case DeviceIdWalkStatus::BadNextOffset: return "bad NextOffset";
  }
  return "unknown";
}

DeviceIdWalk WalkStorageDeviceIdDescriptor(std::span<const std::uint8_t> bytes) {
  DeviceIdWalk walk;
  if (bytes.size() < kDeviceIdDescriptorHeaderSize) {
    walk.status = DeviceIdWalkStatus::HeaderTruncated;
    return walk;
  }
  walk.version = ReadU32(bytes, 0);
  const std::uint32_t size = ReadU32(bytes, 4);
  walk.declaredCount = ReadU32(bytes, 8);
  if (size < kDeviceIdDescriptorHeaderSize) {
    walk.status = DeviceIdWalkStatus::HeaderTruncated;
    return walk;
  }
  const auto valid = bytes.first(std::min<std::size_t>(bytes.size(), size));

  std::size_t offset = kDeviceIdDescriptorHeaderSize;
  for (std::uint32_t index = 0; index < walk.declaredCount; ++index) {
    if (valid.size() - offset < kStorageIdentifierHeaderSize) {
      walk.status = DeviceIdWalkStatus::RecordTruncated;
      return walk;
    }
    const std::uint16_t idSize = ReadU16(valid, offset + 8);
    const std::uint16_t nextOffset = ReadU16(valid, offset + 10);
    if (valid.size() - offset - kStorageIdentifierHeaderSize < idSize) {
      walk.status = DeviceIdWalkStatus::RecordTruncated;
      return walk;
    }
    walk.identifiers.push_back(StorageIdentifierView{
        ReadU32(valid, offset), ReadU32(valid, offset + 4), ReadU32(valid, offset + 12),
        valid.subspan(offset + kStorageIdentifierHeaderSize, idSize)});
    if (index + 1 == walk.declaredCount) break;
    // The next record must start past this one's bytes; anything less either stands still
    // (0) or reads this record's data as a header.
    if (nextOffset < kStorageIdentifierHeaderSize + idSize) {
      walk.status = DeviceIdWalkStatus::BadNextOffset;
      return walk;
    }
    offset += nextOffset;
    if (offset > valid.size()) {
      walk.status = DeviceIdWalkStatus::RecordTruncated;
      return walk;
    }
  }
  return walk;
}

std::vector<std::uint8_t> BuildStorageDeviceIdDescriptor(const std::vector<StorageIdentifierSpec>& identifiers) {
  std::vector<std::uint8_t> out(kDeviceIdDescriptorHeaderSize, 0);
  for (const auto& id : identifiers) {
    const std::size_t start = out.size();
    const std::size_t record = (kStorageIdentifierHeaderSize + id.identifier.size() + 3) & ~std::size_t{3};
    if (record > 0xFFFF) throw std::length_error("storage identifier too large for its 16-bit fields");
    out.resize(start + record, 0);
    PutU32(out, start, id.codeSet);
    PutU32(out, start + 4, id.type);
    PutU16(out, start + 8, static_cast<std::uint16_t>(id.identifier.size()));
    PutU16(out, start + 10, static_cast<std::uint16_t>(record));
    PutU32(out, start + 12, id.association);
    std::copy(id.identifier.begin(), id.identifier.end(), out.begin() + static_cast<std::ptrdiff_t>(start + kStorageIdentifierHeaderSize));
  }
  PutU32(out, 0, 1);
  PutU32(out, 4, static_cast<std::uint32_t>(out.size()));
  PutU32(out, 8, static_cast<std::uint32_t>(identifiers.size()));
  return out;
}

bool ReadStorageDeviceDescriptorStrings(std::span<const std::uint8_t> bytes, DiskInfo& disk) {
  // Version, Size, four BYTE flags, then the four string offsets.
  constexpr std::size_t kFixedPart = 28;
  if (bytes.size() < kFixedPart) return false;
  const std::uint32_t size = ReadU32(bytes, 4);
  const auto valid = bytes.first(std::min<std::size_t>(bytes.size(), std::max<std::uint32_t>(size, kFixedPart)));
  disk.vendorId = ReadTerminated(valid, ReadU32(valid, 12));
  disk.productId = ReadTerminated(valid, ReadU32(valid, 16));
  disk.productRevision = ReadTerminated(valid, ReadU32(valid, 20));
  disk.serialNumber = ReadTerminated(valid, ReadU32(valid, 24));
  return true;
}

}  // namespace platform
