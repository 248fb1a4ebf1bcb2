#pragma once
// The reply of the multipath driver's control code 0x222160, version 1: little-endian, packed.
//   u8 version (1) | u16 entry count | entries
//   entry: u16 entry length (from its own first byte) | serial "\0" | u16 ip length | ip "\0"
// The ip length is the address's character count; 0 means the array gave no address, and then
// the address string is left out.

#include <cstdint>
#include <string>
#include <vector>

namespace arraysim {

struct DsmEntry {
    std::string serialNumber;
    std::string managementAddress;  // empty: no address
};

// Throws std::length_error when an entry or the count does not fit its 16-bit field.
std::vector<std::uint8_t> encodeDsmRecord(const std::vector<DsmEntry>& entries);

}  // namespace arraysim
