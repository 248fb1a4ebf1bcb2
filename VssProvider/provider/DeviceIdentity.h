#pragma once
// What the provider knows of a LUN's identity on the storage stack: the T10 vendor-id
// designator (ASCII, zero-padded to 56 bytes) and the EUI-64 designator (16 bytes, each 8-byte
// half byte-reversed from the device's order).
#include <array>
#include <cstdint>
#include <string>

namespace provider {

constexpr std::size_t kVendorIdDesignatorSize = 56;
constexpr std::size_t kEui64DesignatorSize = 16;

struct DeviceIdentity {
  std::string serialNumber;
  std::array<std::uint8_t, kVendorIdDesignatorSize> vendorId{};
  std::array<std::uint8_t, kEui64DesignatorSize> eui64{};
};

}  // namespace provider
