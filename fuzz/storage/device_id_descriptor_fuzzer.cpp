// The storage stack's device identifier descriptor (and the device descriptor's strings): any
// bytes must walk without reading outside the buffer, every identifier handed out must lie
// inside it, and a complete walk must rebuild to the same identifiers.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "platform/StorageDeviceDescriptors.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto copy = std::make_unique<std::uint8_t[]>(size + 1);
  if (size) std::memcpy(copy.get(), data, size);
  const std::span<const std::uint8_t> bytes(copy.get(), size);

  platform::DiskInfo disk;
  platform::ReadStorageDeviceDescriptorStrings(bytes, disk);

  const auto walk = platform::WalkStorageDeviceIdDescriptor(bytes);
  std::vector<platform::StorageIdentifierSpec> specs;
  for (const auto& id : walk.identifiers) {
    if (id.identifier.data() < bytes.data() || id.identifier.data() + id.identifier.size() > bytes.data() + bytes.size()) {
      std::abort();
    }
    specs.push_back({id.codeSet, id.type, id.association, {id.identifier.begin(), id.identifier.end()}});
  }
  if (walk.status != platform::DeviceIdWalkStatus::Complete) return 0;
  if (walk.identifiers.size() != walk.declaredCount) std::abort();
  std::vector<std::uint8_t> rebuilt;
  try {
    rebuilt = platform::BuildStorageDeviceIdDescriptor(specs);
  } catch (const std::length_error&) {
    return 0;  // an identifier of nearly 64 KiB has no room for its record header
  }
  const auto again = platform::WalkStorageDeviceIdDescriptor(rebuilt);
  if (again.status != platform::DeviceIdWalkStatus::Complete || again.identifiers.size() != specs.size()) std::abort();
  for (std::size_t i = 0; i < specs.size(); ++i) {
    const auto& id = again.identifiers[i];
    if (id.codeSet != specs[i].codeSet || id.type != specs[i].type || id.association != specs[i].association ||
        !std::equal(id.identifier.begin(), id.identifier.end(), specs[i].identifier.begin(), specs[i].identifier.end())) {
      std::abort();
    }
  }
  return 0;
}
