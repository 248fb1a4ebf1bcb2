#pragma once
// The reply record of the multipath driver's control code 0x222160 (version 1): for every LUN
// the driver claims, its serial number and the group management address the array gave in its
// vendor-specific inquiry page 0xD5. Little-endian, packed:
//
//   offset 0: version (1 byte, must be 1)   offset 1: entry count (2 bytes)   offset 3: entries
//   entry:  length (2 bytes, counted from the entry's first byte; the next entry starts there)
//           serial number, ASCII, zero-terminated
//           address length (2 bytes; 0 when the array gave no address)
//           address, ASCII, zero-terminated (only when the address length is not 0)
//
// The record is driver output: the walk reads nothing outside the buffer or outside the
// entry's own length, and stops at the first entry that does not hold together, keeping the
// entries read before it.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace discovery {

inline constexpr std::uint8_t kDsmRecordVersion = 1;

struct DsmEntry {
  std::string serialNumber;
  std::string ipAddress;        // empty when the array gave none
  std::uint16_t ipLength = 0;   // as received; only its being 0 matters
};

enum class DsmParseStatus {
  Complete,             // every announced entry was read
  TruncatedHeader,      // fewer than the 3 header bytes
  UnsupportedVersion,   // version byte other than 1; nothing else is read
  CountExceedsEntries,  // the buffer ends before the announced number of entries
  ZeroEntryLength,      // an entry length of 0 (the walk would stand still)
  EntryTooShort,        // an entry length too small for its fixed fields
  EntryPastBuffer,      // an entry length that runs past the end of the buffer
  MissingTerminator,    // a serial number or address without its zero byte inside the entry
};

struct DsmParseResult {
  DsmParseStatus status = DsmParseStatus::Complete;
  std::uint8_t version = 0;
  std::uint16_t declaredCount = 0;
  std::vector<DsmEntry> entries;
  std::size_t failedEntry = 0;   // index of the entry that stopped the walk
  std::size_t failedOffset = 0;  // its offset in the buffer
};

const char* ToString(DsmParseStatus status);

DsmParseResult ParseDsmRecord(std::span<const std::uint8_t> record);

}  // namespace discovery
