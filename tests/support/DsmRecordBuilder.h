#pragma once
// The multipath driver's record built from entries, for the tests and the fuzz corpus: the
// inverse of discovery::ParseDsmRecord. Throws std::length_error when a count or an entry does
// not fit its 16-bit field.
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "discovery/DsmRecordParser.h"

namespace testsupport {

inline std::vector<std::uint8_t> BuildDsmRecord(const std::vector<discovery::DsmEntry>& entries,
                                                std::uint8_t version = discovery::kDsmRecordVersion) {
  const auto put16 = [](std::vector<std::uint8_t>& out, std::size_t value) {
    if (value > 0xFFFF) throw std::length_error("DSM record field exceeds 16 bits");
    out.push_back(static_cast<std::uint8_t>(value & 0xFF));
    out.push_back(static_cast<std::uint8_t>((value >> 8) & 0xFF));
  };
  std::vector<std::uint8_t> record{version};
  put16(record, entries.size());
  for (const auto& entry : entries) {
    std::vector<std::uint8_t> body(entry.serialNumber.begin(), entry.serialNumber.end());
    body.push_back(0);
    put16(body, entry.ipLength);
    if (entry.ipLength != 0) {
      body.insert(body.end(), entry.ipAddress.begin(), entry.ipAddress.end());
      body.push_back(0);
    }
    put16(record, body.size() + 2);
    record.insert(record.end(), body.begin(), body.end());
  }
  return record;
}

}  // namespace testsupport
